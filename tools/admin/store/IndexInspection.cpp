#include "tools/admin/store/IndexInspection.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>

#include "common/Reports.h"
#include "common/Scan.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/IndexLoad.h"
#include "Library/LIBStoreIndexSerialisation/IndexReports.h"

namespace tarnwick::admin {
namespace {

class MemorySource final : public ByteSource {
  public:
    explicit MemorySource(std::string_view bytes) : bytes_(bytes) {}
    std::optional<std::size_t> Read(std::span<char> bytes) override {
        const std::size_t count = std::min(bytes.size(), bytes_.size());
        std::memcpy(bytes.data(), bytes_.data(), count);
        bytes_.remove_prefix(count);
        return count;
    }

  private:
    std::string_view bytes_;
};

// Takes the reports of a load, which would tell the event log of an index that was only looked at.
class ReportCatcher final : public ReportSink {
  public:
    ReportCatcher() { SetReportSink(this); }
    ~ReportCatcher() override { SetReportSink(nullptr); }
    ReportCatcher(const ReportCatcher&) = delete;
    ReportCatcher& operator=(const ReportCatcher&) = delete;
    void Report(ReportChannel, std::string_view text) override { text_ = text; }

    // The malformation without the words around it.
    std::string Malformation() const {
        constexpr std::string_view kBefore = "Malformed index detected: ";
        constexpr std::string_view kAfter = " ()\n";
        if (!text_.starts_with(kBefore) || !text_.ends_with(kAfter)) return "it cannot be read";
        return text_.substr(kBefore.size(), text_.size() - kBefore.size() - kAfter.size());
    }

  private:
    std::string text_;
};

// The value of the next attribute in quotes and what stands behind it.
std::string_view QuotedAfter(std::string_view text, std::string_view start) {
    if (!text.starts_with(start)) return {};
    text.remove_prefix(start.size());
    return text.substr(0, FindByte(text, '"'));
}

}  // namespace

void IndexInspection::Run(std::string_view bytes, std::uint32_t garbageThreshold) {
    problems_.clear();
    blanked_ = 0;
    const auto malformation = MalformationOf(bytes);
    loads_ = !malformation;
    if (malformation) {
        const bool order = malformation->starts_with(malformation::kUidOrder);
        const std::uint64_t place = PlaceOfMalformation(bytes, *malformation);
        // The search for the place has loaded less than the whole.
        MalformationOf(bytes);
        Add(order ? Problem::IndexOutOfOrder : Problem::IndexMalformed, place, *malformation);
        return;
    }
    LookAtLastUid();
    std::uint32_t lastUid = 0;
    // The older format is written in full each time, so that nothing hangs on its bytes.
    if (!ParseLastUidAttribute(bytes.substr(0, kTagLimit), lastUid)) return;
    LookBetweenEntries(bytes);
    if (blanked_ != 0 && blanked_ >= garbageThreshold) {
        Add(Problem::IndexBlanked, firstBlanked_, std::to_string(blanked_));
    }
}

void IndexInspection::Add(Problem problem, std::uint64_t offset, std::string detail) {
    problems_.push_back({problem, offset, std::move(detail)});
}

// Fills the index; no value when it loads.
std::optional<std::string> IndexInspection::MalformationOf(std::string_view bytes) {
    const ReportCatcher reports;
    const auto open = [bytes] { return std::make_unique<MemorySource>(bytes); };
    IndexLoad load;
    // However many entries are blanked, where the others stand is to be known.
    load.garbageThreshold = std::numeric_limits<std::uint32_t>::max();
    if (LoadIndex(index_, open, {}, load) == kLoadFull) return std::nullopt;
    return reports.Malformation();
}

// The first malformation of a beginning of the file is that of the whole from the tag on that is
// wrong; which beginning is the shortest such is found by halving.
std::uint64_t IndexInspection::PlaceOfMalformation(std::string_view bytes,
                                                   const std::string& malformation) {
    if (malformation == malformation::kNoRootStart) return 0;
    if (malformation == malformation::kNoRootEnd) return bytes.size();
    std::size_t sound = 0;
    std::size_t wrong = bytes.size();
    while (wrong - sound > 1) {
        const std::size_t middle = sound + (wrong - sound) / 2;
        (MalformationOf(bytes.substr(0, middle)) == malformation ? wrong : sound) = middle;
    }
    const std::size_t tag = bytes.substr(0, wrong).rfind('<');
    return tag == bytes.npos ? 0 : tag;
}

void IndexInspection::LookAtLastUid() {
    const StoreIndex::Entry* highest = nullptr;
    for (const StoreIndex::Entry& entry : index_.InUidOrder()) highest = &entry;
    if (highest == nullptr || highest->Uid() <= index_.LastUid()) return;
    Add(Problem::IndexLastUid, 0,
        std::to_string(index_.LastUid()) + " < " + std::to_string(highest->Uid()) + " of " +
            std::string(highest->Id()));
}

// Entries and blanked ones follow each other from the header to the trailer.
void IndexInspection::LookBetweenEntries(std::string_view bytes) {
    std::uint64_t at = kHeaderLength;
    for (const StoreIndex::Entry& entry : index_.InPositionOrder()) {
        if (entry.ItemOffset() < at) break;
        LookAtGap(bytes.substr(at, entry.ItemOffset() - at), at);
        at = static_cast<std::uint64_t>(entry.ItemOffset()) + entry.ItemLength();
    }
    const std::string_view rest = bytes.substr(std::min<std::size_t>(at, bytes.size()));
    if (rest.ends_with(kTrailer)) {
        LookAtGap(rest.substr(0, rest.size() - kTrailer.size()), at);
    } else {
        LookAtGap(rest, at);
    }
    if (!index_.ExtentsTrusted() && problems_.empty()) {
        Add(Problem::IndexGap, 0, "the header or a start tag is of another form");
    }
}

void IndexInspection::LookAtGap(std::string_view gap, std::uint64_t offset) {
    while (!gap.empty()) {
        const std::string_view id = QuotedAfter(gap, "<ELEMENT ID=\"");
        const std::size_t end = FindText(gap, kEntryEnd);
        if (id.empty() || end == kNotFound) {
            return Add(Problem::IndexGap, offset, std::to_string(gap.size()) + " bytes");
        }
        if (!IsBlanked(id)) {
            Add(Problem::IndexIdDoubled, offset, std::string(id));
        } else if (blanked_++ == 0) {
            firstBlanked_ = offset;
        }
        const std::size_t length = end + kEntryEnd.size();
        gap.remove_prefix(length);
        offset += length;
    }
}

}  // namespace tarnwick::admin
