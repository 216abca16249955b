#include "Library/activity/messages/MessageAttachment.h"

#include "common/Guid.h"
#include "Library/activity/messages/MessageSibling.h"

namespace tarnwick {
namespace {

std::string_view BytesOf(const AttachmentData& data) {
    if (data.bytes == nullptr) return {};
    return {static_cast<const char*>(data.bytes), data.length};
}

void AddAttachment(const MessagePaths& paths, const AttachmentRecord& part, std::string_view data) {
    const std::string boundary = BoundaryText(NewGuid());
    File message(paths.message, kOpenRead);
    SiblingFile sibling(paths.sibling);
    if (!sibling.IsOpen()) return;
    if (message.IsOpen()) {
        FileSource source(message);
        FileSink sink(sibling.Opened());
        if (!CopyWithAttachment(source, part, data, boundary, sink)) return;
        message.Close();
    }
    // Kept for compatibility: without a message the sibling takes its place empty.
    if (sibling.Finish()) SwapSiblingIn(paths, DeleteRefused::Ignored);
}

}  // namespace

int AddAttachmentToMessage(std::string_view messagePath, const AttachmentRecord& part,
                           const AttachmentData& data) {
    try {
        AddAttachment(PathsOfMessage(messagePath), part, BytesOf(data));
    } catch (...) {
        // Memory ran out: the message stays as it was, and the result says nothing of it.
    }
    return 1;
}

}  // namespace tarnwick
