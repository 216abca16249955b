// Messages in memory as streams.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>

#include "common/TextFile.h"
#include "Library/activity/messages/AttachmentWriter.h"
#include "Library/activity/messages/MessageHeaderEdit.h"

namespace tarnwick::testing {

// Hands out a text in reads of at most `chunk` bytes; the read after `goodReads` of them fails.
class TextSource : public ByteSource {
  public:
    explicit TextSource(std::string_view text, std::size_t chunk = kStreamBlock,
                        std::size_t goodReads = ~std::size_t{0})
        : rest_(text), chunk_(chunk), goodReads_(goodReads) {}
    std::optional<std::size_t> Read(std::span<char> bytes) override {
        if (goodReads_ == 0) return std::nullopt;
        --goodReads_;
        const std::size_t count = std::min({rest_.size(), chunk_, bytes.size()});
        std::memcpy(bytes.data(), rest_.data(), count);
        rest_.remove_prefix(count);
        return count;
    }

  private:
    std::string_view rest_;
    std::size_t chunk_;
    std::size_t goodReads_;
};

// Keeps what is written; the write after `goodWrites` fails.
class TextSink : public ByteSink {
  public:
    explicit TextSink(std::size_t goodWrites = ~std::size_t{0}) : goodWrites_(goodWrites) {}
    bool Write(std::string_view bytes) override {
        if (goodWrites_ == 0) return false;
        --goodWrites_;
        text += bytes;
        longest = std::max(longest, bytes.size());
        return true;
    }
    std::string text;
    std::size_t longest = 0;

  private:
    std::size_t goodWrites_;
};

inline std::string Decoded(std::string bytes) {
    DecodeTextMode(bytes);
    return bytes;
}

inline std::string OnDisk(std::string_view text) {
    std::string bytes;
    AppendTextMode(bytes, text);
    return bytes;
}

}  // namespace tarnwick::testing
