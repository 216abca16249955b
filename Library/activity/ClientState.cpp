#include "Library/activity/ClientState.h"

#include "common/Clock.h"
#include "common/Reports.h"
#include "common/Retry.h"
#include "Library/activity/ActivityRules.h"
#include "Library/activity/ActivityStore.h"
#include "Library/activity/ModuleLog.h"
#include "Library/activity/OperationEdge.h"

namespace tarnwick {
namespace {

// Messages about calls, and about every single change, are written above these levels.
constexpr int kCallLevel = 5;
constexpr int kChangeLevel = 8;

void DeleteActivity(const std::string& path) {
    DeleteWithRetry(path, true, kActivityRetries);
}

void UpdateStamp(SessionContext* session, const ActivityPaths& paths) {
    if (session != nullptr) session->activityStamp = ReadActivityStamp(paths.file);
}

// Swaps the replacement in and notes the file's new time.
bool PutInPlace(SessionContext* session, const ActivityPaths& paths) {
    if (!ReplaceActivityFile(paths.replacement, paths.file)) return false;
    UpdateStamp(session, paths);
    return true;
}

// The content with the caller's entry set; no value when the old file cannot be read whole.
std::optional<std::string> ContentWith(File& file, const ClientConnection& connection,
                                       std::int64_t now, const ActivityPaths& paths) {
    if (file.IsOpen()) {
        const auto bytes = file.ReadToEnd();
        if (!bytes) return std::nullopt;
        return SetConnection(bytes->View(), connection, now, paths.file).bytes;
    }
    std::string bytes;
    AppendNewEntry(bytes, connection, now);
    return bytes;
}

// Writes the replacement; false when the old file has to stay as it is.
bool BuildReplacement(const ClientConnection& connection, std::int64_t now,
                      const ActivityPaths& paths) {
    File file(paths.file, kOpenRead);
    if (!file.IsOpen() && DiagnosticLevel() > kChangeLevel) {
        LogConnection(
            "TW-IXXXX: Information: Adding connection to new activity file. "
            "Protocol=%s, IPAddress=%s, PortNumber=%ld,Folder=%s.\n",
            connection);
    }
    File replacement(paths.replacement, kOpenTruncate);
    if (!replacement.IsOpen()) {
        if (!file.IsOpen()) {
            // At any level: this client will not hear of changes.
            LogConnection(
                "TW-EXXXX: Error: Unable to add connection to new activity file. "
                "Protocol=%s, IPAddress=%s, PortNumber=%ld,Folder=%s.\n",
                connection);
        }
        // The swap is tried all the same: it deletes the old file and finds nothing to move.
        return true;
    }
    const auto bytes = ContentWith(file, connection, now, paths);
    return bytes && WriteActivity(replacement, *bytes);
}

void SetInDirectory(SessionContext* session, std::string_view directory,
                    const ClientConnection& connection) {
    const std::int64_t now = CurrentUnixTime();
    const ActivityPaths paths(directory);
    BlockFileLock lock;
    LockActivity(lock, paths);
    if (!lock.IsLocked()) return;
    if (BuildReplacement(connection, now, paths)) {
        PutInPlace(session, paths);
    } else {
        DeleteActivity(paths.replacement);
    }
}

void LogOpenFailure(const std::string& path, DWORD error) {
    LogMessage("TW-EXXXX: Serious Error: Failed to open file (%s). Error = %ld.\n", {path, error});
}

File OpenToClose(const std::string& path) {
    File file(path, kOpenRead);
    if (file.IsOpen()) return file;
    const DWORD error = GetLastError();
    if (IsGone(error)) {
        LogMessage(
            "TW-EXXXX: Warning: Failed to access activity file (%s). Client connection "
            "already removed (%ld).\n",
            {path, error});
    } else {
        LogOpenFailure(path, error);
    }
    return file;
}

// Writes the replacement without the connection; no value when the old file has to stay as it is.
std::optional<RewrittenActivity> BuildWithout(const ClientConnection& connection,
                                              const ActivityPaths& paths) {
    File file = OpenToClose(paths.file);
    if (!file.IsOpen()) return std::nullopt;
    File replacement(paths.replacement, kOpenTruncate);
    if (!replacement.IsOpen()) {
        // This open does not keep its error.
        LogOpenFailure(paths.replacement, 0);
        return std::nullopt;
    }
    if (const auto bytes = file.ReadToEnd()) {
        // Kept for compatibility: its messages name the replacement, not the file.
        RewrittenActivity rewritten = CloseConnection(bytes->View(), connection, paths.replacement);
        if (WriteActivity(replacement, rewritten.bytes)) return rewritten;
    }
    replacement.Close();
    DeleteActivity(paths.replacement);
    return std::nullopt;
}

void LogClosing(const char* format, const ActivityPaths& paths, const RewrittenActivity& result) {
    if (DiagnosticLevel() <= kChangeLevel) return;
    LogMessage(format, {paths.file, result.existing, result.existing - result.written});
}

int CloseInDirectory(SessionContext* session, std::string_view directory,
                     const ClientConnection& connection) {
    const ActivityPaths paths(directory);
    BlockFileLock lock;
    LockActivity(lock, paths);
    if (!lock.IsLocked()) return 0;
    const auto rewritten = BuildWithout(connection, paths);
    if (!rewritten) return 0;
    if (rewritten->written != 0) {
        LogClosing(
            "TW-IXXXX: Information: Updating activity file (%s). Existing %ld, Removed %ld "
            "Items.\n",
            paths, *rewritten);
        return PutInPlace(session, paths) ? 1 : 0;
    }
    LogClosing(
        "TW-IXXXX: Information: Deleting activity file (%s). Existing %ld, Removed %ld "
        "Items.\n",
        paths, *rewritten);
    DeleteActivity(paths.file);
    DeleteActivity(paths.replacement);
    UpdateStamp(session, paths);
    return 1;
}

int CountInDirectory(std::string_view directory, std::string_view folder) {
    const ActivityPaths paths(directory);
    BlockFileLock lock;
    LockActivity(lock, paths);
    if (!lock.IsLocked()) return 0;
    File file(paths.file, kOpenRead);
    if (!file.IsOpen()) return 0;
    const auto bytes = file.ReadToEnd();
    return bytes ? CountConnections(bytes->View(), folder) : 0;
}

}  // namespace

void SetClientState(SessionContext* session, std::string_view directory, std::string_view server,
                    std::string_view ipAddress, std::int32_t port, std::string_view protocol,
                    std::string_view accountName, std::string_view folder,
                    std::string_view serverSession) {
    RunOperation("SetClientState", 0, [&] {
        if (HasNoAccount(session) || accountName.empty()) {
            PrintNoAccount(session, "SetClientState");
            return 0;
        }
        const std::int32_t instance = session == nullptr ? 0 : session->instanceNumber;
        SetInDirectory(session, directory,
                       {.server = server,
                        .protocol = protocol,
                        .accountName = accountName,
                        .ipAddress = ipAddress,
                        .port = port,
                        .folder = folder,
                        .instanceNumber = instance,
                        .serverSession = serverSession});
        return 1;
    });
}

int CloseClientState(SessionContext* session, std::string_view directory, std::string_view server,
                     std::string_view ipAddress, std::int32_t port, std::string_view protocol,
                     std::string_view serverSession) {
    return RunOperation("CloseClientState", 0, [&] {
        if (HasNoAccount(session)) {
            // Kept for compatibility: the others print this, and at any level.
            if (DiagnosticLevel() > kCallLevel) {
                LogMessage("[%ld] CloseClientState was called with no AccountName specified\n",
                           {session->sessionNumber});
            }
            return 0;
        }
        return CloseInDirectory(session, directory,
                                {.server = server,
                                 .protocol = protocol,
                                 .ipAddress = ipAddress,
                                 .port = port,
                                 .serverSession = serverSession});
    });
}

int GetConnectionCount(SessionContext* session, std::string_view directory) {
    return RunOperation("GetConnectionCount", 0, [&] {
        if (HasNoAccount(session)) {
            PrintNoAccount(session, "GetConnectionCount");
            return 0;
        }
        return CountInDirectory(directory,
                                session == nullptr ? std::string_view() : session->currentFolder);
    });
}

}  // namespace tarnwick
