#include "Library/activity/NotifyRemote.h"

#include <algorithm>
#include <atomic>
#include <string>

#include "common/Scan.h"
#include "common/Text.h"
#include "Library/activity/ModuleLog.h"

namespace tarnwick {
namespace {

constexpr std::string_view kEndOfNotification = "\r\n\r\n";
// What the buffer of a text holds beyond the message.
constexpr std::size_t kRoomForPrefix = 512;

std::atomic<RemoteNotifySender> installedSender{nullptr};

std::string NotificationText(std::int32_t instanceNumber, std::string_view serverSession,
                             std::string_view message, std::int32_t length) {
    std::string text = "[TW_NOTIFY]\t";
    AppendDecimal(text, instanceNumber);
    text.append(1, '\t').append(serverSession).append(1, '\t').append(message);
    const std::size_t capacity = static_cast<std::size_t>(std::max(length, 0)) + kRoomForPrefix;
    if (text.size() >= capacity) text.resize(capacity - 1);
    if (FindText(text, kEndOfNotification) == kNotFound) text.append(kEndOfNotification);
    return text;
}

}  // namespace

void SetRemoteNotifySender(RemoteNotifySender sender) {
    installedSender = sender;
}

int NotifyRemote(std::int32_t instanceNumber, std::string_view serverSession,
                 std::string_view message, std::int32_t length, std::string_view server,
                 std::string_view notifyProtocol, std::string_view fromServer,
                 std::string_view fromProtocol) {
    const RemoteNotifySender sender = installedSender;
    if (sender == nullptr) return 1;
    const std::string text = NotificationText(instanceNumber, serverSession, message, length);
    if (sender(std::string(server).c_str(), std::string(notifyProtocol).c_str(), text.c_str()) ==
        0) {
        return 1;
    }
    LogMessage(
        "Warning: NotifyRemote function failed. Unable to notify server (%s) from server "
        "(%s) with protocol (%s) from protocol (%s)\n",
        {server, fromServer, notifyProtocol, fromProtocol});
    return 0;
}

int DeliverToLocalSession(void* /*sessionChannel*/, std::int32_t /*sessionNumber*/,
                          const char* /*message*/, std::int32_t /*length*/, int /*flags*/) {
    return 0;
}

}  // namespace tarnwick
