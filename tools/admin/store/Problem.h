// What can be wrong with a mail store, each kind with its stable code.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnwick::admin {

enum class Problem : std::size_t {
    CalendarMissing,
    CalendarEmptied,
    LineTorn,
    LineEmpty,
    LineTooLong,
    LinesHidden,
    NumberOdd,
    TimeWrapped,
    StartAfterEnd,
    IdOdd,
    IdDoubled,
    WrongCalendar,
    CalendarReadOnly,
    ItemMissing,
    ItemAlone,
    IndexMalformed,
    IndexOutOfOrder,
    IndexBlanked,
    IndexGap,
    IndexIdDoubled,
    IndexLastUid,
    IndexEntryAlone,
    IndexFileAlone,
    IndexMissing,
    IndexQuarantined,
    BackupMalformed,
    BackupOld,
    ActivityMissing,
    ActivityShort,
    ActivityFields,
    ActivityTooLong,
    ActivityHidden,
    ActivityStale,
    MessageMissing,
    SiblingLeft,
    FlagOld,
    BlockStale,
    FolderInstead,
    Unreadable,
    Count,
};

// What `recover` does about a problem by itself.
enum class Repair {
    None,  // only the user knows
    RestoreCalendar,
    RewriteCalendar,
    RewriteIndex,
    RestoreIndex,
    MarkFolder,
    RenewBackup,
    RestoreActivity,
    RewriteActivity,
    RestoreMessage,
    SetAside,
    BreakBlock,
};

struct ProblemKind {
    Problem problem;
    const char* code;
    const char* means;  // for the users of the mailbox; "{detail}" stands for what was found
    const char* mend;   // the command; "{place}", "{file}", "{name}", "{calendar}", "{id}", ...
    Repair repair;
};
const ProblemKind& KindOf(Problem problem);

// One problem at one place.
struct Finding {
    Problem problem;
    std::string file;  // full path
    // At most one of them: the line, from 1; the offset of a byte, from 0.
    std::optional<std::uint64_t> line = {};
    std::optional<std::uint64_t> offset = {};
    std::string detail = {};
    std::string place = {};     // what the commands take: postoffice/mailbox, or a folder
    std::string root = {};      // where the place is, when that is not the mail root
    std::string calendar = {};  // for the commands that take them
    std::string id = {};
    std::int64_t start = 0;
    std::int64_t end = 0;
    // What belongs together and is looked at again together: its folder and a name within it, and
    // the sizes and times of its files when the problem was seen.
    std::string folder = {};
    std::string unit = {};
    std::string state = {};

    // The file, with the line or the offset.
    std::string PlaceText() const;
    std::string Means() const;
    std::string Mend() const;
};

// Whether both say the same of the same files.
bool IsSameFinding(const Finding& left, const Finding& right);

// The text with double quotes around it when a command line needs them.
std::string Quoted(std::string_view text);

}  // namespace tarnwick::admin
