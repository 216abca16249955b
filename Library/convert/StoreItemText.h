// Texts of the items that the store provider holds, or that a container holds, for callers that
// take C strings.
//
// Each writer puts a newly allocated, zero-terminated text into `textOut`, which the caller frees
// with `free`, and its length in bytes into `lengthOut`. `properties` is the item; null stands for
// the item that the calling thread has selected in the store provider.
// Without memory for the text, `textOut` is null, the length 0 and the result 0.
#pragma once

#include <cstdint>

#include "Library/convert/ItemProperties.h"
#include "remote/shared/StoreProviderCalls.h"

namespace tarnwick {

// Reads the item that the calling thread has selected in the store provider.
class StoreItemSource : public PropertySource {
  public:
    std::optional<PropertyValue> Read(const char* name, PropertyKind kind) override;
};

// 1.
int WriteEventText(char** textOut, std::uint32_t* lengthOut, ItemPropertyContainer* properties);
int WriteTaskText(char** textOut, std::uint32_t* lengthOut, ItemPropertyContainer* properties);
int WriteContactText(char** textOut, std::uint32_t* lengthOut, ItemPropertyContainer* properties);

// 1 with the RRULE line; 0 with an empty text for an item that does not recur.
int WriteRecurrenceRule(char** textOut, std::uint32_t* lengthOut,
                        ItemPropertyContainer* properties);

// The rule of the stored appointment whose field "APPOINTMENTUID", or else whose own identifier, is
// `appointmentId`; an empty rule when there is no such item. `sizeOut` counts the terminator. The
// result is that of opening the folder; 0 leaves a null text of size 0.
int WriteStoredRecurrenceRule(const store_provider::FolderLocation& folderLocation,
                              const char* appointmentId, char** textOut, std::uint32_t* sizeOut);

}  // namespace tarnwick
