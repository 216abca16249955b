#include "tools/admin/store/FolderListing.h"

#include <algorithm>

#include "common/Files.h"
#include "common/Retry.h"
#include "common/Scan.h"
#include "common/Text.h"

namespace tarnwick::admin {
namespace {

constexpr OpenMode kReadShared{GENERIC_READ, kShareReadWrite | FILE_SHARE_DELETE, OPEN_EXISTING};

bool LessIgnoringCase(std::string_view left, std::string_view right) {
    return std::lexicographical_compare(
        left.begin(), left.end(), right.begin(), right.end(),
        [](char a, char b) { return LowerAscii(a) < LowerAscii(b); });
}

}  // namespace

FolderListing::FolderListing(std::string folder) : folder_(std::move(folder)) {
    DirectoryScan scan(folder_ + "\\*");
    while (auto found = scan.Next()) {
        if (found->name == "." || found->name == "..") continue;
        if ((found->attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
            files_.push_back({std::move(found->name), found->size, ToUint64(found->lastWrite),
                              (found->attributes & FILE_ATTRIBUTE_READONLY) != 0});
        } else if ((found->attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
            // What a link leads to is a folder of its own, or one above this.
            folders_.push_back(std::move(found->name));
        }
    }
    const DWORD error = GetLastError();
    if (error != ERROR_NO_MORE_FILES && !IsGone(error)) error_ = error;
    std::sort(files_.begin(), files_.end(), [](const StoredFile& left, const StoredFile& right) {
        return LessIgnoringCase(left.name, right.name);
    });
    std::sort(folders_.begin(), folders_.end(), LessIgnoringCase);
}

const StoredFile* FolderListing::Find(std::string_view name) const {
    const auto found = std::lower_bound(files_.begin(), files_.end(), name,
                                        [](const StoredFile& file, std::string_view wanted) {
                                            return LessIgnoringCase(file.name, wanted);
                                        });
    const bool isIt = found != files_.end() && EqualsIgnoreCase(found->name, name);
    return isIt ? &*found : nullptr;
}

std::optional<std::string_view> SharedReader::Read(const std::string& path,
                                                   std::uint64_t expectedSize) {
    File file(path, kReadShared);
    if (!file.IsOpen()) return std::nullopt;
    // With room for a byte more one short read tells the end.
    if (bytes_.size() <= expectedSize) bytes_.resize(static_cast<std::size_t>(expectedSize) * 2);
    std::size_t filled = 0;
    for (;;) {
        const std::size_t room = std::min<std::size_t>(bytes_.size() - filled, 1U << 30);
        const auto count = file.Read(bytes_.data() + filled, static_cast<std::uint32_t>(room));
        if (!count) return std::nullopt;
        filled += *count;
        if (*count < room) return std::string_view(bytes_.data(), filled);
        if (filled == bytes_.size()) bytes_.resize(filled * 2);
    }
}

bool IsHeldOpen(const std::string& path) {
    return !File(path, kReadShared).IsOpen() && GetLastError() == ERROR_SHARING_VIOLATION;
}

bool HasExtension(std::string_view name, std::string_view extension) {
    return name.size() > extension.size() && name[name.size() - extension.size() - 1] == '.' &&
           EqualsIgnoreCase(name.substr(name.size() - extension.size()), extension);
}

std::string_view StemOf(std::string_view name) {
    return name.substr(0, name.rfind('.'));
}

std::string_view NameOf(std::string_view path) {
    return path.substr(path.find_last_of('\\') + 1);
}

std::string_view ParentOf(std::string_view path) {
    const std::size_t end = path.find_last_of('\\');
    return end == path.npos ? std::string_view() : path.substr(0, end);
}

bool IsCalendarFolder(std::string_view folder) {
    return EqualsIgnoreCase(NameOf(folder), "Calendar") &&
           EqualsIgnoreCase(NameOf(ParentOf(ParentOf(folder))), "MAILROOT");
}

Place PlaceOf(std::string_view folder, std::string_view root) {
    constexpr std::string_view kMailboxes = "\\mailroot\\";
    const std::size_t end = FindTextIgnoreCase(folder, kMailboxes);
    const std::size_t postoffice = folder.substr(0, end).rfind('\\');
    if (end == kNotFound || postoffice == folder.npos) return {std::string(folder), {}};
    const std::string_view mailbox = folder.substr(end + kMailboxes.size());
    Place place;
    place.text = std::string(folder.substr(postoffice + 1, end - postoffice - 1)) + "/" +
                 std::string(mailbox.substr(0, mailbox.find('\\')));
    // A drive's own backslash stays.
    const bool isDrive = folder.substr(0, postoffice).ends_with(':');
    const std::string_view above = folder.substr(0, isDrive ? postoffice + 1 : postoffice);
    if (!EqualsIgnoreCase(above, root)) place.root = above;
    return place;
}

}  // namespace tarnwick::admin
