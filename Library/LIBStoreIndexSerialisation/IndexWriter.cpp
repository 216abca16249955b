#include "Library/LIBStoreIndexSerialisation/IndexWriter.h"

#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/IndexReports.h"

namespace tarnwick {

void IndexWriter::Check(bool succeeded, Failure failure, std::string_view context, int line) {
    if (succeeded) return;
    sound_ = false;
    // Lost bytes ("bad") go before a call without effect ("fail"). The text is kept for
    // compatibility, spelling included.
    std::string message = "Warning. File contention occured when accessing index file (";
    message += failure == Failure::Bad ? "bad" : "fail";
    if (!context.empty()) message.append("{").append(context).append("}");
    message += ").Contention in Function: LIBStoreIndexSerialisation, Module Line: ";
    message += std::to_string(line);
    ReportIndexProblem(message);
}

bool IndexWriter::SeekTo(std::uint64_t offset) {
    if (offset == offset_) return true;
    WriteHeld();
    const bool reached = stream_.Seek(offset);
    Check(reached, Failure::Fail, {}, __LINE__);
    if (reached) offset_ = offset;
    return reached;
}

void IndexWriter::Write(std::string_view bytes) {
    held_.Append(bytes);
    offset_ += bytes.size();
    if (held_.Size() < kBlock) return;
    if (trailerToBreak_) BreakTrailer();
    WriteHeld();
}

void IndexWriter::WriteHeld() {
    if (held_.Size() == 0) return;
    Check(stream_.Write(held_.View()), Failure::Bad, {}, __LINE__);
    held_.Clear();
}

void IndexWriter::BreakTrailer() {
    const std::string blanks(kTrailer.size(), ' ');
    Check(stream_.Seek(*trailerToBreak_) && stream_.Write(blanks), Failure::Bad, {}, __LINE__);
    Check(stream_.Seek(offset_ - held_.Size()), Failure::Fail, {}, __LINE__);
    trailerToBreak_.reset();
}

void IndexWriter::Flush() {
    WriteHeld();
    Check(stream_.Flush(), Failure::Bad, {}, __LINE__);
}

std::optional<std::string> IndexWriter::ReadAt(std::uint64_t offset, std::size_t size,
                                               std::string_view context) {
    std::string bytes(size, '\0');
    bool read = SeekTo(offset);
    if (read) {
        WriteHeld();
        read = stream_.Read(bytes);
        Check(read, Failure::Fail, context, __LINE__);
    }
    // Where a failed call leaves the stream is unknown; the next write seeks.
    offset_ = kNowhere;
    if (!read) return std::nullopt;
    return bytes;
}

std::uint64_t IndexWriter::Size() {
    WriteHeld();
    const auto size = stream_.Size();
    Check(size.has_value(), Failure::Fail, {}, __LINE__);
    return size.value_or(0);
}

std::uint32_t WriteIndexElement(IndexWriter& writer, const IndexItemPropertyContainer& entry) {
    const std::size_t before = writer.held_.Size();
    AppendIndexElement(writer.held_, entry);
    const std::size_t length = writer.held_.Size() - before;
    writer.offset_ += length;
    writer.Write({});
    return static_cast<std::uint32_t>(length);
}

}  // namespace tarnwick
