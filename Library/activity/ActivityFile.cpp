#include "Library/activity/ActivityFile.h"

#include <algorithm>
#include <array>

#include "common/Scan.h"
#include "common/Text.h"

namespace tarnwick {
namespace {

using FieldViews = std::array<std::string_view, ActivityEntry::kFieldCount>;

// The fields of a line with any count of tabs. Kept for compatibility: beyond the last field it is
// the last one again, but a line without any tab has one field alone.
FieldViews FieldsOf(std::string_view line) {
    FieldViews fields;
    std::array<std::size_t, std::tuple_size_v<FieldViews>> tabs;
    const std::size_t count = FindEach(line, '\t', tabs);
    fields[0] = line.substr(0, count == 0 ? kNotFound : tabs[0]);
    for (std::size_t field = 1; count != 0 && field < fields.size(); ++field) {
        const std::size_t last = std::min(field, count);
        const std::size_t begin = tabs[last - 1] + 1;
        fields[field] = line.substr(begin, last == count ? kNotFound : tabs[last] - begin);
    }
    return fields;
}

std::string_view FittingInto(std::size_t capacity, std::string_view text) {
    return text.size() < capacity ? text : std::string_view();
}

void AppendFields(std::string& bytes, const ClientConnection& connection, std::int64_t time) {
    bytes.append(connection.server).append(1, '\t').append(connection.protocol).append(1, '\t');
    bytes.append(connection.accountName).append(1, '\t');
    bytes.append(connection.ipAddress).append(1, '\t');
    AppendDecimal(bytes, connection.port);
    bytes.append(1, '\t');
    AppendDecimal(bytes, time);
    bytes.append(1, '\t').append(connection.folder).append(1, '\t');
    AppendDecimal(bytes, connection.instanceNumber);
    bytes.append(1, '\t').append(connection.serverSession);
}

}  // namespace

std::string_view NotifyProtocolOf(std::string_view protocol) {
    return FittingInto(kSessionCapacity, protocol.substr(0, FindByte(protocol, '-')));
}

template <typename Fields>
ActivityEntry::ActivityEntry(std::string_view line, const Fields& fields)
    : line_(line), time_(fields[5]) {
    server = fields[0];
    protocol = fields[1];
    accountName = fields[2];
    ipAddress = fields[3];
    port = ParseInt32(fields[4]);
    folder = fields[6];
    instanceNumber = ParseInt32(fields[7]);
    // Not cut: what is left of two long ones might be equal, and an empty one equals none.
    serverSession = FittingInto(kSessionCapacity, fields[8]);
    isCopiedForm_ = IsPrintedInt32(fields[4]) && IsPrintedInt32(time_) &&
                    IsPrintedInt32(fields[7]) && serverSession.size() == fields[8].size();
}

ActivityEntry::ActivityEntry(std::string_view line) : ActivityEntry(line, FieldsOf(line)) {
    isCopiedForm_ = false;
}

ActivityEntry::ActivityEntry(const PlainLine<kFieldCount>& line)
    : ActivityEntry(line.Text(), line) {}

void ActivityEntry::AppendCopy(std::string& bytes) const {
    // Kept for compatibility: 32 bits of a time that has 64 in a new entry.
    AppendFields(bytes, *this, ParseInt32(time_));
}

void AppendNewEntry(std::string& bytes, const ClientConnection& connection, std::int64_t time) {
    std::string text;
    AppendFields(text, connection, time);
    AppendTextMode(bytes, text);
}

std::optional<ActivityEntry> ActivityReader::Next() {
    PlainLine<ActivityEntry::kFieldCount> plain;
    for (;;) {
        const bool isPlain = lines_.TakePlain(plain);
        const auto line = isPlain ? plain.Text() : lines_.Next();
        if (!line) return std::nullopt;
        // Nine fields, however empty, take eleven characters.
        if (line->size() < kShortestActivityLine) continue;
        // Made where it is returned: an empty one would be cleared first.
        if (isPlain) return std::optional<ActivityEntry>(std::in_place, plain);
        return std::optional<ActivityEntry>(std::in_place, *line);
    }
}

bool IsStaleSessionEntry(std::string_view server, const ActivityEntry& entry,
                         std::string_view ownNotifyProtocol, std::string_view ownServerSession) {
    return !server.empty() && !ownServerSession.empty() && EqualsIgnoreCase(entry.server, server) &&
           EqualsIgnoreCase(entry.NotifyProtocol(), ownNotifyProtocol) &&
           !EqualsIgnoreCase(entry.serverSession, ownServerSession);
}

bool IsSameConnection(std::string_view server, std::string_view /*protocol*/,
                      std::string_view ipAddress, std::int32_t port, const ActivityEntry& entry) {
    // A client that changes its protocol on one address and port is still the same client, so the
    // protocol is not compared. A caller that does not know the port gives -1.
    return (port == kAnyPort || port == entry.port) &&
           (server.empty() || EqualsIgnoreCase(entry.server, server)) &&
           (ipAddress.empty() || EqualsIgnoreCase(entry.ipAddress, ipAddress));
}

void RewrittenActivity::BeginEntry() {
    run_.End(bytes);
    // The break stands before each entry but the first, so that no file ends with one.
    if (written++ != 0) bytes.append("\r\n");
}

void RewrittenActivity::Add(const ActivityEntry& entry) {
    if (const std::string_view line = entry.CopiedLine(); !line.empty()) {
        run_.Add(bytes, line);
        ++written;
    } else {
        BeginEntry();
        entry.AppendCopy(bytes);
    }
}

void RewrittenActivity::Add(std::string_view entryBytes) {
    BeginEntry();
    bytes.append(entryBytes);
}

RewrittenActivity RewriteActivity(std::string_view oldBytes, EntryRule& rule,
                                  std::string_view replacement) {
    RewrittenActivity rewritten;
    rewritten.bytes.reserve(oldBytes.size() + replacement.size() + 2);
    ActivityReader reader(oldBytes);
    while (const auto entry = reader.Next()) {
        ++rewritten.existing;
        switch (rule.Decide(*entry)) {
            case EntryFate::Copy:
                rewritten.Add(*entry);
                break;
            case EntryFate::Replace:
                rewritten.Add(replacement);
                break;
            case EntryFate::Drop:
                break;
        }
    }
    rewritten.EndCopying();
    return rewritten;
}

}  // namespace tarnwick
