#include "provider/CalendarPaths.h"

#include "common/Files.h"
#include "common/Text.h"
#include "provider/ModuleState.h"

namespace tarnwick {
namespace {

constexpr std::string_view kChangeFlagText =
    "This file has been written to denote configuration change\r\n";

std::string WholeKey(const CalendarNames& names) {
    return FormatPath("%s\\MAILROOT\\%s\\Calendar\\%s",
                      {names.postoffice, names.mailbox, names.calendar});
}

std::string CutToKey(std::string path) {
    if (path.size() >= kKeyCapacity) path.resize(kKeyCapacity - 1);
    return path;
}

}  // namespace

CalendarNames NamesOf(const AppointmentRecord& record) {
    return {FieldText(record.postoffice), FieldText(record.mailbox),
            FieldText(record.calendarName)};
}

std::string CalendarFolder(const CalendarNames& names) {
    return FormatPath("%s\\%s\\MAILROOT\\%s\\Calendar",
                      {MailRoot(), names.postoffice, names.mailbox});
}

std::string CalendarFile(const CalendarNames& names) {
    return FormatPath("%s\\%s\\MAILROOT\\%s\\Calendar\\%s.CAL",
                      {MailRoot(), names.postoffice, names.mailbox, names.calendar});
}

std::string ReplacementFile(const CalendarNames& names) {
    return FormatPath("%s\\%s\\MAILROOT\\%s\\Calendar\\%s.TMP",
                      {MailRoot(), names.postoffice, names.mailbox, names.calendar});
}

std::string ChangeFlagFile(const CalendarNames& names) {
    return FileInCalendarFolder(names.postoffice, names.mailbox, "_CHANGE.DTY");
}

std::string FileInCalendarFolder(std::string_view postoffice, std::string_view mailbox,
                                 std::string_view fileName) {
    return FormatPath("%s\\%s\\MAILROOT\\%s\\Calendar\\%s",
                      {MailRoot(), postoffice, mailbox, fileName});
}

bool FillsPathCapacity(const std::string& path) {
    return path.size() >= kPathCapacity - 1;
}

bool NamesCalendar(const CalendarNames& names) {
    // A cut key is another calendar's: the swap would take that one's file.
    return !names.postoffice.empty() && !FillsPathCapacity(CalendarFile(names)) &&
           WholeKey(names).size() < kKeyCapacity;
}

std::string CalendarKey(const CalendarNames& names) {
    return CutToKey(WholeKey(names));
}

std::string PrepareCalendarFolder(const CalendarNames& names) {
    // The folder's path goes through the key's buffer and so is cut like a key.
    MakeDirectory(CutToKey(CalendarFolder(names)));
    return CalendarKey(names);
}

void WriteChangeFlag(const std::string& path) {
    File flag(path, kOpenTruncate);
    if (!flag.IsOpen()) return;
    // Its existence and time are the signal; a text that cannot be written takes nothing from it.
    static_cast<void>(flag.Write(kChangeFlagText));
    flag.Close();
}

}  // namespace tarnwick
