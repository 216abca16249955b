#include <gtest/gtest.h>

#include "common/Text.h"
#include "Library/activity/ActivityFile.h"

namespace tarnwick {
namespace {

using namespace std::string_literals;

class CopyAll : public EntryRule {
  public:
    EntryFate Decide(const ActivityEntry&) override { return EntryFate::Copy; }
};

const std::string kEntry = "S\tP\tA\tI\t1\t2\tF\t3\tR";
const std::string kNoFields = "\t\t\t\t0\t0\t\t0\t";
const std::string kX1023(1023, 'x');
const std::string kLong = kX1023 + kNoFields + "\r\n";

std::string CopyOf(std::string_view bytes) {
    CopyAll rule;
    return RewriteActivity(bytes, rule).bytes;
}

TEST(ActivityFile, CopiesEachLineByTheRulesOfItsFields) {
    const std::string head = "S\tP\tA\tI\t1\t2\tF\t3\t";
    const std::string s255(255, 's');
    struct Case {
        const char* name;
        std::string line;
        std::string copy;
    };
    const Case cases[] = {
        {"as written", head + "R", head + "R"},
        {"ten characters", "S\tP\t\t\t1\t2\t\t3\t", "S\tP\t\t\t1\t2\t\t3\t"},
        {"numbers beyond 32 bits are held at the limit",
         "S\tP\tA\tI\t2147483647\t4294967299\tF\t2147483648\tR",
         "S\tP\tA\tI\t2147483647\t2147483647\tF\t2147483647\tR"},
        {"odd numbers", "S\tP\tA\tI\t-1\t007\tF\t 5\tR", "S\tP\tA\tI\t-1\t7\tF\t5\tR"},
        {"no numbers", "S\tP\tA\tI\tx\t\tF\t4x\tR", "S\tP\tA\tI\t0\t0\tF\t4\tR"},
        {"zeros", "S\tP\tA\tI\t0\t00\tF\t-0\tR", "S\tP\tA\tI\t0\t0\tF\t0\tR"},
        {"a missing field is the last one again", "server\tIMAP\t42",
         "server\tIMAP\t42\t42\t42\t42\t42\t42\t42"},
        {"no tab leaves the fields behind the first empty", "0123456789", "0123456789" + kNoFields},
        {"a tenth field is lost", head + "R\tX", head + "R"},
        {"tabs alone", "\t\t\t\t\t\t\t\t\t\t", kNoFields},
        {"a session that fits", head + s255, head + s255},
        {"a session that does not fit is empty", head + s255 + "s", head},
        {"a lone CR stays", "S\tP\tA\tI\t1\t2\tF\rG\t3\tR", "S\tP\tA\tI\t1\t2\tF\rG\t3\tR"},
        {"empty", "", ""},
        {"one character", "x\r\n" + kEntry, kEntry},
        {"nine characters", "123456789\r\n" + kEntry, kEntry},
        {"nine and a carriage return that is no line break", "123456789\r",
         "123456789\r" + kNoFields},
        {"a line feed alone, a doubled and a final break",
         kEntry + "\n" + kEntry + "\r\n\r\n" + kEntry + "\r\n",
         kEntry + "\r\n" + kEntry + "\r\n" + kEntry},
        {"1023 characters", kX1023 + "\r\n" + kEntry, kX1023 + kNoFields + "\r\n" + kEntry},
        {"1024 characters: the last is a piece of its own", kX1023 + "y\r\n" + kEntry,
         kX1023 + kNoFields + "\r\n" + kEntry},
        {"5000 characters", kX1023 + kX1023 + kX1023 + kX1023 + std::string(908, 'x'),
         kLong + kLong + kLong + kLong + std::string(908, 'x') + kNoFields},
        {"a NUL ends its line", kEntry + "\0rest\r\n"s + kEntry, kEntry + "\r\n" + kEntry},
        {"a NUL within nine characters", "1234\0more than nine\r\n"s + kEntry, kEntry},
        {"Ctrl-Z ends the file", kEntry + "\r\n\x1a" + kEntry, kEntry},
    };
    for (const Case& row : cases) EXPECT_EQ(CopyOf(row.line), row.copy) << row.name;
}

TEST(ActivityFile, NewEntriesKeepATimeOf64BitsAndBreakLinesAsOnDisk) {
    std::string bytes;
    AppendNewEntry(bytes, {"S", "IMAP-1", "bob", "::1", -1, "In\nbox", -3, "run"}, 4294967299);
    EXPECT_EQ(bytes, "S\tIMAP-1\tbob\t::1\t-1\t4294967299\tIn\r\nbox\t-3\trun");
}

TEST(ActivityFile, NotifyProtocolIsWhatStandsBeforeTheFirstDash) {
    EXPECT_EQ(NotifyProtocolOf("IMAP-1-2"), "IMAP");
    EXPECT_EQ(NotifyProtocolOf("IMAP"), "IMAP");
    EXPECT_EQ(NotifyProtocolOf("-IMAP"), "");
    EXPECT_EQ(NotifyProtocolOf(std::string(255, 'p') + "-").size(), 255U);
    EXPECT_EQ(NotifyProtocolOf(std::string(256, 'p') + "-"), "");
}

TEST(ActivityFile, AnEntryIsStaleWhenItsServerRanBefore) {
    const ActivityEntry entry("Srv\tIMAP-1\tA\tI\t1\t2\tF\t3\trun1");
    struct Case {
        const char* name;
        const char* server;
        const char* protocol;
        const char* session;
        bool stale;
    };
    const Case cases[] = {
        {"another run", "Srv", "IMAP", "run2", true},
        {"without regard to case", "sRV", "imap", "run2", true},
        {"the same run", "Srv", "IMAP", "RUN1", false},
        {"another server", "Other", "IMAP", "run2", false},
        {"another protocol", "Srv", "POP3", "run2", false},
        {"the whole protocol is not the notify protocol", "Srv", "IMAP-1", "run2", false},
        {"own session unknown", "Srv", "IMAP", "", false},
        {"own server unknown", "", "IMAP", "run2", false},
    };
    for (const Case& row : cases) {
        EXPECT_EQ(IsStaleSessionEntry(row.server, entry, row.protocol, row.session), row.stale)
            << row.name;
    }
    const ActivityEntry nameless("\tIMAP\tA\tI\t1\t2\tF\t3\trun1");
    EXPECT_FALSE(IsStaleSessionEntry("", nameless, "IMAP", "run2"));
}

TEST(ActivityFile, TheProtocolDoesNotTellConnectionsApart) {
    const ActivityEntry entry("Srv\tIMAP-1\tA\t10.0.0.1\t143\t2\tF\t3\trun1");
    struct Case {
        const char* name;
        const char* server;
        const char* protocol;
        const char* address;
        std::int32_t port;
        bool same;
    };
    const Case cases[] = {
        {"all equal", "SRV", "IMAP-1", "10.0.0.1", 143, true},
        {"another protocol", "Srv", "POP3", "10.0.0.1", 143, true},
        {"another server", "Srv2", "IMAP-1", "10.0.0.1", 143, false},
        {"another address", "Srv", "IMAP-1", "10.0.0.2", 143, false},
        {"another port", "Srv", "IMAP-1", "10.0.0.1", 144, false},
        {"port 0 is a port", "Srv", "IMAP-1", "10.0.0.1", 0, false},
        {"any port", "Srv", "IMAP-1", "10.0.0.1", -1, true},
        {"any address", "Srv", "IMAP-1", "", 143, true},
        {"any server", "", "IMAP-1", "10.0.0.1", 143, true},
        {"anything", "", "", "", -1, true},
    };
    for (const Case& row : cases) {
        EXPECT_EQ(IsSameConnection(row.server, row.protocol, row.address, row.port, entry),
                  row.same)
            << row.name;
    }
}

}  // namespace
}  // namespace tarnwick
