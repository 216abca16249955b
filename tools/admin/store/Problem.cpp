#include "tools/admin/store/Problem.h"

#include <array>
#include <initializer_list>
#include <utility>

namespace tarnwick::admin {
namespace {

constexpr const char* kRecover = "tarnwick-admin recover {place}";
constexpr const char* kShowEntry = "tarnwick-admin get {place} --calendar {calendar} {id}";
constexpr const char* kShowCalendar = "tarnwick-admin list {place} --calendar {calendar}";

constexpr ProblemKind kKinds[] = {
    {Problem::CalendarMissing, "calendar-missing",
     "a writer ended between deleting the calendar and moving the new one to its name: none of its "
     "entries shows, and the next entry added would begin a calendar without them ({detail})",
     kRecover, Repair::RestoreCalendar},
    {Problem::CalendarEmptied, "calendar-emptied",
     "its calendar has gone, and an empty one was to take its place: its last entries were being "
     "removed, or a full disk or a power cut emptied it. To leave them removed, delete {detail}",
     "tarnwick-admin import {place} {file} --calendar {calendar}", Repair::None},
    {Problem::LineTorn, "line-torn",
     "the line is cut off, holds a NUL, or belongs to an ID that held a line break: it shows as an "
     "entry with wrong times, under a number or another line's ID, or not to its end",
     kRecover, Repair::RewriteCalendar},
    {Problem::LineEmpty, "line-empty",
     "the calendar holds an empty line, which lists show as an entry of 1970, or ends in a line "
     "break: another program wrote it, its writers leave neither",
     kRecover, Repair::RewriteCalendar},
    {Problem::LineTooLong, "line-too-long",
     "the line has over 1023 characters: it shows as several entries with wrong times", kRecover,
     Repair::RewriteCalendar},
    {Problem::LinesHidden, "lines-hidden",
     "a Ctrl-Z ends the calendar for every reader: the lines behind it do not show, and the next "
     "change loses them",
     kRecover, Repair::RewriteCalendar},
    {Problem::NumberOdd, "number-odd",
     "the start or end \"{detail}\" is no plain number: the entry shows at what digits it begins "
     "with, or at 1970",
     kShowEntry, Repair::None},
    {Problem::TimeWrapped, "time-wrapped",
     "the time {detail} is what a time past 2038 becomes in 32 bits, or does not fit into them: "
     "the entry shows in another century, if at all",
     kShowEntry, Repair::None},
    {Problem::StartAfterEnd, "start-after-end",
     "the entry ends before it starts ({detail}): programs show it at either time, or not at all",
     kShowEntry, Repair::None},
    {Problem::IdOdd, "id-odd",
     "the ID {detail}: the entry shows, but no command can name it to change or remove it",
     "tarnwick-admin export {place} {calendar}.txt --calendar {calendar}", Repair::None},
    {Problem::IdDoubled, "id-doubled",
     "line {detail} of the calendar has the same ID: both entries show, but only the last can be "
     "fetched, and a change or removal takes both",
     kShowCalendar, Repair::None},
    {Problem::WrongCalendar, "wrong-calendar",
     "by its times the entry belongs into the calendar {detail}: whoever looks at its days does "
     "not see it",
     "tarnwick-admin add {place} --start {start} --end {end} {id} && tarnwick-admin remove {place} "
     "--calendar {calendar} --force {id}",
     Repair::None},
    {Problem::CalendarReadOnly, "calendar-read-only",
     "the file is marked as read-only: each change takes long, is told as done, and is lost",
     "attrib -R {file}", Repair::None},
    {Problem::ItemMissing, "item-missing",
     "the entry came with an import, and its item {detail} has gone: it shows without its text, "
     "and an export writes its ID and times alone",
     kShowEntry, Repair::None},
    {Problem::ItemAlone, "item-alone",
     "no entry belongs to this item: it shows nowhere and takes up room",
     "tarnwick-admin item get {place} {name}", Repair::None},
    {Problem::IndexMalformed, "index-malformed",
     "the index does not load: {detail}. The folder shows empty, or is rebuilt without read marks "
     "and flags",
     kRecover, Repair::RewriteIndex},
    {Problem::IndexOutOfOrder, "index-out-of-order",
     "the index does not load: {detail}. The folder shows empty, or is rebuilt without read marks "
     "and flags",
     kRecover, Repair::RewriteIndex},
    {Problem::IndexBlanked, "index-blanked",
     "{detail} removed entries stand in the index and should have been dropped by now: every load "
     "reads them",
     kRecover, Repair::RewriteIndex},
    {Problem::IndexGap, "index-gap",
     "the bytes here are no entry as saves write them ({detail}): the next change in place may "
     "write over its neighbours",
     kRecover, Repair::RewriteIndex},
    {Problem::IndexIdDoubled, "index-id-doubled",
     "the index has a second entry for {detail}: loads take the first and drop this one", kRecover,
     Repair::RewriteIndex},
    {Problem::IndexLastUid, "index-last-uid",
     "LASTUID is below a UID in use ({detail}): the next message gets a number that another has, "
     "and clients show the one for the other",
     kRecover, Repair::RewriteIndex},
    {Problem::IndexEntryAlone, "index-entry-alone",
     "the index lists {detail}, whose file has gone: the message shows where files are not looked "
     "for, and cannot be opened",
     kRecover, Repair::MarkFolder},
    {Problem::IndexFileAlone, "index-file-alone",
     "the index does not list this file: the message shows nowhere", kRecover, Repair::MarkFolder},
    {Problem::IndexMissing, "index-missing",
     "the index has gone and its backup is left: the next open rebuilds it without read marks and "
     "flags",
     kRecover, Repair::RestoreIndex},
    {Problem::IndexQuarantined, "index-quarantined",
     "the index was put aside because it did not load, and there is none in its place: the next "
     "open rebuilds it without read marks and flags",
     kRecover, Repair::RestoreIndex},
    {Problem::BackupMalformed, "backup-malformed",
     "the backup of the index does not load ({detail}): it cannot stand in for the index", kRecover,
     Repair::RenewBackup},
    {Problem::BackupOld, "backup-old",
     "the backup of the index is {detail} old and the index has changed since: what it would "
     "restore is that old",
     kRecover, Repair::RenewBackup},
    {Problem::ActivityMissing, "activity-missing",
     "a writer ended between deleting the activity file and moving the new one to its name: no "
     "client is told of changes",
     kRecover, Repair::RestoreActivity},
    {Problem::ActivityShort, "activity-short",
     "the line has fewer than 10 characters: it is no connection, and the next rewrite drops it",
     kRecover, Repair::RewriteActivity},
    {Problem::ActivityFields, "activity-fields",
     "the line has {detail} of 9 fields, and the last stands for those that are missing: the "
     "client is not told of changes, and the first notice that fails drops the line",
     kRecover, Repair::RewriteActivity},
    {Problem::ActivityTooLong, "activity-too-long",
     "the line has over 1023 characters and reads as several connections, none of them the "
     "client's",
     kRecover, Repair::RewriteActivity},
    {Problem::ActivityHidden, "activity-hidden",
     "a Ctrl-Z ends the file for every reader: the clients behind it are told of nothing, and the "
     "next rewrite drops them",
     kRecover, Repair::RewriteActivity},
    {Problem::ActivityStale, "activity-stale",
     "the connection is of an earlier run of {detail}: nobody listens, and the process's next "
     "entry drops it",
     kRecover, Repair::RewriteActivity},
    {Problem::MessageMissing, "message-missing",
     "a program ended between deleting {detail} and moving its new content to the name: the "
     "message cannot be opened",
     kRecover, Repair::RestoreMessage},
    {Problem::SiblingLeft, "sibling-left",
     "a program ended before it put this file in place of {detail}: its change was not made, and "
     "nobody reads it",
     kRecover, Repair::SetAside},
    {Problem::FlagOld, "flag-old",
     "the file has waited {detail} for a program to consume it: none does", kRecover,
     Repair::SetAside},
    {Problem::BlockStale, "block-stale",
     "its holder has ended without removing it ({detail}): who needs the lock waits, or fails",
     "tarnwick-admin locks break {file}", Repair::BreakBlock},
    {Problem::FolderInstead, "folder-instead",
     "a folder has the name of one of the store's files: who needs the file waits or fails, and a "
     "change may be lost",
     kRecover, Repair::SetAside},
    {Problem::Unreadable, "unreadable",
     "it cannot be read ({detail}): what it holds does not show, and was not checked",
     "tarnwick-admin check {place}", Repair::None},
};

constexpr bool AreInOrder() {
    std::size_t at = 0;
    for (const ProblemKind& kind : kKinds) {
        if (static_cast<std::size_t>(kind.problem) != at++) return false;
    }
    return at == static_cast<std::size_t>(Problem::Count);
}
static_assert(AreInOrder());

using Replacements = std::initializer_list<std::pair<std::string_view, std::string>>;

std::string Filled(std::string_view form, Replacements replacements) {
    std::string text;
    while (!form.empty()) {
        const std::size_t brace = form.find('{');
        text += form.substr(0, brace);
        if (brace == form.npos) break;
        const std::size_t end = form.find('}', brace);
        const std::string_view name = form.substr(brace + 1, end - brace - 1);
        for (const auto& [key, value] : replacements) {
            if (key == name) text += value;
        }
        form.remove_prefix(end + 1);
    }
    return text;
}

// The last argument of a command, which is no option whatever it begins with.
std::string LastArgument(std::string_view text) {
    return (text.starts_with('-') ? "-- " : "") + Quoted(text);
}

}  // namespace

const ProblemKind& KindOf(Problem problem) {
    return kKinds[static_cast<std::size_t>(problem)];
}

std::string Quoted(std::string_view text) {
    constexpr std::string_view kPlain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-/\\:@~#";
    if (!text.empty() && text.find_first_not_of(kPlain) == text.npos) return std::string(text);
    std::string quoted = "\"";
    std::size_t backslashes = 0;
    for (const char byte : text) {
        // Those in front of a quotation mark count double, and one more is the mark's own.
        if (byte == '"') quoted.append(backslashes + 1, '\\');
        backslashes = byte == '\\' ? backslashes + 1 : 0;
        quoted += byte;
    }
    return quoted.append(backslashes, '\\') + "\"";
}

std::string Finding::PlaceText() const {
    if (line) return file + ", line " + std::to_string(*line);
    return offset ? file + ", offset " + std::to_string(*offset) : file;
}

std::string Finding::Means() const {
    return Filled(KindOf(problem).means, {{"detail", detail}});
}

std::string Finding::Mend() const {
    const std::string name = file.substr(file.find_last_of('\\') + 1);
    return Filled(KindOf(problem).mend, {{"place", Quoted(place)},
                                         {"file", Quoted(file)},
                                         {"name", LastArgument(name)},
                                         {"calendar", Quoted(calendar)},
                                         {"id", LastArgument(id)},
                                         {"start", std::to_string(start)},
                                         {"end", std::to_string(end)}});
}

bool IsSameFinding(const Finding& left, const Finding& right) {
    return left.problem == right.problem && left.file == right.file && left.line == right.line &&
           left.offset == right.offset && left.state == right.state && left.id == right.id;
}

}  // namespace tarnwick::admin
