#include "Library/activity/ActivityFile.h"

#include <algorithm>
#include <array>
#include <limits>

#include "common/Scan.h"
#include "common/Text.h"

namespace tarnwick {
namespace {

constexpr std::size_t kFieldCount = 9;
constexpr std::int64_t kLargestNumber = std::numeric_limits<std::int32_t>::max();
constexpr std::size_t kMostDigits = std::numeric_limits<std::int32_t>::digits10 + 1;

// A line and its tabs up to that behind the ninth field.
class Fields {
  public:
    explicit Fields(std::string_view line) : line_(line), tabCount_(FindEach(line, '\t', tabs_)) {}

    // Field `number` from 1. Kept for compatibility: beyond the last it is the last one again, but
    // a line without any tab has one field alone.
    std::string_view operator[](std::size_t number) const {
        if (number > 1 && tabCount_ == 0) return {};
        const std::size_t at = std::min(number - 1, tabCount_);
        const std::size_t begin = at == 0 ? 0 : tabs_[at - 1] + 1;
        const std::size_t end = at == tabCount_ ? line_.size() : tabs_[at];
        return line_.substr(begin, end - begin);
    }

    bool AreNine() const { return tabCount_ + 1 == kFieldCount; }

  private:
    std::string_view line_;
    std::array<std::size_t, kFieldCount> tabs_;
    std::size_t tabCount_;
};

struct Number {
    std::int32_t value;
    // Whether printing the value gives the text. Not found out of a negative number, which is rare.
    bool isPrintedForm;
};

Number ReadNumber(std::string_view text) {
    if (text.empty() || text.size() > kMostDigits) return {ParseInt32(text), false};
    std::int64_t value = 0;
    for (const char digit : text) {
        if (digit < '0' || digit > '9') return {ParseInt32(text), false};
        value = value * 10 + (digit - '0');
    }
    const bool isPadded = text[0] == '0' && text.size() > 1;
    const bool fits = value <= kLargestNumber;
    return {static_cast<std::int32_t>(std::min(value, kLargestNumber)), fits && !isPadded};
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
    const Fields fields(line);
    const Number portNumber = ReadNumber(fields[5]);
    // Kept for compatibility: 32 bits of a time that has 64 in a new entry.
    const Number time = ReadNumber(fields[6]);
    const Number instance = ReadNumber(fields[8]);
    server = fields[1];
    protocol = fields[2];
    accountName = fields[3];
    ipAddress = fields[4];
    port = portNumber.value;
    time_ = time.value;
    folder = fields[7];
    instanceNumber = instance.value;
    // Not cut: what is left of two long ones might be equal, and an empty one equals none.
    serverSession = FittingInto(kSessionCapacity, fields[9]);
    isCopiedForm_ = fields.AreNine() && portNumber.isPrintedForm && time.isPrintedForm &&
                    instance.isPrintedForm && serverSession.size() == fields[9].size();
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
    std::optional<ActivityEntry> entry;
    while (const auto line = lines_.Next()) {
        // Nine fields, however empty, take eleven characters.
        if (line->size() < kShortestActivityLine) continue;
        entry.emplace(*line);
        break;
    }
    return entry;
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
