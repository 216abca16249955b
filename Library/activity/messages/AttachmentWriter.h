// Copying a message while one MIME part (RFC 2045, RFC 2046) is added to it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "Library/activity/messages/MessageStream.h"

namespace tarnwick {

struct Guid;

// The fields of a new part: texts ended by a NUL, or null where the field is not given.
struct AttachmentRecord {
    const char* contentId;
    const char* name;
    const char* contentType;
    const char* transferEncoding;
    const char* disposition;
};
static_assert(offsetof(AttachmentRecord, contentId) == 0 * sizeof(char*));
static_assert(offsetof(AttachmentRecord, name) == 1 * sizeof(char*));
static_assert(offsetof(AttachmentRecord, contentType) == 2 * sizeof(char*));
static_assert(offsetof(AttachmentRecord, transferEncoding) == 3 * sizeof(char*));
static_assert(offsetof(AttachmentRecord, disposition) == 4 * sizeof(char*));
static_assert(sizeof(AttachmentRecord) == 5 * sizeof(char*));

// A boundary made of a GUID: its 32 hexadecimal digits.
std::string BoundaryText(const Guid& guid);

// Copies `message` with the part added; both are bytes on disk, read and written in text mode. A
// "multipart/mixed" message gets the part before its closing boundary and loses what follows that;
// any other becomes the preamble of a new multipart message with `newBoundary`. False when a read
// or write failed: the copy must then not take the message's place.
bool CopyWithAttachment(ByteSource& message, const AttachmentRecord& part, std::string_view data,
                        const std::string& newBoundary, ByteSink& copy);

}  // namespace tarnwick
