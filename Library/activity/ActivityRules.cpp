#include "Library/activity/ActivityRules.h"

#include "common/Text.h"
#include "Library/activity/ModuleLog.h"

namespace tarnwick {
namespace {

// What both rules ask of an entry about the connection they were called for.
class ConnectionRule : public EntryRule {
  public:
    ConnectionRule(const ClientConnection& connection, const std::string& path)
        : connection_(connection),
          notifyProtocol_(NotifyProtocolOf(connection.protocol)),
          path_(path) {}

  protected:
    bool IsStale(const ActivityEntry& entry) const {
        return IsStaleSessionEntry(connection_.server, entry, notifyProtocol_,
                                   connection_.serverSession);
    }
    bool IsSame(const ActivityEntry& entry) const {
        return IsSameConnection(connection_.server, connection_.protocol, connection_.ipAddress,
                                connection_.port, entry);
    }

    const ClientConnection& connection_;
    const std::string_view notifyProtocol_;
    const std::string& path_;
};

class SetRule : public ConnectionRule {
  public:
    using ConnectionRule::ConnectionRule;

    EntryFate Decide(const ActivityEntry& entry) override {
        if (IsStale(entry)) {
            LogMessage(
                "TW-IXXXX: Information: Purging item from activity file (%s). Server=%s, "
                "NotifyProtocol=%s, ServerSession=%s.\n",
                {path_, connection_.server, entry.NotifyProtocol(), entry.serverSession});
            return EntryFate::Drop;
        }
        if (!IsSame(entry)) return EntryFate::Copy;
        // Kept for compatibility: each of several matches, not the first alone.
        found_ = true;
        return EntryFate::Replace;
    }

    bool Found() const { return found_; }

  private:
    bool found_ = false;
};

class CloseRule : public ConnectionRule {
  public:
    using ConnectionRule::ConnectionRule;

    EntryFate Decide(const ActivityEntry& entry) override {
        if (IsStale(entry)) {
            LogRemoval(
                "TW-IXXXX: Information: Removed expired entry from activity file (%s). "
                "Protocol=%s, IP=%s,Port=%ld.\n",
                entry);
            return EntryFate::Drop;
        }
        if (IsSame(entry)) {
            LogRemoval(
                "TW-IXXXX: Information: Removed Entry from activity file (%s). "
                "Protocol=%s, IP=%s,Port=%ld.\n",
                entry);
            return EntryFate::Drop;
        }
        return EntryFate::Copy;
    }

  private:
    void LogRemoval(std::string_view format, const ActivityEntry& entry) const {
        LogMessage(format, {path_, entry.protocol, entry.ipAddress, entry.port});
    }
};

}  // namespace

RewrittenActivity SetConnection(std::string_view oldBytes, const ClientConnection& connection,
                                std::int64_t time, const std::string& path) {
    std::string newEntry;
    AppendNewEntry(newEntry, connection, time);
    SetRule rule(connection, path);
    RewrittenActivity rewritten = RewriteActivity(oldBytes, rule, newEntry);
    if (rule.Found()) return rewritten;
    LogConnection(
        "TW-IXXXX: Information: Adding connection to existing activity file. "
        "Protocol=%s, IPAddress=%s, PortNumber=%ld,Folder=%s.\n",
        connection);
    rewritten.Add(newEntry);
    return rewritten;
}

RewrittenActivity CloseConnection(std::string_view oldBytes, const ClientConnection& connection,
                                  const std::string& replacementPath) {
    CloseRule rule(connection, replacementPath);
    return RewriteActivity(oldBytes, rule);
}

int CountConnections(std::string_view bytes, std::string_view folder) {
    int count = 0;
    ActivityReader reader(bytes);
    while (const auto entry = reader.Next()) {
        if (folder.empty() || EqualsIgnoreCase(entry->folder, folder)) ++count;
    }
    return count;
}

void LogConnection(std::string_view format, const ClientConnection& connection) {
    LogMessage(format,
               {connection.protocol, connection.ipAddress, connection.port, connection.folder});
}

}  // namespace tarnwick
