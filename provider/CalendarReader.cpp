#include "provider/CalendarReader.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "common/Scan.h"

namespace tarnwick {
namespace {

// The last characters of an ID, and whether a line ends in them or in what may be taken for them:
// letters count in either case, and so do some other pairs.
class Ending {
  public:
    // `id` is not empty.
    explicit Ending(std::string_view id) {
        const std::size_t length = std::min(id.size(), kWord);
        char last[kWord] = {};
        std::memcpy(last + kWord - length, id.data() + id.size() - length, length);
        last_ = WordAt(last);
        // The last character stands on top.
        compared_ = ~kCaseBits << (8 * (kWord - length));
    }

    // A word must be readable before `lineEnd`.
    bool MayStandBefore(const char* lineEnd) const {
        return ((WordAt(lineEnd - kWord) ^ last_) & compared_) == 0;
    }

  private:
    static constexpr std::size_t kWord = sizeof(std::uint64_t);
    static constexpr std::uint64_t kCaseBits = 0x2020202020202020;

    static std::uint64_t WordAt(const char* bytes) {
        std::uint64_t word;
        std::memcpy(&word, bytes, kWord);
        return word;
    }

    std::uint64_t last_;
    std::uint64_t compared_;
};

}  // namespace

static_assert(2 * kCountWindow <= CalendarReader::kLineCapacity);

bool CalendarReader::Next() {
    PlainLine<3> plain;
    if (!lines_.TakePlain(plain)) return TakeDamagedLine();
    line_ = {plain[0], plain[1], plain[2], plain.Text()};
    return true;
}

// The file's last line too, which has no line break.
bool CalendarReader::TakeDamagedLine() {
    const auto text = lines_.Next();
    if (!text) return false;
    std::array<std::size_t, 2> tabs;
    const std::size_t count = FindEach(*text, '\t', tabs);
    // What is missing of a damaged line is taken from before, and nothing behind its second tab is
    // cut off: kept for compatibility, or rewriting a calendar would change such lines.
    line_.text = *text;
    line_.start = line_.end = text->substr(0, count == 0 ? kNotFound : tabs[0]);
    if (count == 0) return true;
    line_.end = line_.id = text->substr(tabs[0] + 1);
    if (count == 1) return true;
    line_.end = line_.end.substr(0, tabs[1] - tabs[0] - 1);
    line_.id = text->substr(tabs[1] + 1);
    return true;
}

bool CalendarReader::NextMatch(std::string_view id) {
    while (Next()) {
        if (line_.text.empty()) continue;
        if (MatchesId(id, line_.id)) return true;
        PassOthers(id);
    }
    return false;
}

std::int32_t CalendarReader::Skip(std::int32_t count) {
    std::int32_t skipped = SkipStrides(count);
    while (skipped < count) {
        lines_.PassWhile([&](const char*) {
            if (skipped == count) return false;
            ++skipped;
            return true;
        });
        if (skipped == count || !lines_.Next()) break;
        ++skipped;
    }
    return skipped;
}

// Passes over lines by long strides of the text, at most `count`; gives how many.
std::int32_t CalendarReader::SkipStrides(std::int32_t count) {
    constexpr std::size_t kStride = 8 * kCountWindow;
    std::int32_t skipped = 0;
    std::size_t at = 0;
    while (lines_.Bytes().size() - at >= kStride) {
        // With a line feed in each window no line is longer than a piece.
        const std::string_view stride(lines_.Bytes().data() + at, kStride);
        const auto lines = static_cast<std::int32_t>(CountInWindows(stride, '\n', kTextEnd));
        if (lines == 0 || lines > count - skipped) break;
        skipped += lines;
        at += kStride;
    }
    while (at > 0 && lines_.Bytes()[at - 1] != '\n') --at;
    lines_.MoveTo(at);
    return skipped;
}

// Passes over the lines that cannot be taken for ones with `id`, not empty. The line that was read
// last does not have it either, so that a line without a tab behind them still gets another.
void CalendarReader::PassOthers(std::string_view id) {
    const Ending wanted(id);
    lines_.PassWhile([&](const char* lineEnd) { return !wanted.MayStandBefore(lineEnd); });
}

}  // namespace tarnwick
