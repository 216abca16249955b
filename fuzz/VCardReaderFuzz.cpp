// Any text: reading ends, with contacts or with a place and a reason.
#include <cstdint>
#include <cstdlib>

#include "Library/convert/ContactReader.h"
#include "Library/convert/ItemText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto reading = tarnwick::ReadContactText({reinterpret_cast<const char*>(data), size});
    if (reading.failure.has_value() != reading.contacts.empty()) std::abort();
    for (auto& contact : reading.contacts) {
        if (tarnwick::ContactText(contact).size() < 78) std::abort();
    }
    return 0;
}
