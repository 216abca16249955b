#include <algorithm>

#include "common/Files.h"
#include "common/Text.h"
#include "provider/CalendarLock.h"
#include "provider/CalendarPaths.h"
#include "provider/CalendarText.h"
#include "provider/ModuleState.h"
#include "provider/Operations.h"

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

// A file that is written whole or does not stay: half a calendar would be read as one.
class NewFile {
  public:
    // `path` must outlive the object.
    explicit NewFile(const std::string& path) : path_(path), file_(path, kOpenTruncate) {}
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    ~NewFile() {
        if (isKept_ || !wasCreated_) return;
        file_.Close();
        RemoveFile(path_);
    }

    bool IsOpen() const { return file_.IsOpen(); }
    // Writes all and closes; false when the file then does not hold it.
    bool Write(const std::string& bytes) {
        const bool written = file_.Write(bytes);
        return file_.Close() && written;
    }
    void Keep() { isKept_ = true; }

  private:
    const std::string& path_;
    File file_;
    bool wasCreated_ = file_.IsOpen();
    bool isKept_ = false;
};

// The files that a change works on and the flag that announces it, named before it begins: once
// begun it needs no memory, and is done whole.
struct ChangedFiles {
    std::string calendar;
    std::string replacement;
    std::string changeFlag;
};

ChangedFiles FilesOf(const CalendarNames& names) {
    return {CalendarFile(names), ReplacementFile(names), ChangeFlagFile(names)};
}

// A calendar's first entry needs no swap: nobody has content to lose.
bool CreateCalendar(const std::string& path, const CalendarEntry& entry) {
    CalendarBuilder content(0);
    content.Append(entry);
    const std::string bytes = content.TakeBytes();
    NewFile calendar(path);
    if (!calendar.IsOpen() || !calendar.Write(bytes)) return false;
    calendar.Keep();
    return true;
}

enum class Outcome {
    NoCalendar,
    NotWritten,  // there is no replacement that is whole
    Swapped,     // also when the swap had to give up: kept, callers learn nothing of that
};

struct Change {
    Outcome outcome = Outcome::NotWritten;
    bool matched = false;
    int lines = 0;
};

// Reads the open calendar and writes what the change makes of it into the open replacement.
Change WriteChanged(File& calendar, NewFile& replacement, const CalendarChange& change) {
    const auto bytes = calendar.ReadToEnd();
    if (!bytes) return {};
    const ChangedCalendar changed = ChangeCalendar(bytes->View(), change);
    if (!replacement.Write(changed.bytes)) return {};
    return {Outcome::Swapped, changed.matched, changed.lines};
}

// Changes an existing calendar through its replacement and swaps that in, which ends the block.
Change ReplaceCalendar(const ChangedFiles& files, CalendarBlock& block,
                       const CalendarChange& change) {
    File calendar(files.calendar, kOpenRead);
    if (!calendar.IsOpen()) return {Outcome::NoCalendar};
    NewFile replacement(files.replacement);
    Change done;
    if (replacement.IsOpen()) {
        done = WriteChanged(calendar, replacement, change);
        if (done.outcome != Outcome::Swapped) return done;
    }
    // The swap runs without a replacement too and takes the calendar away, whose content is then in
    // the backup: kept for compatibility.
    calendar.Close();
    block.Apply();
    replacement.Keep();
    return done;
}

// Takes the last entry that matches. Each match becomes the ID that is looked for, so an empty one
// means the first entry's from there on.
bool TakeLastMatch(CalendarReader& calendar, AppointmentRecord& record) {
    bool found = false;
    while (calendar.NextMatch(FieldText(record.appointmentId))) {
        StoreEntry(record, EntryIn(calendar.Line()));
        found = true;
    }
    return found;
}

// Takes the first entry behind this thread's position that matches. The position moves over every
// line that was looked at, empty ones too, since it may be set from outside by the file's lines.
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
    if (found) StoreEntry(record, EntryIn(calendar.Line()));
    SetFindPosition(position);
    return found;
}

bool ReadCalendar(const CalendarNames& names, AppointmentRecord& record,
                  bool (*take)(CalendarReader&, AppointmentRecord&)) {
    File calendar(CalendarFile(names), kOpenRead);
    // One that does not open has no lines, nor has one that cannot be read to its end: the record
    // and the finder's position stay as they were.
    if (!calendar.IsOpen()) return false;
    const auto bytes = calendar.ReadToEnd();
    if (!bytes) return false;
    CalendarReader reader(bytes->View());
    return take(reader, record);
}

}  // namespace

// Whether the folder is made before or after the postoffice is looked at differs from operation to
// operation, and without a postoffice it shows: kept for compatibility, as is each result below.

bool AddAppointment(const AppointmentRecord& record) {
    const CalendarNames names = NamesOf(record);
    const std::string key = PrepareCalendarFolder(names);
    if (!NamesCalendar(names)) return false;
    const ChangedFiles files = FilesOf(names);
    CalendarBlock block(key);
    if (!block.IsHeld()) return false;
    const CalendarEntry entry = EntryOf(record);
    const Change done = ReplaceCalendar(files, block, {entry.id, MatchAction::Keep, entry});
    if (done.outcome != Outcome::NoCalendar) {
        return done.outcome == Outcome::Swapped && !done.matched;
    }
    const bool created = CreateCalendar(files.calendar, entry);
    // Only a new calendar is announced here; adding to one is not: kept for compatibility.
    WriteChangeFlag(files.changeFlag);
    return created;
}

bool RemoveAppointment(const AppointmentRecord& record) {
    const CalendarNames names = NamesOf(record);
    if (!NamesCalendar(names)) return false;
    const ChangedFiles files = FilesOf(names);
    CalendarBlock block(PrepareCalendarFolder(names));
    if (!block.IsHeld()) return false;
    const CalendarEntry entry = EntryOf(record);
    const Change done = ReplaceCalendar(files, block, {entry.id, MatchAction::Drop, {}});
    if (done.outcome == Outcome::NoCalendar) return false;
    // Behind the swap, so that the backup has what it held.
    if (done.matched && done.lines == 0) RemoveFile(files.calendar);
    // Also when nothing was removed: kept for compatibility.
    WriteChangeFlag(files.changeFlag);
    return done.matched;
}

bool EditAppointment(const AppointmentRecord& key, const AppointmentRecord& replacement) {
    const CalendarNames names = NamesOf(key);
    const std::string calendarKey = PrepareCalendarFolder(names);
    if (!NamesCalendar(names)) return false;
    const ChangedFiles files = FilesOf(names);
    CalendarBlock block(calendarKey);
    if (!block.IsHeld()) return false;
    const Change done = ReplaceCalendar(
        files, block, {EntryOf(key).id, MatchAction::Replace, EntryOf(replacement)});
    if (done.outcome == Outcome::NoCalendar) return false;
    WriteChangeFlag(files.changeFlag);
    // Done once the calendar could be opened, whether or not anything matched.
    return true;
}

bool GetAppointment(AppointmentRecord& record) {
    const CalendarNames names = NamesOf(record);
    if (!NamesCalendar(names)) return false;
    // The result, 0 for good once a block was forced away, must not keep readers out.
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
    WaitForCalendarUnblocked(key);  // result as in Get
    return ReadCalendar(names, record, TakeNextMatch);
}

}  // namespace tarnwick
