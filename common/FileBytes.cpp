#include "common/FileBytes.h"

#include <cstring>
#include <mutex>
#include <utility>

#include "common/StaticLock.h"

namespace tarnwick {
namespace {

constexpr std::size_t kMostKept = std::size_t{8} << 20;

struct Buffer {
    std::unique_ptr<char[]> bytes;
    std::size_t capacity = 0;
};

constinit StaticLock keptLock;
constinit char* keptBytes = nullptr;
constinit std::size_t keptCapacity = 0;

// Keeps `buffer` and gives what was kept.
Buffer ExchangeKept(Buffer buffer) {
    const std::lock_guard guard(keptLock);
    return {std::unique_ptr<char[]>(std::exchange(keptBytes, buffer.bytes.release())),
            std::exchange(keptCapacity, buffer.capacity)};
}

// Not cleared. A quarter more than asked for, so that the file still fits when it has grown.
Buffer NewBuffer(std::size_t least) {
    const std::size_t capacity = least + least / 4;
    return {std::make_unique_for_overwrite<char[]>(capacity), capacity};
}

}  // namespace

FileBytes::FileBytes(std::size_t capacity) {
    Buffer buffer = ExchangeKept({});
    if (buffer.capacity < capacity) buffer = NewBuffer(capacity);
    bytes_ = std::move(buffer.bytes);
    capacity_ = buffer.capacity;
}

FileBytes::~FileBytes() {
    if (bytes_ && capacity_ <= kMostKept) ExchangeKept({std::move(bytes_), capacity_});
}

void FileBytes::Grow() {
    Buffer larger = NewBuffer(2 * capacity_);
    std::memcpy(larger.bytes.get(), bytes_.get(), size_);
    bytes_ = std::move(larger.bytes);
    capacity_ = larger.capacity;
}

void FileBytes::FreeKept() {
    ExchangeKept({});
}

}  // namespace tarnwick
