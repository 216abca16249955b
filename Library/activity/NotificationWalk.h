// Who among the entries of an activity file is told about a change, and which entries go.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Library/activity/ActivityFile.h"
#include "Library/activity/SessionContext.h"

namespace tarnwick {

// How `ipAddress` and `port` of a request choose among the entries; any other number: not at all.
inline constexpr std::int32_t kMatchOnlyConnection = 1;
inline constexpr std::int32_t kMatchAllButConnection = 2;

// A text as callers hand it over: terminated, or null; the length may be anything.
struct NotifyMessage {
    const char* text = nullptr;
    std::int32_t length = 0;

    bool IsPresent() const { return length >= 1 && text != nullptr && *text != '\0'; }
};

struct NotifyRequest {
    std::string_view server;
    std::string_view ipAddress;
    std::int32_t port = kAnyPort;
    std::string_view protocol;
    std::int32_t matchMode = 0;
    std::string_view folder;
    std::string_view serverSession;
    NotifyMessage local;
    NotifyMessage remote;
};

// Notifies entry by entry; those that an earlier run left and those that cannot be reached are
// dropped.
class NotificationRule : public EntryRule {
  public:
    // `session` may be null. The lengths of the request's messages are no longer negative.
    NotificationRule(const SessionContext* session, const NotifyRequest& request,
                     std::string_view computerName)
        : session_(session),
          request_(request),
          computerName_(computerName),
          notifyProtocol_(NotifyProtocolOf(request.protocol)) {}

    EntryFate Decide(const ActivityEntry& entry) override;

    bool HasDropped() const { return hasDropped_; }

  private:
    int Notify(const ActivityEntry& entry) const;
    bool IsRemote(const ActivityEntry& entry) const;
    EntryFate Drop();

    const SessionContext* session_;
    const NotifyRequest& request_;
    std::string_view computerName_;
    std::string_view notifyProtocol_;
    bool hasDropped_ = false;
};

}  // namespace tarnwick
