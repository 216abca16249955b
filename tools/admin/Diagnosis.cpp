#include "tools/admin/Diagnosis.h"

#include <algorithm>

#include "common/Clock.h"
#include "common/Files.h"
#include "common/Registry.h"
#include "common/Waits.h"
#include "provider/CalendarPaths.h"
#include "provider/ModuleState.h"
#include "tools/admin/Console.h"
#include "tools/admin/HostEntries.h"
#include "tools/admin/store/RepairFiles.h"
#include "tools/admin/Times.h"

namespace tarnwick::admin {
namespace {

constexpr std::uint64_t kFileTimeUnitsPerSecond = 10'000'000;
constexpr int kLooks = 5;
constexpr std::uint32_t kLookAgainMilliseconds = 100;
// A disk with less room has none for a calendar that is written anew.
constexpr std::uint64_t kScarceBytes = 1 << 20;

// The provider's path rules, of which this program holds a copy, know the mail root since the
// library was loaded.
std::string FolderOf(const Mailbox& mailbox) {
    return CalendarFolder({mailbox.postoffice, mailbox.name, {}});
}

std::string FileIn(const Mailbox& mailbox, const std::string& name) {
    return FileInCalendarFolder(mailbox.postoffice, mailbox.name, name);
}

std::string ParentOf(const std::string& path) {
    return path.substr(0, path.find_last_of('\\'));
}

std::string AgeOf(const FoundFile& file) {
    const std::uint64_t now = CurrentFileTime();
    const std::uint64_t then = ToUint64(file.lastWrite);
    return FormatAge(
        now < then ? 0 : static_cast<std::int64_t>((now - then) / kFileTimeUnitsPerSecond));
}

std::string RoomNotice(const std::string& folder) {
    ULARGE_INTEGER room{};
    const BOOL known = GetDiskFreeSpaceExA(folder.c_str(), &room, nullptr, nullptr);
    if (known == FALSE || room.QuadPart >= kScarceBytes) return {};
    return ". Its disk is all but full: " + std::to_string(room.QuadPart) + " bytes are free";
}

}  // namespace

void RequireMailboxFolder(const Mailbox& mailbox) {
    if (MailRoot().empty()) {
        throw Refusal(std::string("the mail root is not set. Set it with\n  reg add \"HKLM\\") +
                      kProductKey + "\" /v \"Mail Root\" /d C:\\Path\\Of\\Postoffices");
    }
    const std::string folder = ParentOf(FolderOf(mailbox));
    if (FileExists(folder)) return;
    throw SystemFailure(
        "the mailbox folder " + folder +
        " does not exist. Create it, or correct the name, --root or the value \"Mail Root\" of "
        "HKLM\\" +
        kProductKey);
}

void RequireReadableCalendars(const Mailbox& mailbox) {
    if (!mailbox.host.empty() || !HasCalendarFolder(mailbox) ||
        DirectoryScan(FileIn(mailbox, "*")).Next()) {
        return;
    }
    throw SystemFailure("the folder " + FolderOf(mailbox) + " cannot be listed; check its rights");
}

void RequireReadableCalendar(const Mailbox& mailbox, const std::string& calendar) {
    if (!mailbox.host.empty()) return;
    const std::string path = FileIn(mailbox, calendar + ".CAL");
    // What is being deleted is refused for the same reason, but not for long.
    for (int look = 0; look < kLooks; ++look) {
        const FileHandle file(CreateFileA(path.c_str(), GENERIC_READ,
                                          kShareReadWrite | FILE_SHARE_DELETE, nullptr,
                                          OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
        if (file.IsValid() || GetLastError() != ERROR_ACCESS_DENIED) return;
        WaitMilliseconds(kLookAgainMilliseconds);
    }
    throw Failure(ExitStatus::NotAllowed,
                  "this account may not read " + path + "; check its rights");
}

void RequireWritableCalendars(const Mailbox& mailbox) {
    if (!mailbox.host.empty() || !HasCalendarFolder(mailbox)) return;
    const std::string folder = FolderOf(mailbox);
    if (CanMakeFiles(folder)) return;
    throw Failure(ExitStatus::NotAllowed,
                  "this account cannot make files in " + folder + "; check its rights");
}

std::vector<std::string> MailboxNames(const std::string& postoffice) {
    // A name of the same form is checked in place of the pattern.
    ParseMailbox(postoffice + "/all");
    const std::string pattern = ParentOf(FolderOf({postoffice, "*"}));
    std::vector<std::string> names;
    DirectoryScan scan(pattern);
    while (const auto found = scan.Next()) {
        const bool isFolder = (found->attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        if (isFolder && found->name.front() != '.') names.push_back(found->name);
    }
    if (names.empty()) throw Refusal("no mailbox has a folder " + pattern);
    std::sort(names.begin(), names.end());
    return names;
}

std::optional<std::string> BlockNotice(const Mailbox& mailbox, const std::string& calendar) {
    if (!mailbox.host.empty()) return std::nullopt;
    const std::string path = FileIn(mailbox, calendar + ".BLK");
    const auto found = DirectoryScan(path).Next();
    if (!found) return std::nullopt;
    return "calendar " + calendar + " is blocked: " + path + " has been there for " + AgeOf(*found);
}

Failure RefusedChange(const Mailbox& mailbox, const std::string& calendar) {
    if (!mailbox.host.empty()) {
        const bool answers = TestHost(RequireHost(mailbox.host)).back().fault.empty();
        return {answers ? ExitStatus::Refused : ExitStatus::NotReached,
                "the call on host " + mailbox.host + " failed or was refused; hosts test " +
                    mailbox.host + " tells whether its service can be reached"};
    }
    if (const auto notice = BlockNotice(mailbox, calendar)) {
        return {
            ExitStatus::Busy,
            *notice + ". When no program is writing that calendar, delete the file and try again"};
    }
    return {StatusOfFile(mailbox, calendar + ".CAL"),
            "the library refused and gives no reason; check that files in " + FolderOf(mailbox) +
                " can be written, and that none of them is held open by another program" +
                RoomNotice(FolderOf(mailbox))};
}

ExitStatus StatusOfFile(const Mailbox& mailbox, const std::string& name) {
    if (!mailbox.host.empty()) return ExitStatus::Refused;
    const std::string path = FileIn(mailbox, name);
    const DWORD attributes = GetFileAttributesA(path.c_str());
    constexpr DWORD kKinds = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_DIRECTORY;
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & kKinds) == FILE_ATTRIBUTE_READONLY) {
        return ExitStatus::NotAllowed;
    }
    // Folders too are opened this way.
    const FileHandle file(CreateFileA(path.c_str(), GENERIC_WRITE | DELETE,
                                      kShareReadWrite | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    const ExitStatus status = file.IsValid() ? ExitStatus::Refused : StatusOfError(GetLastError());
    if (status != ExitStatus::Refused || !HasCalendarFolder(mailbox)) return status;
    return CanMakeFiles(FolderOf(mailbox)) ? status : ExitStatus::NotAllowed;
}

bool HasCalendarFolder(const Mailbox& mailbox) {
    return !mailbox.host.empty() || FileExists(FolderOf(mailbox));
}

std::string ItemPath(const Mailbox& mailbox, const std::string& name) {
    if (!mailbox.host.empty()) return name + " on host " + mailbox.host;
    return FileIn(mailbox, name);
}

std::vector<std::string> CalendarFileNames(const Mailbox& mailbox) {
    std::vector<std::string> names;
    if (!mailbox.host.empty()) return names;
    DirectoryScan scan(FileIn(mailbox, "*.CAL"));
    while (const auto found = scan.Next()) {
        names.push_back(found->name.substr(0, found->name.find_last_of('.')));
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace tarnwick::admin
