// Index files in memory, with faults on demand.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>

#include "Library/LIBStoreIndexSerialisation/IndexLoad.h"
#include "Library/LIBStoreIndexSerialisation/IndexSave.h"

namespace tarnwick::testing {

class MemorySource : public ByteSource {
  public:
    // Hands out at most `step` bytes a read.
    explicit MemorySource(std::string_view bytes,
                          std::size_t step = std::numeric_limits<std::size_t>::max())
        : rest_(bytes), step_(step) {}
    std::optional<std::size_t> Read(std::span<char> bytes) override {
        const std::size_t count = std::min({bytes.size(), rest_.size(), step_});
        if (count != 0) std::memcpy(bytes.data(), rest_.data(), count);
        rest_.remove_prefix(count);
        return count;
    }

  private:
    std::string_view rest_;
    std::size_t step_;
};

class MemoryStream : public IndexStream {
  public:
    explicit MemoryStream(std::string& bytes) : bytes_(bytes) {}

    // From the n-th write on (from 0) nothing reaches the file, as if the writer had died.
    void DieAtWrite(int number) { deadAt_ = number; }
    // The n-th call (from 1) fails.
    void FailCall(int number) { failNumber_ = number; }
    bool HasFailed() const { return calls_ >= failNumber_; }
    int Writes() const { return writes_; }

    bool Seek(std::uint64_t offset) override {
        if (++calls_ == failNumber_) return false;
        at_ = static_cast<std::size_t>(offset);
        return true;
    }
    bool Read(std::span<char> bytes) override {
        if (++calls_ == failNumber_) return false;
        if (at_ > bytes_.size() || bytes.size() > bytes_.size() - at_) return false;
        if (!bytes.empty()) std::memcpy(bytes.data(), bytes_.data() + at_, bytes.size());
        at_ += bytes.size();
        return true;
    }
    bool Write(std::string_view bytes) override {
        if (++calls_ == failNumber_) return false;
        if (writes_++ >= deadAt_) return true;
        if (at_ > bytes_.size()) bytes_.resize(at_);
        const std::size_t over = std::min(bytes.size(), bytes_.size() - at_);
        bytes.copy(bytes_.data() + at_, over);
        bytes_.append(bytes.substr(over));
        at_ += bytes.size();
        return true;
    }
    bool Flush() override { return ++calls_ != failNumber_; }
    std::optional<std::uint64_t> Size() override {
        if (++calls_ == failNumber_) return std::nullopt;
        return bytes_.size();
    }
    bool IsDead() const { return writes_ > deadAt_; }

  private:
    std::string& bytes_;
    std::size_t at_ = 0;
    int writes_ = 0;
    int deadAt_ = std::numeric_limits<int>::max();
    int calls_ = 0;
    int failNumber_ = std::numeric_limits<int>::max();
};

// An index file in memory, loaded and saved as the serialiser does with one on disk.
class MemoryIndexFile {
  public:
    explicit MemoryIndexFile(std::string content = {}) : bytes(std::move(content)) {}

    std::uint32_t Load(StoreIndex& index, const IndexLoad& load = {}) const {
        const auto open = [&] {
            return exists ? std::make_unique<MemorySource>(bytes, step) : nullptr;
        };
        const std::uint32_t status = LoadIndex(index, open, "F", load);
        index.SetFileStamp(Stamp());
        return status;
    }

    bool Save(StoreIndex& index) {
        const auto stamp = exists ? std::optional(Stamp()) : std::nullopt;
        const SaveKind kind = ChooseSave(index, stamp, "F", "F\\_index.xml");
        if (kind == SaveKind::Nothing) return true;
        if (kind == SaveKind::Refused) return false;
        if (kind == SaveKind::Full) bytes.clear();
        exists = true;
        ++version;
        MemoryStream stream(bytes);
        stream.DieAtWrite(dieAtWrite);
        const SaveOutcome outcome = WriteIndex(index, stream, "F\\_index.xml", kind);
        writes = stream.Writes();
        if (outcome.newEnd && !stream.IsDead())
            bytes.resize(static_cast<std::size_t>(*outcome.newEnd));
        FinishSave(index, outcome.sound, Stamp());
        return outcome.sound;
    }

    IndexFileStamp Stamp() const { return {version, static_cast<std::uint32_t>(bytes.size())}; }

    std::string bytes;
    bool exists = true;
    std::size_t step = std::numeric_limits<std::size_t>::max();  // bytes that one read gives
    std::uint64_t version = 1;
    int dieAtWrite = std::numeric_limits<int>::max();
    int writes = 0;
};

}  // namespace tarnwick::testing
