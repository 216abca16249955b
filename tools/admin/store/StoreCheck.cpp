#include "tools/admin/store/StoreCheck.h"

#include <algorithm>
#include <array>
#include <map>

#include "common/Files.h"
#include "common/Waits.h"
#include "tools/admin/Failure.h"

namespace tarnwick::admin {
namespace {

// A swap takes milliseconds, and the writer of a file that somebody holds tries again each second.
constexpr std::uint32_t kMomentMilliseconds = 1500;
constexpr int kLooks = 5;
// Parts of a walk, so that its progress can be told before it has been everywhere.
constexpr std::size_t kParts = 100;
constexpr int kDeepestPart = 3;

bool IsFolder(const std::string& path) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// The path below the root that "postoffice" or "postoffice/mailbox" stands for; empty for any
// other text.
std::string NamedFolder(const std::string& place, const std::string& root) {
    const std::size_t slash = place.find('/');
    if (root.empty() || place.find_first_of("\\:") != place.npos || place.starts_with('.') ||
        slash == 0)
        return {};
    const std::string postoffice = place.substr(0, slash);
    if (slash == place.npos) return root + "\\" + postoffice;
    const std::string mailbox = place.substr(slash + 1);
    if (mailbox.empty() || mailbox.find('/') != mailbox.npos) return {};
    return root + "\\" + postoffice + "\\MAILROOT\\" + mailbox;
}

void WalkBelow(const FolderListing& listing,
               const std::function<void(const FolderListing&)>& look) {
    look(listing);
    for (const std::string& name : listing.Folders()) {
        WalkBelow(FolderListing(listing.PathOf(name)), look);
    }
}

// Findings of what belongs together, by folder and unit.
using ByUnit = std::map<std::string, std::map<std::string, std::vector<Finding>>>;

ByUnit Grouped(std::vector<Finding> findings) {
    ByUnit groups;
    for (Finding& finding : findings) {
        groups[finding.folder][finding.unit].push_back(std::move(finding));
    }
    return groups;
}

bool Precedes(const Finding& left, const Finding& right) {
    if (left.file != right.file) return left.file < right.file;
    return left.line.value_or(left.offset.value_or(0)) <
           right.line.value_or(right.offset.value_or(0));
}

// Looks again at what was found: what is the same has settled, what differs is looked at once more.
std::vector<Finding> Settled(std::vector<Finding> found, FolderInspection& inspection) {
    std::vector<Finding> settled;
    ByUnit open = Grouped(std::move(found));
    for (int look = 1; look < kLooks && !open.empty(); ++look) {
        WaitMilliseconds(kMomentMilliseconds);
        ByUnit unsettled;
        for (const auto& [folder, units] : open) {
            Units names;
            for (const auto& [unit, findings] : units) names.insert(unit);
            const FolderListing listing(folder);
            ByUnit again = Grouped(inspection.Run(listing, &names));
            for (auto& [unit, now] : again[folder]) {
                const std::vector<Finding>& before = units.at(unit);
                if (std::equal(before.begin(), before.end(), now.begin(), now.end(),
                               IsSameFinding)) {
                    std::move(now.begin(), now.end(), std::back_inserter(settled));
                } else {
                    unsettled[folder][unit] = std::move(now);
                }
            }
        }
        open = std::move(unsettled);
    }
    std::stable_sort(settled.begin(), settled.end(), Precedes);
    return settled;
}

}  // namespace

std::string FullPath(const std::string& path) {
    std::array<char, 1024> full{};
    const DWORD length = GetFullPathNameA(path.c_str(), full.size(), full.data(), nullptr);
    if (length == 0 || length >= full.size()) return path;
    std::string text(full.data(), length);
    while (text.size() > 3 && text.ends_with('\\')) text.pop_back();
    return text;
}

std::string FolderOfPlace(const std::string& place, const std::string& root) {
    if (place.empty()) {
        if (!root.empty() && IsFolder(root)) return FullPath(root);
        throw Refusal("there is no mail root \"" + root +
                      "\"; correct the value \"Mail Root\" or --root, or name a folder");
    }
    const std::string named = NamedFolder(place, root);
    for (const std::string& folder : {named, place}) {
        if (!folder.empty() && IsFolder(folder)) return FullPath(folder);
    }
    throw Refusal("there is no \"" + place +
                  "\"; name a postoffice, postoffice/mailbox, or a folder by its path");
}

void WalkFolders(const std::string& folder, const std::function<void(const FolderListing&)>& look,
                 const WalkProgress& progress) {
    std::vector<std::string> parts{folder};
    for (int depth = 0; depth < kDeepestPart && parts.size() < kParts; ++depth) {
        std::vector<std::string> deeper;
        for (const std::string& part : parts) {
            const FolderListing listing(part);
            look(listing);
            for (const std::string& name : listing.Folders())
                deeper.push_back(listing.PathOf(name));
        }
        parts = std::move(deeper);
    }
    for (std::size_t at = 0; at < parts.size(); ++at) {
        WalkBelow(FolderListing(parts[at]), look);
        if (progress) progress(at + 1, parts.size());
    }
}

std::vector<Finding> CheckStore(const std::string& folder, const std::string& root,
                                const WalkProgress& progress) {
    FolderInspection inspection(root);
    std::vector<Finding> found;
    WalkFolders(
        folder,
        [&](const FolderListing& listing) {
            for (Finding& finding : inspection.Run(listing)) found.push_back(std::move(finding));
        },
        progress);
    return Settled(std::move(found), inspection);
}

}  // namespace tarnwick::admin
