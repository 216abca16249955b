#include "tools/admin/Diagnosis.h"

#include <algorithm>

#include "common/Clock.h"
#include "common/Files.h"
#include "common/Registry.h"
#include "provider/CalendarPaths.h"
#include "provider/ModuleState.h"
#include "tools/admin/Failure.h"
#include "tools/admin/Times.h"

namespace tarnwick::admin {
namespace {

constexpr std::uint64_t kFileTimeUnitsPerSecond = 10'000'000;

// The mail root as the library finds it. This program holds the provider's path rules too, in a
// copy of its own that reads the registry when told that it is attached.
std::string LocalMailRoot() {
    static const bool attached = OnModuleNotification(DLL_PROCESS_ATTACH);
    return attached ? std::string(MailRoot()) : std::string();
}

std::string FolderOf(const Mailbox& mailbox) {
    LocalMailRoot();
    return CalendarFolder({mailbox.postoffice, mailbox.name, {}});
}

std::string FileIn(const Mailbox& mailbox, const std::string& name) {
    LocalMailRoot();
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

}  // namespace

void RequireMailboxFolder(const Mailbox& mailbox) {
    if (LocalMailRoot().empty()) {
        throw Refusal(std::string("the mail root is not set. Set it with\n  reg add \"HKLM\\") +
                      kProductKey + "\" /v \"Mail Root\" /d C:\\Path\\Of\\Postoffices");
    }
    const std::string folder = ParentOf(FolderOf(mailbox));
    if (FileExists(folder)) return;
    throw Refusal("the mailbox folder " + folder +
                  " does not exist. Create it, or correct the name or the value \"Mail Root\" of "
                  "HKLM\\" +
                  kProductKey);
}

std::optional<std::string> BlockNotice(const Mailbox& mailbox, const std::string& calendar) {
    if (!mailbox.host.empty()) return std::nullopt;
    const std::string path = FileIn(mailbox, calendar + ".BLK");
    const auto found = DirectoryScan(path).Next();
    if (!found) return std::nullopt;
    return "calendar " + calendar + " is blocked: " + path + " has been there for " + AgeOf(*found);
}

std::string ExplainRefusal(const Mailbox& mailbox, const std::string& calendar) {
    if (!mailbox.host.empty()) {
        return "the call on host " + mailbox.host + " failed or was refused; hosts test " +
               mailbox.host + " tells whether its service can be reached";
    }
    if (const auto notice = BlockNotice(mailbox, calendar)) {
        return *notice +
               ". When no program is writing that calendar, delete the file and try again";
    }
    return "the library refused and gives no reason; check that files in " + FolderOf(mailbox) +
           " can be written, and that none of them is held open by another program";
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
