#include "tools/admin/RestorePlan.h"

#include <algorithm>
#include <map>
#include <optional>

#include "common/Files.h"
#include "Library/convert/TextEncoding.h"
#include "provider/CalendarPaths.h"
#include "tools/admin/archive/Manifest.h"
#include "tools/admin/Console.h"
#include "tools/admin/store/FolderListing.h"
#include "tools/admin/TextTable.h"

namespace tarnwick::admin {
namespace {

constexpr OpenMode kReadShared{GENERIC_READ, kShareReadWrite | FILE_SHARE_DELETE, OPEN_EXISTING};
constexpr std::uint64_t kLargestManifest = 32U << 20;

// The name of a member as UTF-8. Programs that do not say that it is UTF-8 write it all the same,
// or in the character set of consoles.
std::string NameInUtf8(const ZipMember& member) {
    if (member.isUtf8 || IsUtf8(member.name)) return member.name;
    std::string name(member.name.size(), '\0');
    OemToCharBuffA(member.name.data(), name.data(), static_cast<DWORD>(name.size()));
    return ToUtf8(name);
}

Failure Refused(const std::string& name, const std::string& reason) {
    return Refusal("the archive is refused: " + ShownName(name) + " " + reason);
}

// Where the file goes; nothing that a name could do leads out of the folder or to another file.
PlannedFile PlaceOf(const SnapshotFile& file, const Mailbox& mailbox, const std::string& folder) {
    const auto name = FromUtf8(file.name);
    if (!name) throw Refused(file.name, "has a character that the system code page lacks");
    PlannedFile planned{.name = *name, .path = folder + "\\" + *name, .calendar = {}, .member = {}};
    const FileRole role = RoleOf(*name);
    if (role != (file.lines ? FileRole::Calendar : FileRole::Item)) {
        throw Refused(file.name, "is no file of a snapshot");
    }
    try {
        if (file.lines) planned.calendar = StemOf(*name);
        if (file.lines) CheckCalendarName(planned.calendar);
        if (!file.lines) CheckItemName(*name);
    } catch (const Failure& failure) {
        throw Refusal("the archive is refused: " + OnOneLine(failure.what()));
    }
    const CalendarNames names{mailbox.postoffice, mailbox.name, planned.calendar};
    const bool isTooLong = planned.path.size() + std::string_view(kUnfinished).size() >= MAX_PATH;
    if (isTooLong || !NamesCalendar(names)) throw Refused(file.name, "has too long a path here");
    if (file.lines && file.bytes > kLargestCalendar) throw Refused(file.name, "is too large");
    return planned;
}

class Plan {
  public:
    Plan(ByteRange& archive, const Mailbox& mailbox, const std::string& folder) {
        std::vector<ZipMember> members = ReadZipDirectory(archive);
        std::erase_if(members, [](const ZipMember& member) {
            return member.name == kCalendarFolder && member.size == 0;
        });
        const Manifest manifest = ParseManifest(TakeManifest(archive, members));
        std::map<std::string, std::size_t> placeOfName;
        for (const SnapshotFile& file : manifest.files) {
            files_.push_back(PlaceOf(file, mailbox, folder));
            if (!placeOfName.emplace(FoldedName(files_.back().name), placeOfName.size()).second) {
                throw Refused(file.name, "is there twice");
            }
        }
        std::vector<bool> isThere(files_.size());
        for (const ZipMember& member : members) {
            const std::string name = NameInUtf8(member);
            const std::size_t at = IndexOf(manifest, name);
            if (at == files_.size()) throw Refused(name, "is not named by its manifest");
            if (isThere[at]) throw Refused(name, "is there twice");
            if (member.size != manifest.files[at].bytes) {
                throw Refused(name, "has another size than its manifest says");
            }
            isThere[at] = true;
            files_[at].member = member;
        }
        const auto missing = std::find(isThere.begin(), isThere.end(), false);
        if (missing != isThere.end()) {
            const auto at = static_cast<std::size_t>(missing - isThere.begin());
            throw Refused(manifest.files[at].name, "is missing");
        }
        std::stable_partition(files_.begin(), files_.end(),
                              [](const PlannedFile& file) { return file.calendar.empty(); });
    }

    std::vector<PlannedFile> Take() { return std::move(files_); }

  private:
    static std::string TakeManifest(ByteRange& archive, std::vector<ZipMember>& members) {
        const auto found = std::ranges::find(members, kManifestName, &ZipMember::name);
        if (found == members.end()) {
            throw Refusal(std::string("the archive is no snapshot: it has no ") + kManifestName);
        }
        const ZipMember member = *found;
        members.erase(found);
        if (member.size > kLargestManifest) throw Refused(member.name, "is too large");
        std::string text;
        ReadZipMember(archive, member, [&text](std::string_view bytes) { text += bytes; });
        return text;
    }

    std::size_t IndexOf(const Manifest& manifest, const std::string& name) {
        if (indexOfName_.empty()) {
            for (const SnapshotFile& file : manifest.files) {
                indexOfName_.emplace(kCalendarFolder + file.name, indexOfName_.size());
            }
        }
        const auto found = indexOfName_.find(name);
        return found == indexOfName_.end() ? files_.size() : found->second;
    }

    std::vector<PlannedFile> files_;
    std::map<std::string, std::size_t> indexOfName_;
};

}  // namespace

std::string FoldedName(std::string name) {
    CharUpperBuffA(name.data(), static_cast<DWORD>(name.size()));
    return name;
}

std::vector<PlannedFile> PlanRestore(ByteRange& archive, const Mailbox& mailbox,
                                     const std::string& folder) {
    return Plan(archive, mailbox, folder).Take();
}

Standing StandingOf(ByteRange& archive, const PlannedFile& file) {
    const DWORD attributes = GetFileAttributesA(file.path.c_str());
    const bool isThere = attributes != INVALID_FILE_ATTRIBUTES;
    if (isThere && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        throw Refusal("a folder has the name " + file.path + "; rename it");
    }
    File standing(file.path, kReadShared);
    const auto size = standing.IsOpen() ? standing.Size() : std::nullopt;
    bool isSame = size && static_cast<std::uint64_t>(*size) == file.member.size;
    std::string block;
    ReadZipMember(archive, file.member, [&](std::string_view bytes) {
        if (!isSame) return;
        block.resize(bytes.size());
        const auto count = standing.Read(block.data(), static_cast<std::uint32_t>(block.size()));
        isSame = count && block.substr(0, *count) == bytes;
    });
    if (!isThere) return Standing::New;
    return isSame ? Standing::Same : Standing::Differs;
}

}  // namespace tarnwick::admin
