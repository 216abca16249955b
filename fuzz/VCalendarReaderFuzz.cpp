// Any text: reading ends, and what was read is written and read again to the same text.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Library/convert/CalendarReader.h"
#include "Library/convert/ItemText.h"

namespace {

std::string TextOf(tarnwick::CalendarItem& item) {
    const bool isEvent = item.kind == tarnwick::ItemKind::Event;
    return isEvent ? tarnwick::EventText(item.properties) : tarnwick::TaskText(item.properties);
}

// A line of a text can look like one of the writer's own; such a text may read back otherwise.
bool HasLineBreak(const tarnwick::CalendarItem& item) {
    for (const auto& property : item.properties) {
        const auto* text = std::get_if<std::string>(&property.value);
        if (text != nullptr && text->find('\n') != std::string::npos) return true;
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto reading = tarnwick::ReadCalendarText({reinterpret_cast<const char*>(data), size});
    if (reading.failure && (reading.failure->line == 0 || !reading.items.empty())) std::abort();
    for (tarnwick::CalendarItem& item : reading.items) {
        if (HasLineBreak(item)) continue;
        const std::string text = TextOf(item);
        auto again = tarnwick::ReadCalendarText(text);
        if (again.items.size() != 1 || TextOf(again.items[0]) != text) std::abort();
    }
    return 0;
}
