// Any text: reading ends, with contacts or with a place and a reason; the card that is written of a
// contact, cleaned of what breaks cards, reads back to the same card without a note.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Library/convert/ContactReader.h"
#include "Library/convert/ItemText.h"
#include "Library/convert/TextEncoding.h"

namespace {

bool BreaksCards(const tarnwick::ItemPropertyContainer& contact) {
    const auto isBreaking = [](char byte) {
        return tarnwick::IsControl(byte) || byte == ';' || byte == '\\';
    };
    return std::any_of(contact.begin(), contact.end(), [&isBreaking](const auto& property) {
        const auto& text = std::get<std::string>(property.value);
        return std::any_of(text.begin(), text.end(), isBreaking);
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto reading = tarnwick::ReadContactText({reinterpret_cast<const char*>(data), size});
    if (reading.failure.has_value() != reading.contacts.empty()) std::abort();
    for (auto& contact : reading.contacts) {
        const std::string card = tarnwick::ContactText(contact);
        if (card.size() < 78) std::abort();
        if (BreaksCards(contact)) continue;
        auto again = tarnwick::ReadContactText(card);
        if (again.contacts.size() != 1 || !again.notes.empty() ||
            tarnwick::ContactText(again.contacts[0]) != card) {
            std::abort();
        }
    }
    return 0;
}
