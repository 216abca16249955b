#include "provider/Appointments.h"

#include <algorithm>
#include <optional>

#include "common/Files.h"
#include "common/FileSource.h"
#include "common/Text.h"
#include "provider/CalendarLock.h"
#include "provider/CalendarPaths.h"
#include "provider/CalendarText.h"
#include "provider/ModuleState.h"

namespace tarnwick {
namespace {

CalendarEntry EntryOf(const AppointmentRecord& record) {
    return {record.start, record.end, FieldText(record.appointmentId)};
}

void StoreEntry(AppointmentRecord& record, const CalendarEntry& entry) {
    StoreField(record.appointmentId, entry.id);
    record.start = entry.start;
    record.end = entry.end;
}

// Writes all of a text file's bytes; false when the file then does not hold them.
bool WriteAndClose(File& file, const std::string& bytes) {
    const bool written = file.Write(bytes);
    return file.Close() && written;
}

// A calendar's first entry needs no swap: nobody has content to lose.
bool CreateCalendar(const CalendarNames& names, const CalendarEntry& entry) {
    const std::string path = CalendarFile(names);
    CalendarBuilder content(0);
    content.Append(entry);
    File calendar(path, kOpenTruncate);
    if (!calendar.IsOpen()) return false;
    if (WriteAndClose(calendar, content.Bytes())) return true;
    // Half an entry would be read as one.
    RemoveFile(path);
    return false;
}

struct Replaced {
    bool stored;  // the calendar has its new content
    bool matched;
    int lines;
};

// Reads the open calendar and writes what the change makes of it into the open replacement. No
// value when either failed.
std::optional<Replaced> WriteChanged(File& calendar, File& replacement,
                                     const CalendarChange& change) {
    const auto size = static_cast<std::size_t>(calendar.Size().value_or(0));
    FileSource source(calendar);
    CalendarReader reader(source);
    const ChangedCalendar changed = ChangeCalendar(reader, size, change);
    if (reader.Failed()) return std::nullopt;
    if (!WriteAndClose(replacement, changed.content.Bytes())) return std::nullopt;
    return Replaced{true, changed.matched, changed.content.Lines()};
}

// Changes an existing calendar through its replacement and swaps that in, which ends the block. No
// value when there is no calendar.
std::optional<Replaced> ReplaceCalendar(const CalendarNames& names, CalendarBlock& block,
                                        const CalendarChange& change) {
    File calendar(CalendarFile(names), kOpenRead);
    if (!calendar.IsOpen()) return std::nullopt;
    const std::string path = ReplacementFile(names);
    File replacement(path, kOpenTruncate);
    if (!replacement.IsOpen()) {
        // Swapping nothing in takes the calendar away; its content is then in the backup.
        calendar.Close();
        block.Apply();
        return Replaced{};
    }
    const auto replaced = WriteChanged(calendar, replacement, change);
    calendar.Close();
    if (replaced) {
        block.Apply();
        return replaced;
    }
    // A replacement that is not whole must not take the calendar's place.
    replacement.Close();
    RemoveFile(path);
    return Replaced{};
}

// Takes the last entry that matches. Each match overwrites the record's ID, so an empty one means
// the first entry's from there on.
bool TakeLastMatch(CalendarReader& calendar, AppointmentRecord& record) {
    bool found = false;
    while (calendar.Next()) {
        const CalendarLine& line = calendar.Line();
        if (line.blank || !MatchesId(FieldText(record.appointmentId), line.id)) continue;
        StoreEntry(record, EntryIn(line));
        found = true;
    }
    return found;
}

// Takes the first entry behind this thread's position that matches. The position moves over every
// line that was looked at, empty ones too.
bool TakeNextMatch(CalendarReader& calendar, AppointmentRecord& record) {
    std::int32_t position = FindPosition();
    // A calendar that has become shorter leaves the position where it was.
    if (calendar.Skip(position) < position) return false;
    position = std::max(position, 0);
    const std::string_view wanted = FieldText(record.appointmentId);
    bool found = false;
    while (!found && calendar.Next()) {
        ++position;
        found = MatchesId(wanted, calendar.Line().id);
    }
    // What stands before a failed read may be half a line, which the next call shall see whole.
    if (calendar.Failed()) return false;
    if (found) StoreEntry(record, EntryIn(calendar.Line()));
    SetFindPosition(position);
    return found;
}

bool ReadCalendar(const CalendarNames& names, AppointmentRecord& record,
                  bool (*take)(CalendarReader&, AppointmentRecord&)) {
    File calendar(CalendarFile(names), kOpenRead);
    if (!calendar.IsOpen()) return false;
    FileSource source(calendar);
    CalendarReader reader(source);
    return take(reader, record) && !reader.Failed();
}

}  // namespace

bool AddAppointment(const AppointmentRecord& record) {
    const CalendarNames names = NamesOf(record);
    const std::string key = PrepareCalendarFolder(names);
    if (!NamesCalendar(names)) return false;
    CalendarBlock block(key);
    if (!block.IsHeld()) return false;
    const CalendarEntry entry = EntryOf(record);
    const auto replaced = ReplaceCalendar(names, block, {entry.id, MatchAction::Keep, entry});
    if (replaced) return replaced->stored && !replaced->matched;
    const bool created = CreateCalendar(names, entry);
    // Only a new calendar is announced here; adding to one is not.
    WriteChangeFlag(names);
    return created;
}

bool RemoveAppointment(const AppointmentRecord& record) {
    const CalendarNames names = NamesOf(record);
    if (!NamesCalendar(names)) return false;
    CalendarBlock block(PrepareCalendarFolder(names));
    if (!block.IsHeld()) return false;
    const CalendarEntry entry = EntryOf(record);
    const auto replaced = ReplaceCalendar(names, block, {entry.id, MatchAction::Drop, {}});
    if (!replaced) return false;
    if (replaced->matched && replaced->lines == 0) RemoveFile(CalendarFile(names));
    WriteChangeFlag(names);
    return replaced->matched;
}

bool EditAppointment(const AppointmentRecord& key, const AppointmentRecord& replacement) {
    const CalendarNames names = NamesOf(key);
    const std::string calendarKey = PrepareCalendarFolder(names);
    if (!NamesCalendar(names)) return false;
    CalendarBlock block(calendarKey);
    if (!block.IsHeld()) return false;
    const auto replaced = ReplaceCalendar(
        names, block, {EntryOf(key).id, MatchAction::Replace, EntryOf(replacement)});
    if (!replaced) return false;
    WriteChangeFlag(names);
    // Done once the calendar could be opened, whether or not anything matched.
    return true;
}

bool GetAppointment(AppointmentRecord& record) {
    const CalendarNames names = NamesOf(record);
    if (!NamesCalendar(names)) return false;
    WaitForCalendarUnblocked(PrepareCalendarFolder(names));
    return ReadCalendar(names, record, TakeLastMatch);
}

bool FindFirstAppointment(AppointmentRecord& record) {
    SetFindPosition(0);
    return FindNextAppointment(record);
}

bool FindNextAppointment(AppointmentRecord& record) {
    const CalendarNames names = NamesOf(record);
    const std::string key = PrepareCalendarFolder(names);
    if (!NamesCalendar(names)) return false;
    WaitForCalendarUnblocked(key);
    return ReadCalendar(names, record, TakeNextMatch);
}

}  // namespace tarnwick
