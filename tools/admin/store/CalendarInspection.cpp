#include "tools/admin/store/CalendarInspection.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>

#include "common/Scan.h"
#include "common/Text.h"
#include "provider/CalendarBucketName.h"
#include "provider/CalendarReader.h"

namespace tarnwick::admin {
namespace {

constexpr char kEndOfText = '\x1A';
constexpr std::size_t kLongestLine = CalendarReader::kLineCapacity - 1;
constexpr std::size_t kLongestId = 63;
constexpr std::int64_t kSecondsPerDay = 86'400;
// Before 1938-04-24: nobody's appointment, but what the years from 2038 to 2074 become.
constexpr std::int64_t kOldestLikely = -1'000'000'000;

// A number as writers write it; no value for any other text and for one of over 18 digits.
std::optional<std::int64_t> PlainNumber(std::string_view text) {
    const bool negative = text.starts_with('-');
    const std::string_view digits = text.substr(negative ? 1 : 0);
    if (digits.empty() || digits.size() > 18) return std::nullopt;
    std::int64_t number = 0;
    for (const char digit : digits) {
        if (digit < '0' || digit > '9') return std::nullopt;
        number = number * 10 + (digit - '0');
    }
    if (digits.front() == '0' && (digits.size() > 1 || negative)) return std::nullopt;
    return negative ? -number : number;
}

bool IsControl(char byte) {
    return (byte >= 0 && byte < ' ') || byte == '\x7F';
}

// What keeps an ID from being named; empty when nothing does.
std::string_view OddityOf(std::string_view id) {
    if (id.empty()) return "is empty";
    if (id.size() > kLongestId) return "is longer than 63 characters";
    if (id.find('\t') != id.npos) return "holds a tab";
    if (std::any_of(id.begin(), id.end(), IsControl)) return "holds a control character";
    return {};
}

bool Fits32Bits(std::int64_t number) {
    return number >= std::numeric_limits<std::int32_t>::min() &&
           number <= std::numeric_limits<std::int32_t>::max();
}

bool IsWrapped(std::int64_t start, std::int64_t end) {
    return (start >= 0 && end < 0) || start < kOldestLikely;
}

// FNV-1a of the text in lower case.
std::uint32_t HashOf(std::string_view text) {
    std::uint32_t hash = 0x811C'9DC5;
    for (const char byte : text) {
        hash = (hash ^ static_cast<unsigned char>(LowerAscii(byte))) * 0x0100'0193;
    }
    return hash;
}

// Calls `take` with each line, without its break; the break behind the last line makes an empty
// one.
template <typename Take>
void ForEachLine(std::string_view text, Take take) {
    for (std::size_t at = 0;;) {
        const std::size_t end = FindByte(text, '\n', at);
        std::string_view line = text.substr(at, end == kNotFound ? end : end - at);
        if (end != kNotFound && line.ends_with('\r')) line.remove_suffix(1);
        take(line);
        if (end == kNotFound) return;
        at = end + 1;
    }
}

bool IsWholeLine(std::string_view line) {
    if (FindByte(line, '\0') != kNotFound) return false;
    const std::size_t first = FindByte(line, '\t');
    return first != kNotFound && FindByte(line, '\t', first + 1) != kNotFound &&
           line.size() <= kLongestLine;
}

// Consumes `count` digits; false when there are not so many.
bool TakeDigits(std::string_view& text, std::size_t count) {
    if (text.size() < count) return false;
    for (std::size_t at = 0; at < count; ++at) {
        if (text[at] < '0' || text[at] > '9') return false;
    }
    text.remove_prefix(count);
    return true;
}

}  // namespace

bool IsBucketName(std::string_view name) {
    const auto startsWith = [&name](char letter) {
        return !name.empty() && LowerAscii(name.front()) == letter;
    };
    if (!startsWith('y')) return false;
    name.remove_prefix(1);
    const bool isBefore2000 = name.starts_with('-');
    if (isBefore2000) name.remove_prefix(1);
    const std::size_t digits = std::min(name.find_first_not_of("0123456789"), name.size());
    name.remove_prefix(digits);
    if (name.empty()) return digits <= 2;
    // The sign counts for one of the two.
    if ((digits != 2 && !(isBefore2000 && digits == 1)) || !startsWith('m')) return false;
    name.remove_prefix(1);
    if (!TakeDigits(name, 2)) return false;
    if (name.empty()) return true;
    if (!startsWith('d')) return false;
    name.remove_prefix(1);
    return TakeDigits(name, 2) && name.empty();
}

void CalendarInspection::Run(std::string_view bytes, std::string_view name) {
    name_ = name;
    isBucket_ = IsBucketName(name);
    bucket_.clear();
    line_ = 0;
    problems_.clear();
    entries_.clear();
    hashes_.clear();
    const std::size_t textEnd = FindByte(bytes, kEndOfText);
    const std::string_view text = bytes.substr(0, textEnd);
    if (!text.empty()) ForEachLine(text, [this](std::string_view line) { TakeLine(line); });
    FindDoubledIds();
    if (textEnd != kNotFound && textEnd + 1 < bytes.size()) Add(Problem::LinesHidden);
    std::stable_sort(
        problems_.begin(), problems_.end(),
        [](const LineProblem& left, const LineProblem& right) { return left.line < right.line; });
}

bool CalendarInspection::HidesEntries() const {
    return std::any_of(problems_.begin(), problems_.end(), [](const LineProblem& problem) {
        return problem.problem == Problem::LineTorn || problem.problem == Problem::LineTooLong ||
               problem.problem == Problem::LinesHidden || problem.problem == Problem::IdOdd;
    });
}

LineProblem& CalendarInspection::Add(Problem problem, std::string detail) {
    problems_.push_back({problem, line_, std::move(detail)});
    return problems_.back();
}

void CalendarInspection::TakeLine(std::string_view text) {
    ++line_;
    if (text.empty()) {
        Add(Problem::LineEmpty);
        return;
    }
    const std::size_t first = FindByte(text, '\t');
    const std::size_t second = first == kNotFound ? first : FindByte(text, '\t', first + 1);
    if (text.size() > kLongestLine) {
        Add(Problem::LineTooLong);
    } else if (second == kNotFound || FindByte(text, '\0') != kNotFound) {
        Add(Problem::LineTorn);
    } else {
        TakeEntry(text.substr(0, first), text.substr(first + 1, second - first - 1),
                  text.substr(second + 1));
    }
}

void CalendarInspection::TakeEntry(std::string_view startText, std::string_view endText,
                                   std::string_view id) {
    const auto start = PlainNumber(startText);
    const auto end = PlainNumber(endText);
    const auto add = [&](Problem problem, std::string_view detail) {
        LineProblem& added = Add(problem, std::string(detail));
        added.id = id;
        added.start = start.value_or(0);
        added.end = end.value_or(0);
    };
    if (const std::string_view oddity = OddityOf(id); !oddity.empty()) {
        return add(Problem::IdOdd, oddity);
    }
    entries_.push_back({id, line_});
    hashes_.push_back({HashOf(id), static_cast<std::uint32_t>(entries_.size() - 1)});
    if (!start || !end) return add(Problem::NumberOdd, start ? endText : startText);
    if (!Fits32Bits(*start) || *start < kOldestLikely) return add(Problem::TimeWrapped, startText);
    if (!Fits32Bits(*end) || IsWrapped(*start, *end)) return add(Problem::TimeWrapped, endText);
    if (*start > *end) {
        return add(Problem::StartAfterEnd, std::string(startText) + " to " + std::string(endText));
    }
    if (isBucket_ &&
        !IsInItsCalendar(static_cast<std::int32_t>(*start), static_cast<std::int32_t>(*end))) {
        add(Problem::WrongCalendar, bucket_);
    }
}

bool CalendarInspection::IsInItsCalendar(std::int32_t start, std::int32_t end) {
    const auto dayOf = [](std::int64_t seconds) {
        return (seconds - (seconds < 0 ? kSecondsPerDay - 1 : 0)) / kSecondsPerDay;
    };
    if (bucket_.empty() || dayOf(start) != startDay_ || dayOf(end) != endDay_) {
        std::array<char, kLongestId + 1> bucket{};
        MakeCalendarBucketName(start, end, bucket);
        bucket_ = bucket.data();
        startDay_ = dayOf(start);
        endDay_ = dayOf(end);
    }
    return EqualsIgnoreCase(bucket_, name_);
}

// A line that has another problem keeps that one.
void CalendarInspection::FindDoubledIds() {
    std::sort(hashes_.begin(), hashes_.end(), [](const HashedLine& left, const HashedLine& right) {
        return left.hash != right.hash ? left.hash < right.hash : left.entry < right.entry;
    });
    const std::size_t others = problems_.size();
    const auto hasProblem = [&](std::uint64_t line) {
        const auto end = problems_.begin() + static_cast<std::ptrdiff_t>(others);
        const auto found = std::lower_bound(
            problems_.begin(), end, line,
            [](const LineProblem& other, std::uint64_t wanted) { return other.line < wanted; });
        return found != end && found->line == line;
    };
    for (std::size_t at = 1; at < hashes_.size(); ++at) {
        for (std::size_t before = at; before-- > 0 && hashes_[before].hash == hashes_[at].hash;) {
            const SeenEntry& first = entries_[hashes_[before].entry];
            const SeenEntry& second = entries_[hashes_[at].entry];
            if (!EqualsIgnoreCase(first.id, second.id)) continue;
            if (!hasProblem(second.line)) {
                problems_.push_back({Problem::IdDoubled, second.line, std::to_string(first.line),
                                     std::string(second.id)});
            }
            break;
        }
    }
}

bool IsWholeCalendar(std::string_view bytes) {
    bool whole = bytes.find(kEndOfText) == bytes.npos;
    if (!bytes.empty()) {
        ForEachLine(bytes, [&](std::string_view line) { whole = whole && IsWholeLine(line); });
    }
    return whole;
}

std::string WholeLines(std::string_view bytes) {
    std::string text(bytes);
    std::erase(text, kEndOfText);
    std::string whole;
    ForEachLine(text, [&](std::string_view line) {
        // As readers do, which see nothing behind it.
        if (line.size() <= kLongestLine) line = line.substr(0, FindByte(line, '\0'));
        if (!IsWholeLine(line)) return;
        if (!whole.empty()) whole += "\r\n";
        whole += line;
    });
    return whole;
}

}  // namespace tarnwick::admin
