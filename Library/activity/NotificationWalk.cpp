#include "Library/activity/NotificationWalk.h"

#include <algorithm>

#include "common/Reports.h"
#include "common/Text.h"
#include "Library/activity/ModuleLog.h"
#include "Library/activity/NotifyRemote.h"

namespace tarnwick {
namespace {

constexpr int kExpiredLevel = 8;

std::string_view WithoutLeadingSlashes(std::string_view folder) {
    return folder.substr(std::min(folder.find_first_not_of("/\\"), folder.size()));
}

bool IsOtherFolder(std::string_view wanted, std::string_view folder) {
    return !wanted.empty() && !folder.empty() &&
           !EqualsIgnoreCase(WithoutLeadingSlashes(wanted), WithoutLeadingSlashes(folder));
}

bool HasAddress(const NotifyRequest& request, const ActivityEntry& entry) {
    return request.ipAddress.empty() || EqualsIgnoreCase(request.ipAddress, entry.ipAddress);
}

bool HasPort(const NotifyRequest& request, const ActivityEntry& entry) {
    return request.port < 1 || request.port == entry.port;
}

// Whether the request is meant for the entry, by server, folder, address and port.
bool IsAddressed(const NotifyRequest& request, const ActivityEntry& entry) {
    if (!request.server.empty() && !EqualsIgnoreCase(request.server, entry.server)) return false;
    if (IsOtherFolder(request.folder, entry.folder)) return false;
    const bool isConnection = HasAddress(request, entry) && HasPort(request, entry);
    if (request.matchMode == kMatchOnlyConnection) return isConnection;
    return request.matchMode != kMatchAllButConnection || !isConnection;
}

}  // namespace

EntryFate NotificationRule::Decide(const ActivityEntry& entry) {
    if (IsStaleSessionEntry(computerName_, entry, notifyProtocol_, request_.serverSession)) {
        // Gated, unlike an orphan below, which tells of a delivery that failed.
        if (DiagnosticLevel() > kExpiredLevel) {
            LogMessage(
                "Warning: Removing expired connection from activity connection file. "
                "Server=%s, Port=%ld\n",
                {entry.server, entry.port});
        }
        return Drop();
    }
    const int result = IsAddressed(request_, entry) ? Notify(entry) : 1;
    // -1 for the sake of hosts that deliver to their sessions; here nothing gives it.
    if (result != 0 && result != -1) return EntryFate::Copy;
    LogMessage(
        "Warning: Removing orphaned connection from activity connection file. Server=%s, "
        "Port=%ld\n",
        {entry.server, entry.port});
    return Drop();
}

int NotificationRule::Notify(const ActivityEntry& entry) const {
    if (IsRemote(entry)) {
        // Nothing was tried, so nothing failed. The local message is for sessions of this host
        // alone.
        if (!request_.remote.IsPresent()) return 1;
        return NotifyRemote(entry.instanceNumber, entry.serverSession, request_.remote.text,
                            request_.remote.length, entry.server, entry.NotifyProtocol(),
                            request_.server, notifyProtocol_);
    }
    const bool isOwn = session_ != nullptr && entry.instanceNumber == session_->instanceNumber;
    if (!isOwn || !request_.local.IsPresent()) return 1;
    return DeliverToLocalSession(session_->channel, session_->sessionNumber, request_.local.text,
                                 request_.local.length, 0);
}

bool NotificationRule::IsRemote(const ActivityEntry& entry) const {
    // Kept for compatibility: the server that the request names is this host, whatever its name.
    const bool isOnThisHost = EqualsIgnoreCase(entry.server, computerName_) ||
                              EqualsIgnoreCase(entry.server, request_.server);
    return !isOnThisHost || !EqualsIgnoreCase(entry.NotifyProtocol(), notifyProtocol_);
}

EntryFate NotificationRule::Drop() {
    hasDropped_ = true;
    return EntryFate::Drop;
}

}  // namespace tarnwick
