// The text of an activity file: one client connection a line, nine fields separated by tabs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "common/TabbedLines.h"
#include "common/TextFile.h"

namespace tarnwick {

// The buffer for one line, terminator included: a longer line is read in pieces.
inline constexpr std::size_t kActivityLineCapacity = 1024;
// A shorter line is no entry.
inline constexpr std::size_t kShortestActivityLine = 10;
// The buffers of an entry's ServerSession and of a NotifyProtocol: what does not fit counts as
// empty.
inline constexpr std::size_t kSessionCapacity = 256;
// The port that stands for every port.
inline constexpr std::int32_t kAnyPort = -1;

// A client connection as its server process describes it.
struct ClientConnection {
    std::string_view server = {};
    std::string_view protocol = {};
    std::string_view accountName = {};
    std::string_view ipAddress = {};
    std::int32_t port = 0;
    std::string_view folder = {};
    std::int32_t instanceNumber = 0;
    std::string_view serverSession = {};
};

// The part of a protocol before its first "-".
std::string_view NotifyProtocolOf(std::string_view protocol);

// One line taken apart; its texts lie in the line. A field beyond the line's last one is the last
// one again; a line without any tab is its Server and leaves the others empty.
class ActivityEntry : public ClientConnection {
  public:
    static constexpr std::size_t kFieldCount = 9;

    explicit ActivityEntry(std::string_view line);
    explicit ActivityEntry(const PlainLine<kFieldCount>& line);

    std::string_view NotifyProtocol() const { return NotifyProtocolOf(protocol); }

    // The line, when it is the entry as it is copied into a rewritten file; otherwise empty.
    std::string_view CopiedLine() const { return isCopiedForm_ ? line_ : std::string_view(); }
    // Appends the entry as it is copied: the numbers, the time too, as 32-bit ones, which is all
    // that is kept of a later time.
    void AppendCopy(std::string& bytes) const;

  private:
    template <typename Fields>
    ActivityEntry(std::string_view line, const Fields& fields);

    std::string_view line_;
    std::string_view time_;
    bool isCopiedForm_ = false;
};

// Appends a new or refreshed entry, set at `time` (seconds since 1970-01-01 UTC), as it lies on
// disk.
void AppendNewEntry(std::string& bytes, const ClientConnection& connection, std::int64_t time);

// The entries of an activity file.
class ActivityReader {
  public:
    // `bytes` is the file as it lies on disk; it must outlive the reader and what it gives.
    explicit ActivityReader(std::string_view bytes) : lines_(bytes, kActivityLineCapacity) {}
    std::optional<ActivityEntry> Next();

  private:
    TabbedLines<ActivityEntry::kFieldCount> lines_;
};

// Whether an earlier run of the process `server` left the entry: same server, same NotifyProtocol,
// another ServerSession. Never when the own server or session is unknown (empty).
bool IsStaleSessionEntry(std::string_view server, const ActivityEntry& entry,
                         std::string_view ownNotifyProtocol, std::string_view ownServerSession);

// Whether server, address and port are the entry's; an empty text and a port of -1 match any. Two
// connections that differ in their protocol alone are the same: `protocol` decides nothing.
bool IsSameConnection(std::string_view server, std::string_view protocol,
                      std::string_view ipAddress, std::int32_t port, const ActivityEntry& entry);

// What becomes of an entry when its file is rewritten.
enum class EntryFate { Copy, Replace, Drop };

class EntryRule {
  public:
    virtual ~EntryRule() = default;
    virtual EntryFate Decide(const ActivityEntry& entry) = 0;
};

// A rewritten activity file.
struct RewrittenActivity {
    std::string bytes;  // as they lie on disk
    int existing = 0;   // entries of the old file
    int written = 0;    // entries of the new one

    // Appends an entry in its copied form, or a text that stands for one.
    void Add(const ActivityEntry& entry);
    void Add(std::string_view entryBytes);
    // To be called when the entries of the old file are through, before its bytes go.
    void EndCopying() { run_.End(bytes); }

  private:
    void BeginEntry();

    LineRun run_;
};

// Rewrites a whole file: asks `rule` for each entry in order. `replacement` is what AppendNewEntry
// makes of the entry that takes the place of those to be replaced.
RewrittenActivity RewriteActivity(std::string_view oldBytes, EntryRule& rule,
                                  std::string_view replacement = {});

}  // namespace tarnwick
