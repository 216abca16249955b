// Writes through a buffer to an index file and reports what fails.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "Library/LIBStoreIndexSerialisation/IndexItemPropertyContainer.h"
#include "Library/LIBStoreIndexSerialisation/IndexMemory.h"
#include "Library/LIBStoreIndexSerialisation/IndexSave.h"

namespace tarnwick {

// A failed call is reported and counted, and the work goes on with the next: a save that stops in
// the middle would leave no less damage.
class IndexWriter {
  public:
    // Holds back this much before it writes.
    static constexpr std::size_t kBlock = std::size_t{1} << 15;

    // Both must outlive the writer; `held` is empty.
    IndexWriter(IndexStream& stream, ByteBuffer& held) : stream_(stream), held_(held) {}

    // Where the next byte goes.
    std::uint64_t Offset() const { return offset_; }
    // Whether nothing failed so far.
    bool Sound() const { return sound_; }

    // False when the place could not be reached; bytes then go to where the stream is.
    bool SeekTo(std::uint64_t offset);
    void Write(std::string_view bytes);
    void Flush();

    // Bytes of the file, what was written before included; nothing when they could not be read.
    std::optional<std::string> ReadAt(std::uint64_t offset, std::size_t size,
                                      std::string_view context);
    std::uint64_t Size();

    // From now on, the first block that goes out before the end overwrites what stands at `offset`
    // with blanks first, so that a file that was written in part is known for one.
    void BreakTrailerBeforeBlocks(std::uint64_t offset) { trailerToBreak_ = offset; }

  private:
    friend std::uint32_t WriteIndexElement(IndexWriter& writer,
                                           const IndexItemPropertyContainer& entry);

    enum class Failure { Fail, Bad };
    static constexpr std::uint64_t kNowhere = ~std::uint64_t{0};

    void WriteHeld();
    void BreakTrailer();
    void Check(bool succeeded, Failure failure, std::string_view context, int line);

    IndexStream& stream_;
    ByteBuffer& held_;
    std::uint64_t offset_ = 0;
    std::optional<std::uint64_t> trailerToBreak_;
    bool sound_ = true;
};

// Writes one entry where the writer stands; the count of bytes.
std::uint32_t WriteIndexElement(IndexWriter& writer, const IndexItemPropertyContainer& entry);

}  // namespace tarnwick
