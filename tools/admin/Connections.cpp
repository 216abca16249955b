#include "tools/admin/Connections.h"

#include "common/Scan.h"
#include "common/Text.h"

namespace tarnwick::admin {
namespace {

// The library keeps the time to itself but for a copy of the entry.
std::int64_t TimeOf(const ActivityEntry& entry) {
    constexpr int kTimeField = 6;
    std::string line;
    entry.AppendCopy(line);
    return ParseInt64(DelimitedField(line, "\t", kTimeField).value_or(""));
}

bool IsOfSameServer(const ActivityEntry& one, const ActivityEntry& other) {
    return EqualsIgnoreCase(one.server, other.server) &&
           EqualsIgnoreCase(one.NotifyProtocol(), other.NotifyProtocol());
}

class GoingRule : public EntryRule {
  public:
    GoingRule(const std::vector<ListedConnection>& connections,
              const std::function<bool(const ListedConnection&)>& goes)
        : connections_(connections), goes_(goes) {}
    EntryFate Decide(const ActivityEntry& /*entry*/) override {
        return goes_(connections_[at_++]) ? EntryFate::Drop : EntryFate::Copy;
    }

  private:
    const std::vector<ListedConnection>& connections_;
    const std::function<bool(const ListedConnection&)>& goes_;
    std::size_t at_ = 0;
};

}  // namespace

std::vector<ListedConnection> ListConnections(std::string_view bytes) {
    std::vector<ListedConnection> connections;
    // The last to be set of each server and protocol; there are few.
    std::vector<ListedConnection> newest;
    ActivityReader reader(bytes);
    while (const auto entry = reader.Next()) {
        connections.push_back({.entry = *entry, .time = TimeOf(*entry)});
        const ListedConnection& added = connections.back();
        bool isKnown = entry->serverSession.empty();
        for (ListedConnection& last : newest) {
            if (!IsOfSameServer(last.entry, *entry) || isKnown) continue;
            isKnown = true;
            if (last.time <= added.time) last = added;
        }
        if (!isKnown) newest.push_back(added);
    }
    for (ListedConnection& connection : connections) {
        for (const ListedConnection& last : newest) {
            if (IsStaleSessionEntry(last.entry.server, connection.entry,
                                    last.entry.NotifyProtocol(), last.entry.serverSession)) {
                connection.laterSession = last.entry.serverSession;
            }
        }
    }
    return connections;
}

std::size_t CountBrokenLines(std::string_view bytes) {
    std::size_t count = 0;
    while (!bytes.empty()) {
        const std::size_t end = FindByte(bytes, '\n');
        std::string_view line = bytes.substr(0, end);
        bytes.remove_prefix(end == kNotFound ? bytes.size() : end + 1);
        if (line.ends_with('\r')) line.remove_suffix(1);
        if (!line.empty() && line.size() < kShortestActivityLine) ++count;
    }
    return count;
}

RewrittenActivity WithoutConnections(
    std::string_view bytes, const std::function<bool(const ListedConnection& connection)>& goes) {
    const std::vector<ListedConnection> connections = ListConnections(bytes);
    GoingRule rule(connections, goes);
    return RewriteActivity(bytes, rule);
}

}  // namespace tarnwick::admin
