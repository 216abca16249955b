#include "Library/convert/StoreItemText.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "Library/convert/ItemText.h"
#include "Library/convert/RecurrenceRule.h"

namespace tarnwick {
namespace {

// The selected item is taken out of a folder opened with these modes.
constexpr std::int32_t kFirstOpenMode = 2;
constexpr std::int32_t kSecondOpenMode = 1;
constexpr store_provider::Status kSelected = 1;

// Copies a text into memory that the C runtime's `free` releases.
bool HandOver(const std::string& text, char** textOut, std::uint32_t* lengthOut) {
    *textOut = static_cast<char*>(std::malloc(text.size() + 1));
    *lengthOut = 0;
    if (*textOut == nullptr) return false;
    std::memcpy(*textOut, text.c_str(), text.size() + 1);
    *lengthOut = static_cast<std::uint32_t>(text.size());
    return true;
}

std::string NoText(PropertySource& /*source*/) {
    return {};
}

// Builds a text from the given item, or the provider's; an empty one when memory runs out.
int WriteText(char** textOut, std::uint32_t* lengthOut, PropertySource* source,
              std::string (*build)(PropertySource&)) try {
    StoreItemSource storeItem;
    return HandOver(build(source != nullptr ? *source : storeItem), textOut, lengthOut) ? 1 : 0;
} catch (const std::bad_alloc&) {
    *textOut = nullptr;
    *lengthOut = 0;
    return 0;
}

bool SelectAppointment(const char* appointmentId) {
    return store_provider::StoreFolder_SelectItemByField("APPOINTMENTUID", appointmentId) ==
               kSelected ||
           store_provider::StoreFolder_SelectItem(appointmentId) == kSelected;
}

}  // namespace

std::optional<PropertyValue> StoreItemSource::Read(const char* name, PropertyKind kind) {
    void* value = nullptr;
    const std::int32_t code =
        store_provider::StoreItem_GetProperty(name, static_cast<std::uint32_t>(kind), &value);
    return TakeReturnedValue(code, value, kind);
}

int WriteEventText(char** textOut, std::uint32_t* lengthOut, ItemPropertyContainer* properties) {
    return WriteText(textOut, lengthOut, properties, EventText);
}

int WriteTaskText(char** textOut, std::uint32_t* lengthOut, ItemPropertyContainer* properties) {
    return WriteText(textOut, lengthOut, properties, TaskText);
}

int WriteContactText(char** textOut, std::uint32_t* lengthOut, ItemPropertyContainer* properties) {
    return WriteText(textOut, lengthOut, properties, ContactText);
}

int WriteRecurrenceRule(char** textOut, std::uint32_t* lengthOut,
                        ItemPropertyContainer* properties) {
    WriteText(textOut, lengthOut, properties, RecurrenceRuleLine);
    return *lengthOut != 0 ? 1 : 0;
}

int WriteStoredRecurrenceRule(const store_provider::FolderLocation& folderLocation,
                              const char* appointmentId, char** textOut, std::uint32_t* sizeOut) {
    *textOut = nullptr;
    *sizeOut = 0;
    const int opened =
        store_provider::StoreFolder_Open(folderLocation.first, folderLocation.second,
                                         folderLocation.third, kFirstOpenMode, kSecondOpenMode);
    if (opened == 0) return 0;
    const bool selected = SelectAppointment(appointmentId);
    WriteText(textOut, sizeOut, nullptr, selected ? StoredRecurrenceRule : NoText);
    if (*textOut != nullptr) ++*sizeOut;
    store_provider::StoreFolder_Close();
    return opened;
}

}  // namespace tarnwick
