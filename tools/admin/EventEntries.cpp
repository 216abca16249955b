#include "tools/admin/EventEntries.h"

#include <algorithm>
#include <limits>
#include <map>
#include <set>

#include "common/Text.h"
#include "Library/convert/CalendarDate.h"
#include "Library/convert/ItemText.h"
#include "Library/convert/PropertyNames.h"
#include "tools/admin/Failure.h"
#include "tools/admin/Names.h"

namespace tarnwick::admin {
namespace {

constexpr std::size_t kLongestId = 63;
constexpr std::string_view kItemExtension = ".ICS";
// A name that had to be changed is told from others by a number made of the whole of it.
constexpr std::size_t kKeptLength = 40;

std::string Lower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), LowerAscii);
    return lower;
}

// 64-bit FNV-1a, in sixteen hexadecimal digits.
std::string Fingerprint(std::string_view text) {
    std::uint64_t hash = 0xCBF2'9CE4'8422'2325;
    for (const char byte : text) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100'0000'01B3;
    }
    std::string digits;
    for (int shift = 60; shift >= 0; shift -= 4) digits += "0123456789abcdef"[hash >> shift & 15];
    return digits;
}

bool IsPlainByte(char byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= '0' && byte <= '9') || byte == '-' || byte == '_' || byte == '@' || byte == '.';
}

// Whether a file can have this name in front of its extension, on every system and beside the
// names that devices have.
bool IsPlainName(std::string_view name) {
    constexpr std::size_t kLongestDeviceName = 4;
    return std::all_of(name.begin(), name.end(), IsPlainByte) && name.find("..") == name.npos &&
           std::min(name.find('.'), name.size()) > kLongestDeviceName;
}

// A name made of plain bytes alone, different for different names.
std::string Replaced(std::string_view name) {
    std::string replaced(name.substr(0, kKeptLength));
    std::replace_if(
        replaced.begin(), replaced.end(),
        [](char byte) { return !IsPlainByte(byte) || byte == '.'; }, '_');
    return replaced + "~" + Fingerprint(Lower(name));
}

std::string IdOfUid(const std::string& uid) {
    return ProblemWithId(uid).empty() ? uid : Replaced(uid);
}

// The IDs that a file has used.
class UsedIds {
  public:
    // The ID, or with a number behind it when it was used before.
    std::string MakeUnique(const std::string& id) {
        std::string unique = id;
        // IDs that may meet once they are cut for a number share theirs.
        int& number = numbers_[Lower(id.substr(0, kNeverCut))];
        while (!used_.insert(Lower(unique)).second) {
            const std::string suffix = "#" + std::to_string(number + 2);
            unique = id.substr(0, kLongestId - suffix.size()) + suffix;
            ++number;
        }
        return unique;
    }

  private:
    // What is left of an ID before any number that a file could need.
    static constexpr std::size_t kNeverCut = kLongestId - 8;

    std::set<std::string> used_;
    // How many numbers were tried, so that none is tried again: a file may hold one UID throughout.
    std::map<std::string, int> numbers_;
};

std::optional<std::int64_t> SecondsOf(ItemPropertyContainer& item, const char* name) {
    const auto fileTime = item.FileTime(name);
    if (!fileTime) return std::nullopt;
    return SecondsOfFileTime(*fileTime);
}

bool FitsEntry(std::int64_t seconds) {
    return seconds >= std::numeric_limits<std::int32_t>::min() &&
           seconds <= std::numeric_limits<std::int32_t>::max();
}

// The end that an entry has for an event's.
std::int64_t EntryEnd(std::int64_t start, std::int64_t end) {
    return end > start && end % kSecondsPerDay == 0 ? end - 1 : end;
}

// An event's entry without its ID; no value when it has no start or does not fit.
std::optional<Entry> EntryOf(ItemPropertyContainer& event) {
    const auto start = SecondsOf(event, property::kEventStart);
    if (!start) return std::nullopt;
    const std::int64_t end =
        EntryEnd(*start, SecondsOf(event, property::kEventEnd).value_or(*start));
    if (!FitsEntry(*start) || !FitsEntry(end)) return std::nullopt;
    return Entry{static_cast<std::int32_t>(*start), static_cast<std::int32_t>(end), {}};
}

std::string AtLine(std::size_t line, const std::string& text) {
    return "line " + std::to_string(line) + ": " + text;
}

void AddEvent(CalendarItem& item, UsedIds& used, EventFile& file) {
    if (item.kind != ItemKind::Event) {
        file.notes.push_back(AtLine(item.line, "a task is passed over; calendars hold events"));
        return;
    }
    auto entry = EntryOf(item.properties);
    if (!entry) {
        file.notes.push_back(AtLine(
            item.line, "an event without a start, or before 1901 or after 2038, is passed over"));
        return;
    }
    const std::string text = EventText(item.properties);
    const std::string uid = item.properties.TextOr(property::kAppointmentUid);
    entry->id = used.MakeUnique(uid.empty() ? "event~" + Fingerprint(text) : IdOfUid(uid));
    file.entries.push_back({{item.line, *entry}, text});
}

}  // namespace

EventFile ParseEventFile(std::string_view text) {
    CalendarReading reading = ReadCalendarText(text);
    if (reading.failure) throw Refusal(AtLine(reading.failure->line, reading.failure->reason));
    EventFile file;
    UsedIds used;
    for (const ReadProblem& note : reading.notes) {
        file.notes.push_back(AtLine(note.line, note.reason));
    }
    for (CalendarItem& item : reading.items) AddEvent(item, used, file);
    return file;
}

std::string EventItemName(std::string_view id) {
    const bool fits = id.size() + kItemExtension.size() <= kLongestId;
    return (fits && IsPlainName(id) ? std::string(id) : Replaced(id)) + std::string(kItemExtension);
}

CalendarItem EventOfEntry(const Entry& entry, const std::optional<std::string>& itemText) {
    CalendarItem event;
    if (itemText) {
        CalendarReading reading = ReadCalendarText(*itemText);
        const auto found =
            std::find_if(reading.items.begin(), reading.items.end(),
                         [](const CalendarItem& item) { return item.kind == ItemKind::Event; });
        if (found != reading.items.end()) event = std::move(*found);
    }
    ItemPropertyContainer& properties = event.properties;
    if (properties.size() == 0) properties.Set(property::kSubject, entry.id);
    if (properties.TextOr(property::kAppointmentUid).empty()) {
        properties.Set(property::kAppointmentUid, entry.id);
    }
    const auto held = EntryOf(properties);
    if (!held || held->start != entry.start || held->end != entry.end) {
        properties.Set(property::kEventStart, FileTimeOfSeconds(entry.start));
        properties.Set(property::kEventEnd, FileTimeOfSeconds(entry.end));
    }
    return event;
}

}  // namespace tarnwick::admin
