#include "Library/LIBStoreIndexSerialisation/IndexSave.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "common/Scan.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/IndexReports.h"
#include "Library/LIBStoreIndexSerialisation/IndexWriter.h"

namespace tarnwick {
namespace {

using Entry = IndexItemPropertyContainer;

// A shorter gap cannot hold an entry.
constexpr std::size_t kLeastCheckedGap = 11;

// Bytes between an entry and the next that must survive: entries that were blanked or not loaded.
struct Gap {
    const Entry* after;
    std::string bytes;
};

class IndexSaver {
  public:
    IndexSaver(StoreIndex& index, IndexStream& stream, const std::string& path, bool inPlace,
               ByteBuffer& held)
        : index_(index), writer_(stream, held), path_(path), inPlace_(inPlace) {}

    SaveOutcome Run();

  private:
    void BlankRemoved();
    std::uint64_t FindRootEnd();
    void WriteEntries(const LiveEntries& entries, std::uint64_t offset);
    void ReadGaps(const LiveEntries& entries);
    void ReadGap(const Entry& entry, const Entry* next);
    void CheckGap(std::string_view gap, const Entry& entry, const Entry* next) const;
    std::uint64_t WriteWithGap(std::uint64_t offset, Entry& entry, const Entry* next);
    std::uint64_t SeekForEntry(std::uint64_t offset);
    void Corrupting(std::string_view what) const;

    StoreIndex& index_;
    IndexWriter writer_;
    const std::string& path_;
    bool inPlace_;
    std::uint64_t rootEnd_ = 0;  // of the old file
    std::vector<Gap> gaps_;  // in the order of the entries, before anything is written over them
    std::size_t nextGap_ = 0;
};

SaveOutcome IndexSaver::Run() {
    writer_.SeekTo(0);
    const auto header = IndexHeaderBytes(index_.LastUid());
    writer_.Write({header.data(), header.size()});
    if (inPlace_) {
        BlankRemoved();
        const Entry* const first = index_.FirstChanged();
        if (first == nullptr) {
            // Deletions move nothing: trailer and length are right.
            writer_.Flush();
            return {writer_.Sound(), std::nullopt};
        }
        rootEnd_ = FindRootEnd();
        const LiveEntries entries = index_.InUidOrderFrom(*first);
        ReadGaps(entries);
        const std::uint64_t start = first->ItemOffset() != 0 ? first->ItemOffset() : rootEnd_;
        if (index_.IsWhole() && !writer_.Sound()) {
            // Where the old bytes end is not known; the gaps of a whole hold only garbage.
            gaps_.clear();
            WriteEntries(index_.InUidOrder(), kHeaderLength);
        } else if (index_.IsWhole() || (writer_.SeekTo(start) && writer_.Sound())) {
            writer_.BreakTrailerBeforeBlocks(rootEnd_);
            WriteEntries(entries, start);
        } else {
            // The gaps of a part hold entries that nobody else has.
            return {false, std::nullopt};
        }
    } else {
        WriteEntries(index_.InUidOrder(), kHeaderLength);
    }
    writer_.Write(kTrailer);
    const std::uint64_t end = writer_.Offset();
    writer_.Flush();
    return {writer_.Sound(), inPlace_ ? std::optional(end) : std::nullopt};
}

void IndexSaver::BlankRemoved() {
    for (const RemovedEntry& removed : index_.Removed()) {
        if (writer_.SeekTo(removed.itemOffset)) writer_.Write(removed.blankedStart);
    }
}

std::uint64_t IndexSaver::FindRootEnd() {
    const std::uint64_t size = writer_.Size();
    const std::uint64_t start = size - std::min(size, kRootEndSearch);
    const std::string tail =
        writer_.ReadAt(start, static_cast<std::size_t>(size - start), "tail").value_or("");
    if (size > kTrailer.size() && tail.ends_with(kTrailer)) return size - kTrailer.size();
    const std::size_t found = FindText(tail, kRootEnd);
    return found == kNotFound ? size : start + found;
}

void IndexSaver::ReadGaps(const LiveEntries& entries) {
    const auto end = entries.end();
    bool previousNew = false;
    for (auto at = entries.begin(); at != end;) {
        const Entry& entry = *at++;
        // Behind a new entry there is nothing old.
        if (!previousNew) ReadGap(entry, at == end ? nullptr : &*at);
        previousNew = entry.ItemOffset() == 0;
    }
}

void IndexSaver::ReadGap(const Entry& entry, const Entry* next) {
    const bool nextIsOld = next != nullptr && next->ItemOffset() != 0;
    const std::uint64_t nextStart = nextIsOld ? next->ItemOffset() : rootEnd_;
    const std::uint64_t end = std::uint64_t{entry.ItemOffset()} + entry.ItemLength();
    if (end == 0 || nextStart <= end) return;
    auto bytes = writer_.ReadAt(end, static_cast<std::size_t>(nextStart - end), entry.Id());
    if (!bytes) return;
    // What looks corrupt is reported and kept all the same: only the old file has it.
    CheckGap(*bytes, entry, next);
    gaps_.push_back({&entry, std::move(*bytes)});
}

void IndexSaver::CheckGap(std::string_view gap, const Entry& entry, const Entry* next) const {
    if (gap.size() < kLeastCheckedGap) return;
    const std::string id(entry.Id());
    if (!gap.starts_with(kEntryStart)) {
        Corrupting("Gap after " + id + " does not start at the start of an element.");
    } else if (!gap.ends_with(kEntryEnd)) {
        const std::string place =
            next != nullptr ? "before " + std::string(next->Id()) : "after " + id;
        Corrupting("Gap " + place + " does not end at the end of an element.");
    }
}

void IndexSaver::WriteEntries(const LiveEntries& entries, std::uint64_t offset) {
    const auto end = entries.end();
    std::int64_t previousUid = -1;
    for (auto at = entries.begin(); at != end;) {
        Entry& entry = *at++;
        // Reported, and written: a save must not lose what a load has taken.
        if (previousUid >= entry.Uid()) {
            ReportIndexProblem("Serialisation Issue: UID incorrectly ordered at " +
                               std::to_string(entry.Uid()) + ".");
        }
        previousUid = entry.Uid();
        offset = WriteWithGap(offset, entry, at == end ? nullptr : &*at);
    }
    // Without entries the trailer follows the header.
    SeekForEntry(offset);
}

std::uint64_t IndexSaver::WriteWithGap(std::uint64_t offset, Entry& entry, const Entry* next) {
    offset = SeekForEntry(offset);
    const std::uint32_t oldLength = entry.ItemLength();
    const std::uint32_t length = WriteIndexElement(writer_, entry);
    index_.SetExtent(entry, static_cast<std::uint32_t>(offset), length);
    if (nextGap_ == gaps_.size() || gaps_[nextGap_].after != &entry) return offset + length;
    // Nothing is overwritten, as all gaps were read before; the report is kept for compatibility.
    if (next != nullptr && length > oldLength && length - oldLength > next->ItemLength()) {
        Corrupting("Item size for " + std::string(entry.Id()) +
                   " has grown so much that the gap will overflow the next item.");
    }
    const std::string gap = std::exchange(gaps_[nextGap_++].bytes, {});
    writer_.Write(gap);
    return offset + length + gap.size();
}

// Goes to `offset`, or to the end of the file, where nothing is overwritten and all that follows is
// written too: the old trailer before it tells the next load. Gives the place.
std::uint64_t IndexSaver::SeekForEntry(std::uint64_t offset) {
    if (writer_.SeekTo(offset)) return offset;
    // The text is kept for compatibility.
    const std::uint64_t length = writer_.Size();
    Trace("Info: Insertion attempt at Position: " + std::to_string(offset) +
          " with Stream Length: " + std::to_string(length) +
          ".File Pointer will is positioned to end of file, so as to allow diagnosis. "
          "Check .bad file");
    writer_.SeekTo(length);
    return length;
}

void IndexSaver::Corrupting(std::string_view what) const {
    ReportIndexProblem("Corrupting index " + path_ + ". " + std::string(what));
}

}  // namespace

SaveKind ChooseSave(StoreIndex& index, const std::optional<IndexFileStamp>& file,
                    const std::string& folder, const std::string& path) {
    const bool same = file && *file == index.FileStamp();
    if (!same && index.IsWhole()) {
        // To the trace alone, and nothing of a file that is gone: all of it is at hand.
        if (file) {
            Trace(
                "Index file has changed: " + folder +
                ". Cached offset information is now inaccurate. Index will be rewritten in full.");
        }
        index.InvalidateExtents();
    } else if (!same) {
        if (file) {
            ReportIndexProblem("Index file modified since load (" + path +
                               "). Index was not fully loaded: aborting save.");
        }
        return SaveKind::Refused;
    }
    // A whole file is never written from part of it.
    if (!index.ExtentsTrusted()) return index.IsWhole() ? SaveKind::Full : SaveKind::Refused;
    return index.IsModified() ? SaveKind::InPlace : SaveKind::Nothing;
}

SaveOutcome WriteIndex(StoreIndex& index, IndexStream& stream, const std::string& path,
                       SaveKind kind, ByteBuffer&& held) {
    return IndexSaver(index, stream, path, kind == SaveKind::InPlace, held).Run();
}

ByteBuffer SaveRoom() {
    ByteBuffer room;
    room.Room(2 * IndexWriter::kBlock);
    return room;
}

void FinishSave(StoreIndex& index, bool sound, const IndexFileStamp& file) {
    // No file has this stamp, so that the next save takes the file for a changed one.
    index.SetFileStamp(sound ? file : IndexFileStamp{});
    if (sound) index.MarkSaved();
}

}  // namespace tarnwick
