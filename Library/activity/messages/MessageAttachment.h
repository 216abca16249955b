// Adding an attachment to a stored message.
#pragma once

#include <cstdint>
#include <string_view>

#include "Library/activity/messages/AttachmentWriter.h"

namespace tarnwick {

// The bytes of an attachment; null means none.
struct AttachmentData {
    const void* bytes;
    std::uint32_t length;
};

// Adds one part to the message at the full path; see AttachmentWriter.h for how. The message is
// copied to a sibling, "_" and its name, which takes its place. Always 1, and never throws.
//
// A message that cannot be opened is replaced by an empty file. One whose sibling cannot be
// created, or whose copy could not be completed, stays as it was. Takes no lock.
int AddAttachmentToMessage(std::string_view messagePath, const AttachmentRecord& part,
                           const AttachmentData& data);

}  // namespace tarnwick
