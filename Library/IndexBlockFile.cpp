#include "Library/IndexBlockFile.h"

#include <cstdio>

#include "common/BlockFile.h"
#include "common/Registry.h"
#include "common/Reports.h"
#include "common/Retry.h"
#include "common/Scan.h"
#include "common/Text.h"

namespace tarnwick {
namespace {

// Waits of a second after which a block file counts as abandoned.
constexpr std::uint32_t kAbandonedAfterWaits = 60;
// Waits of a second for a block file to be removed that something holds open.
constexpr int kRemoveWaits = 80;
constexpr int kAccessDeniedReportLevel = 6;

bool IsIndexUnblockModeSet() {
    // Read once, as all settings of the store library are: a wait does not change its rule midway.
    static const bool set = RegistryDwordOr(kProductProvidersKey, "Index Unblock Mode", 0) != 0;
    return set;
}

void ReportAccessDenied(const std::string& path) {
    char text[kPathCapacity + 128];
    std::snprintf(text, sizeof text,
                  "[%ld] Access Denied error occured in WaitForAccessToIndexFileEx for block file: "
                  "%s\r\n",
                  static_cast<long>(GetCurrentThreadId()), path.c_str());
    Report(ReportChannel::EventLogError, text);
}

// Whether a block file that could not be created for this reason may be had later.
bool MayPass(DWORD error, const std::string& path) {
    // Below that level a refusal may pass (a file that is being deleted denies access too); whoever
    // raises it looks for permissions and wants to be told at once.
    if (error == ERROR_ACCESS_DENIED && DiagnosticLevel() >= kAccessDeniedReportLevel) {
        ReportAccessDenied(path);
        return false;
    }
    return error != ERROR_PATH_NOT_FOUND && error != ERROR_FILENAME_EXCED_RANGE &&
           error != ERROR_INVALID_NAME;
}

bool RemoveBlockFile(const std::string& path) {
    return RetryWhileRefused([&] { return RemoveFile(path); }, [] { return kRemoveWaits; }) !=
           RetryOutcome::GivenUp;
}

// The setting is kept to "_index.blk": a block of groups has to wait like any other.
bool IsOrphan(DWORD error, const std::string& path) {
    return error == ERROR_FILE_EXISTS && IsIndexUnblockModeSet() &&
           FindText(path, "\\_index.blk") != kNotFound;
}

// How long a scan waits for its folder, and what it makes of a block file that stays.
struct IndexBlockRule {
    const std::string& path;

    bool MayWait(DWORD error, std::uint32_t) const { return MayPass(error, path); }

    BlockVerdict AfterWait(DWORD error, std::uint32_t waits) const {
        // After each wait and not only after the last: the setting says that what stands is an
        // orphan.
        if (IsOrphan(error, path) && RemoveFile(path)) PrintStandardOutput("deleted orphan");
        if (waits <= kAbandonedAfterWaits) return BlockVerdict::TryAgain;
        return RemoveBlockFile(path) ? BlockVerdict::TryLast : BlockVerdict::GiveUp;
    }
};

}  // namespace

std::string IndexBlockPath(const std::string& folder, FolderType folderType) {
    // A path that is too long is cut, and two such folders may wait for each other's block.
    return FormatPath(folderType == kGroupsFolder ? "%s\\_groups.blk" : "%s\\_index.blk", {folder});
}

File WaitForAccessToIndexFileEx(const std::string& path) {
    IndexBlockRule rule{path};
    return WaitForBlockFile(path, rule);
}

bool RemoveIndexBlock(File& lock, const std::string& path) {
    if (!lock.Close()) {
        char text[96];
        // The spelling is kept.
        std::snprintf(text, sizeof text, "An error occured closing the handle of a block file: %ld",
                      static_cast<long>(GetLastError()));
        PrintStandardOutput(text);
    }
    return RemoveBlockFile(path);
}

void ReleaseIndexBlock(File& lock, const std::string& path) {
    if (RemoveIndexBlock(lock, path)) return;
    if (FileExists(path)) {
        // The open says the name of the ordered scan too; one text for all who release is kept.
        PrintStandardOutput("ScanFoldersOrdered::Unable to remove blocking file");
    }
}

IndexBlock::~IndexBlock() {
    if (!IsHeld()) return;
    try {
        ReleaseIndexBlock(file_, path_);
    } catch (...) {
        // Memory ran out behind the removal, for the look at what is left.
    }
}

IndexAvailability CheckIndexFileAvailability(const std::string& folder, int mode) {
    const std::string blockPath = FormatPath("%s\\_index.blk", {folder});
    if (mode != kLookOnlyMode && !File(blockPath, kCreateBlockFile).IsOpen()) {
        return IndexAvailability::Busy;
    }
    const bool exists = FileExists(FormatPath("%s\\_index.xml", {folder}));
    if (mode != kLookOnlyMode && !RemoveBlockFile(blockPath)) {
        PrintStandardOutput("CheckIndexFileAvailability::Unable to remove blocking file");
    }
    return exists ? IndexAvailability::IndexExists : IndexAvailability::NoIndex;
}

}  // namespace tarnwick
