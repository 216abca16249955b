// Shows a reader that was not written here what the one written here sees in a calendar file.
//
//   convert_tool items FILE     a JSON object for each item
//   convert_tool export FILE    the items as a calendar file
#include <cstdio>
#include <string>

#include "Library/convert/CalendarFileText.h"
#include "Library/convert/CalendarReader.h"
#include "tests/Library/convert/ItemDescription.h"
#include "tests/support/SharedData.h"

namespace tarnwick {
namespace {

std::string JsonText(const std::string& text) {
    std::string json = "\"";
    for (const char byte : text) {
        if (byte == '"' || byte == '\\') json += '\\';
        if (static_cast<unsigned char>(byte) < ' ') {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(byte));
            json += escape;
        } else {
            json += byte;
        }
    }
    return json + "\"";
}

void PrintItem(const CalendarItem& item) {
    std::printf("{\"kind\": %d, \"rules\": %zu", static_cast<int>(item.kind),
                item.schedule.rules.size());
    for (const auto& property : item.properties) {
        std::string value;
        if (const auto* text = std::get_if<std::string>(&property.value)) {
            value = JsonText(*text);
        } else if (const auto* number = std::get_if<std::int32_t>(&property.value)) {
            value = std::to_string(*number);
        } else if (const auto* time = std::get_if<std::uint64_t>(&property.value)) {
            value = JsonText(DateText(*time));
        } else {
            value = std::to_string(std::get<double>(property.value));
        }
        std::printf(", %s: %s", JsonText(std::string(property.name)).c_str(), value.c_str());
    }
    std::printf("}\n");
}

}  // namespace
}  // namespace tarnwick

int main(int argumentCount, char** arguments) {
    if (argumentCount != 3) return 2;
    auto reading = tarnwick::ReadCalendarText(tarnwick::testing::ReadBytes(arguments[2]));
    if (reading.failure) {
        std::fprintf(stderr, "line %zu: %s\n", reading.failure->line,
                     reading.failure->reason.c_str());
        return 1;
    }
    for (const auto& note : reading.notes) {
        std::fprintf(stderr, "note, line %zu: %s\n", note.line, note.reason.c_str());
    }
    if (std::string(arguments[1]) == "export") {
        const std::string text = tarnwick::CalendarFileText(reading.items, 0);
        return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() ? 0 : 1;
    }
    for (const auto& item : reading.items) tarnwick::PrintItem(item);
    return 0;
}
