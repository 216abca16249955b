// The activity file's reader and rewriter against a plain one that goes through fixed buffers.
#include <cstdio>

#include "common/Text.h"
#include "common/TextFile.h"
#include "fuzz/Fuzz.h"
#include "Library/activity/ActivityFile.h"
#include "Library/activity/ActivityRules.h"

namespace tarnwick::fuzz {
namespace {

class CopyAll : public EntryRule {
  public:
    EntryFate Decide(const ActivityEntry&) override { return EntryFate::Copy; }
};

std::string PlainCopy(std::string_view line) {
    char fields[8][1024] = {};
    char session[256] = {};
    for (int at = 0; at < 8; ++at) GetDelimitedField(line, "\t", at + 1, fields[at]);
    GetDelimitedField(line, "\t", 9, session);
    static char copy[16384];
    std::snprintf(copy, sizeof copy, "%s\t%s\t%s\t%s\t%d\t%d\t%s\t%d\t%s", fields[0], fields[1],
                  fields[2], fields[3], ParseInt32(fields[4]), ParseInt32(fields[5]), fields[6],
                  ParseInt32(fields[7]), session);
    return copy;
}

std::string PlainRewrite(std::string_view bytes, int& entries) {
    std::string text(bytes);
    DecodeTextMode(text);
    std::string rewritten;
    LineReader reader(text, 1024);
    while (const auto piece = reader.NextPiece()) {
        const std::string_view line = LineText(*piece);
        if (line.size() < 10) continue;
        if (entries++ != 0) rewritten += "\r\n";
        rewritten += PlainCopy(line);
    }
    return rewritten;
}

// A client of the file's first line, so that the rules have something to find.
ClientConnection FirstConnection(std::string_view bytes) {
    ActivityReader reader(bytes);
    const auto entry = reader.Next();
    return entry ? static_cast<ClientConnection>(*entry)
                 : ClientConnection{"srv", "IMAP", "bob", "10.0.0.1", 143, "Inbox", 7, "run"};
}

}  // namespace

void Check(std::string_view bytes) {
    CopyAll rule;
    int entries = 0;
    const RewrittenActivity copied = RewriteActivity(bytes, rule);
    Require(copied.bytes == PlainRewrite(bytes, entries));
    Require(copied.existing == entries && copied.written == entries);
    Require(CountConnections(bytes, "") == entries);

    const ClientConnection connection = FirstConnection(bytes);
    const RewrittenActivity set = SetConnection(bytes, connection, 1'700'000'000, "a.tab");
    Require(set.existing == entries && set.written >= 1 && set.written <= entries + 1);
    const RewrittenActivity closed = CloseConnection(bytes, connection, "a.tmp");
    Require(closed.written <= entries && closed.existing == entries);
    Require(entries == 0 || closed.written < entries);
}

}  // namespace tarnwick::fuzz
