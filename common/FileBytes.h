// A buffer for a whole file. The module keeps one for the next file when it is done with: above
// half a megabyte fresh memory, which the system has to clear first, costs ten times the reading.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

namespace tarnwick {

class FileBytes {
  public:
    // Room for at least `capacity` bytes, not cleared; none of it is filled.
    explicit FileBytes(std::size_t capacity);
    FileBytes(FileBytes&&) = default;
    FileBytes& operator=(FileBytes&&) = delete;
    ~FileBytes();

    std::string_view View() const { return {bytes_.get(), size_}; }

    // The room behind what is filled.
    char* Room() { return bytes_.get() + size_; }
    std::size_t RoomSize() const { return capacity_ - size_; }
    void Fill(std::size_t count) { size_ += count; }
    // Makes the room larger.
    void Grow();

    // Frees the buffer that is kept, for a module that is unloaded.
    static void FreeKept();

  private:
    std::unique_ptr<char[]> bytes_;
    std::size_t capacity_ = 0;
    std::size_t size_ = 0;
};

}  // namespace tarnwick
