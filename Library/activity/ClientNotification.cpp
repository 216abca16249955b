#include "Library/activity/ClientNotification.h"

#include <cstring>

#include "Library/activity/ActivityStore.h"
#include "Library/activity/FolderPlace.h"
#include "Library/activity/NotifyRemote.h"
#include "Library/activity/OperationEdge.h"
#include "Library/activity/StoreSettings.h"

namespace tarnwick {
namespace {

constexpr DWORD kComputerNameLimit = 200;

std::string OwnComputerName() {
    char name[256] = {};
    DWORD length = kComputerNameLimit;
    return GetComputerNameA(name, &length) != FALSE ? name : "";
}

// A negative length stands for that of the text; a remote one counts the terminator.
void SettleLength(NotifyMessage& message, std::int32_t terminator) {
    if (message.length >= 0) return;
    const std::size_t length = message.text == nullptr ? 0 : std::strlen(message.text);
    message.length = static_cast<std::int32_t>(length) + terminator;
}

// Walks over the file and writes the replacement; no value when the file stays as it is.
std::optional<RewrittenActivity> WalkEntries(const ActivityPaths& paths, NotificationRule& rule) {
    File file(paths.file, kOpenRead);
    File replacement(paths.replacement, kOpenTruncate);
    if (!replacement.IsOpen()) {
        // Nobody is told then, and the walk gives 1 all the same: kept for compatibility.
        PrintStandardOutput("problem with outfile\n");
        return std::nullopt;
    }
    if (!file.IsOpen()) return std::nullopt;
    const auto bytes = file.ReadToEnd();
    if (!bytes) return std::nullopt;
    RewrittenActivity rewritten = RewriteActivity(bytes->View(), rule);
    // A file that stays as it is keeps its time too, and with it every session's stamp.
    if (!rule.HasDropped() || !WriteActivity(replacement, rewritten.bytes)) return std::nullopt;
    return rewritten;
}

void WalkLocked(const SessionContext* session, const ActivityPaths& paths,
                const NotifyRequest& request) {
    const std::string computerName = OwnComputerName();
    NotificationRule rule(session, request, computerName);
    const auto rewritten = WalkEntries(paths, rule);
    if (rewritten && rewritten->written != 0) {
        ReplaceActivityFile(paths.replacement, paths.file);
        return;
    }
    // No entry, no file: the next notification then need not even take the lock.
    if (rewritten) DeleteWithRetry(paths.file, true, kActivityRetries);
    DeleteWithRetry(paths.replacement, true, kActivityRetries);
}

int Walk(BlockFileLock& lock, const SessionContext* session, std::string_view directory,
         NotifyRequest request) {
    // Nothing to tell is no failure.
    if (request.remote.length == 0 && request.local.length == 0) return 1;
    SettleLength(request.remote, 1);
    SettleLength(request.local, 0);
    // Kept for compatibility: a port that is the caller's session number means that session alone.
    if (!request.remote.IsPresent() && request.local.IsPresent() && session != nullptr &&
        request.port == session->sessionNumber) {
        return DeliverToLocalSession(session->channel, session->sessionNumber, request.local.text,
                                     request.local.length, 0);
    }
    const ActivityPaths paths(directory);
    // Nobody watches, and nobody has to wait for the lock to know it.
    if (!FileExists(paths.file)) return 2;
    // A lock whose release failed is no longer held, so it is taken anew.
    if (lock.State() != LockState::Held) LockActivity(lock, paths);
    if (lock.State() != LockState::Held) return 0;
    WalkLocked(session, paths, request);
    return 1;
}

std::string DirectoryOf(std::string_view postoffice, std::string_view mailbox,
                        std::string_view folder) {
    const std::string root = PostofficeDirectory(postoffice);
    if (IsPublicFolderName(folder) && ArePublicFoldersEnabled()) {
        return PublicFolderDirectory(root, folder);
    }
    if (IsFileStoreName(folder)) return FileStoreDirectory(root, folder);
    return MailboxFolderDirectory(root, mailbox, folder);
}

}  // namespace

int NotifyClients(SessionContext* session, std::string_view directory, std::string_view server,
                  std::string_view ipAddress, std::int32_t port, std::string_view protocol,
                  std::int32_t /*reserved*/, std::int32_t matchMode, std::string_view folder,
                  std::string_view serverSession, const char* localMessage,
                  std::int32_t localLength, const char* remoteMessage, std::int32_t remoteLength) {
    return RunOperation("NotifyClients", 0, [&] {
        if (HasNoAccount(session)) {
            PrintNoAccount(session, "NotifyClients");
            return 0;
        }
        BlockFileLock lock;
        return NotifyClients_Ex(lock, session, directory,
                                {.server = server,
                                 .ipAddress = ipAddress,
                                 .port = port,
                                 .protocol = protocol,
                                 .matchMode = matchMode,
                                 .folder = folder,
                                 .serverSession = serverSession,
                                 .local = {localMessage, localLength},
                                 .remote = {remoteMessage, remoteLength}});
    });
}

int NotifyClients_Ex(BlockFileLock& lock, SessionContext* session, std::string_view directory,
                     const NotifyRequest& request) {
    return RunOperation("NotifyClients_Ex", 0,
                        [&] { return Walk(lock, session, directory, request); });
}

int NotifyAllClients(std::string_view postoffice, std::string_view mailbox, std::string_view folder,
                     std::string_view protocol, std::int32_t matchMode, const char* message,
                     std::int32_t length) {
    return RunOperation("NotifyAllClients", 0, [&] {
        // There is no originator: any server, address and port. Match mode 2 thus addresses nobody.
        SessionContext session;
        session.accountName = postoffice;
        return NotifyClients(&session, DirectoryOf(postoffice, mailbox, folder), {}, {}, kAnyPort,
                             protocol, 1, matchMode, folder, {}, nullptr, 0, message, length);
    });
}

}  // namespace tarnwick
