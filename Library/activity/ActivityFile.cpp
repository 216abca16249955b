#include "Library/activity/ActivityFile.h"

#include <array>

#include "common/Scan.h"
#include "common/Text.h"

namespace tarnwick {
namespace {

constexpr std::size_t kFieldCount = 9;
constexpr std::string_view kLargestNumber = "2147483647";

struct Fields {
    std::array<std::string_view, kFieldCount> texts;
    // Nine fields, no more and no less.
    bool isWhole = false;
};

Fields SplitLine(std::string_view line) {
    Fields fields;
    std::size_t count = 0;
    std::size_t tab = 0;
    for (std::size_t start = 0; count < kFieldCount && tab != kNotFound; start = tab + 1) {
        tab = FindByte(line, '\t', start);
        fields.texts[count++] = line.substr(start, tab - start);
    }
    fields.isWhole = count == kFieldCount && tab == kNotFound;
    if (count == 1) return fields;
    for (std::size_t at = count; at < kFieldCount; ++at) fields.texts[at] = fields.texts[count - 1];
    return fields;
}

// Whether `text` is a number from 0 to 2147483647 exactly as it would be printed.
bool IsPrintedNumber(std::string_view text) {
    if (text.empty() || text.size() > kLargestNumber.size()) return false;
    for (const char digit : text) {
        if (digit < '0' || digit > '9') return false;
    }
    if (text[0] == '0') return text.size() == 1;
    return text.size() < kLargestNumber.size() || text <= kLargestNumber;
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

ActivityEntry::ActivityEntry(std::string_view line) : line_(line) {
    const auto [texts, isWhole] = SplitLine(line);
    server = texts[0];
    protocol = texts[1];
    accountName = texts[2];
    ipAddress = texts[3];
    port = ParseInt32(texts[4]);
    time_ = ParseInt32(texts[5]);
    folder = texts[6];
    instanceNumber = ParseInt32(texts[7]);
    serverSession = FittingInto(kSessionCapacity, texts[8]);
    isCopiedForm_ = isWhole && IsPrintedNumber(texts[4]) && IsPrintedNumber(texts[5]) &&
                    IsPrintedNumber(texts[7]) && texts[8].size() == serverSession.size();
}

void ActivityEntry::AppendCopy(std::string& bytes) const {
    if (isCopiedForm_) {
        bytes.append(line_);
    } else {
        AppendFields(bytes, *this, time_);
    }
}

void AppendNewEntry(std::string& bytes, const ClientConnection& connection, std::int64_t time) {
    std::string text;
    AppendFields(text, connection, time);
    AppendTextMode(bytes, text);
}

std::optional<ActivityEntry> ActivityReader::Next() {
    while (const auto line = lines_.Next()) {
        if (line->size() >= kShortestActivityLine) return ActivityEntry(*line);
    }
    return std::nullopt;
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
    // protocol is not compared.
    return (server.empty() || EqualsIgnoreCase(entry.server, server)) &&
           (port == kAnyPort || port == entry.port) &&
           (ipAddress.empty() || EqualsIgnoreCase(entry.ipAddress, ipAddress));
}

void RewrittenActivity::BeginEntry() {
    // The break stands before each entry but the first, so that no file ends with one.
    if (written++ != 0) bytes.append("\r\n");
}

void RewrittenActivity::Add(const ActivityEntry& entry) {
    BeginEntry();
    entry.AppendCopy(bytes);
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
    return rewritten;
}

}  // namespace tarnwick
