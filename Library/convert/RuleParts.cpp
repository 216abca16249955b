#include "Library/convert/RuleParts.h"

#include <algorithm>
#include <vector>

#include "common/Scan.h"
#include "common/Text.h"
#include "Library/convert/RecurrenceRule.h"

namespace tarnwick {
namespace {

// Stores a part; false when its value is not what it must be.
bool StorePart(RuleParts& parts, std::string_view name, std::string_view value) {
    const auto is = [name](std::string_view known) { return EqualsIgnoreCase(name, known); };
    const auto storeNumber = [value](std::optional<std::int32_t>& number) {
        number = ParseWholeNumber(value);
        return number.has_value();
    };
    if (value.empty()) return true;
    if (is("INTERVAL")) return storeNumber(parts.interval);
    if (is("COUNT")) return storeNumber(parts.count);
    if (is("UNTIL")) {
        parts.until = ParseDateValue(value);
        return parts.until.has_value();
    }
    if (is("FREQ")) {
        parts.frequency = value;
    } else if (is("BYDAY")) {
        parts.days = value;
    } else if (is("BYMONTHDAY")) {
        parts.daysOfMonth = value;
    } else if (is("BYMONTH")) {
        parts.months = value;
    } else if (is("BYSETPOS")) {
        parts.positions = value;
    } else if (is("WKST")) {
        parts.weekStart = value;
    } else {
        parts.hasMore = true;
    }
    return true;
}

std::optional<int> WeekdayNumber(std::string_view name) {
    for (int day = 0; day < 7; ++day) {
        if (EqualsIgnoreCase(name, kWeekdayNames[day])) return day;
    }
    return std::nullopt;
}

struct OldFrequency {
    std::string_view letters;
    std::string_view modern;    // the frequency
    std::string_view listName;  // the part that its list becomes
};

// Longer letters first, where one begins another.
constexpr OldFrequency kFrequencies[] = {
    {"MP", "MONTHLY", "BYDAY"},    {"MD", "MONTHLY", "BYMONTHDAY"}, {"YM", "YEARLY", "BYMONTH"},
    {"YD", "YEARLY", "BYYEARDAY"}, {"D", "DAILY", "BYHOUR"},        {"W", "WEEKLY", "BYDAY"},
};

constexpr std::string_view kBlanks = " \t";

std::vector<std::string_view> Words(std::string_view text) {
    std::vector<std::string_view> words;
    std::size_t from = text.find_first_not_of(kBlanks);
    while (from != text.npos) {
        const std::size_t end = std::min(text.find_first_of(kBlanks, from), text.size());
        words.push_back(text.substr(from, end - from));
        from = text.find_first_not_of(kBlanks, end);
    }
    return words;
}

bool IsDay(std::string_view word) {
    return word.size() == 2 && word[0] >= 'A' && word[0] <= 'Z' && word != "LD";
}

// "2+" and "1-" of a monthly position as the ordinal before a day; empty for another word.
std::string Ordinal(std::string_view word) {
    if (word.size() != 2 || word[0] < '1' || word[0] > '5') return {};
    if (word[1] != '+' && word[1] != '-') return {};
    return (word[1] == '-' ? "-" : "") + std::string(word.substr(0, 1));
}

// A number of the list as it counts today; "LD" is the last day, a minus counts from the end.
std::string ListNumber(std::string_view word) {
    if (word == "LD") return "-1";
    const std::string_view digits = word.substr(0, word.find_first_of("+-"));
    if (!ParseWholeNumber(digits) || word.size() > digits.size() + 1) return {};
    return (word.back() == '-' ? "-" : "") + std::string(digits);
}

// The end that a last word gives; nothing when it is no end.
std::optional<std::string> End(std::string_view word) {
    if (word.starts_with('#')) {
        const auto count = ParseWholeNumber(word.substr(1));
        if (!count) return std::nullopt;
        return *count == 0 ? std::string() : ";COUNT=" + std::to_string(*count);
    }
    if (word.size() < 8 || !ParseDateValue(word)) return std::nullopt;
    return ";UNTIL=" + std::string(word);
}

// The list between the frequency and the end, as the value of its part; nothing when a word of it
// does not belong there. Only lists of days have ordinals: elsewhere "2+" is the second.
std::optional<std::string> List(const std::vector<std::string_view>& words, bool ofDays) {
    std::string list;
    std::string ordinal;
    for (const std::string_view word : words) {
        const std::string next = ofDays ? Ordinal(word) : std::string();
        if (!next.empty()) {
            ordinal = next;
            continue;
        }
        const std::string item = IsDay(word) ? ordinal + std::string(word) : ListNumber(word);
        if (item.empty()) return std::nullopt;
        list += (list.empty() ? "" : ",") + item;
    }
    return list;
}

}  // namespace

std::optional<RuleParts> ParseRule(std::string_view value) {
    RuleParts parts;
    bool namesFrequency = false;
    while (const auto part = NextListItem(value, ';')) {
        if (part->empty()) continue;
        const std::size_t equals = FindByte(*part, '=');
        if (equals == kNotFound) return std::nullopt;
        const std::string_view name = part->substr(0, equals);
        if (!StorePart(parts, name, part->substr(equals + 1))) return std::nullopt;
        namesFrequency = namesFrequency || EqualsIgnoreCase(name, "FREQ");
    }
    return namesFrequency ? std::optional(parts) : std::nullopt;
}

std::optional<RuleDays> ParseRuleDays(std::string_view days) {
    RuleDays result;
    bool first = true;
    while (const auto item = NextListItem(days)) {
        if (item->size() < 2) return std::nullopt;
        const auto day = WeekdayNumber(item->substr(item->size() - 2));
        const std::string_view ordinalText = item->substr(0, item->size() - 2);
        const auto ordinal = ParseWholeNumber(ordinalText);
        if (!day || (!ordinal && !ordinalText.empty())) return std::nullopt;
        if (!first && ordinal != result.ordinal) return std::nullopt;
        result.ordinal = ordinal;
        result.mask |= 1 << *day;
        first = false;
    }
    return result;
}

std::string ModernRule(std::string_view oldRule) {
    std::string upper(oldRule);
    std::transform(upper.begin(), upper.end(), upper.begin(), [](char letter) {
        return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
    });
    std::vector<std::string_view> words = Words(upper);
    if (words.empty()) return {};
    for (const OldFrequency& frequency : kFrequencies) {
        if (!words[0].starts_with(frequency.letters)) continue;
        const auto interval = ParseWholeNumber(words[0].substr(frequency.letters.size()));
        if (!interval) return {};
        std::optional<std::string> end;
        if (words.size() > 1) end = End(words.back());
        words.erase(words.begin());
        if (end) words.pop_back();
        const auto list = List(words, frequency.listName == "BYDAY");
        if (!list) return {};
        std::string rule = "FREQ=" + std::string(frequency.modern) +
                           ";INTERVAL=" + std::to_string(*interval) + end.value_or(";COUNT=2");
        if (!list->empty()) rule.append(";").append(frequency.listName).append("=").append(*list);
        return rule;
    }
    return {};
}

}  // namespace tarnwick
