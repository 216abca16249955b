#include <gtest/gtest.h>

#include "common/Text.h"
#include "Library/activity/ActivityFile.h"

namespace tarnwick {
namespace {

using namespace std::string_literals;

class CopyAll : public EntryRule {
  public:
    EntryFate Decide(const ActivityEntry& entry) override {
        ports.push_back(entry.port);
        return EntryFate::Copy;
    }
    std::vector<std::int32_t> ports;
};

std::string CopyOf(std::string_view bytes) {
    CopyAll rule;
    return RewriteActivity(bytes, rule).bytes;
}

TEST(ActivityFile, CopiesEachLineByTheRulesOfItsFields) {
    const std::string s255(255, 's');
    const std::string s256(256, 's');
    struct Case {
        const char* name;
        std::string line;
        std::string copy;
    };
    const Case cases[] = {
        {"as written", "S\tIMAP-1\tbob\t10.0.0.1\t143\t1700000000\tInbox\t7\trun",
         "S\tIMAP-1\tbob\t10.0.0.1\t143\t1700000000\tInbox\t7\trun"},
        {"ten characters", "S\tP\t\t\t1\t2\t\t3\t", "S\tP\t\t\t1\t2\t\t3\t"},
        {"a time beyond 32 bits is held at the limit", "S\tP\tA\tI\t1\t4294967299\tF\t3\tR",
         "S\tP\tA\tI\t1\t2147483647\tF\t3\tR"},
        {"the largest number", "S\tP\tA\tI\t2147483647\t2147483647\tF\t2147483648\tR",
         "S\tP\tA\tI\t2147483647\t2147483647\tF\t2147483647\tR"},
        {"negative and padded numbers", "S\tP\tA\tI\t-1\t007\tF\t 5\tR",
         "S\tP\tA\tI\t-1\t7\tF\t5\tR"},
        {"no numbers", "S\tP\tA\tI\tx\t\tF\t4x\tR", "S\tP\tA\tI\t0\t0\tF\t4\tR"},
        {"zero, and zeros", "S\tP\tA\tI\t0\t00\tF\t-0\tR", "S\tP\tA\tI\t0\t0\tF\t0\tR"},
        {"a missing field is the last one again", "server\tIMAP\t42",
         "server\tIMAP\t42\t42\t42\t42\t42\t42\t42"},
        {"two fields", "server\tIMAP-7", "server\tIMAP-7\tIMAP-7\tIMAP-7\t0\t0\tIMAP-7\t0\tIMAP-7"},
        {"no tab leaves the fields behind the first empty", "0123456789",
         "0123456789\t\t\t\t0\t0\t\t0\t"},
        {"a tenth field is lost", "S\tP\tA\tI\t1\t2\tF\t3\tR\tX", "S\tP\tA\tI\t1\t2\tF\t3\tR"},
        {"a tab behind the last field", "S\tP\tA\tI\t1\t2\tF\t3\tR\t", "S\tP\tA\tI\t1\t2\tF\t3\tR"},
        {"tabs alone", "\t\t\t\t\t\t\t\t\t\t", "\t\t\t\t0\t0\t\t0\t"},
        {"a session that fits", "S\tP\tA\tI\t1\t2\tF\t3\t" + s255,
         "S\tP\tA\tI\t1\t2\tF\t3\t" + s255},
        {"a session that does not fit is empty", "S\tP\tA\tI\t1\t2\tF\t3\t" + s256,
         "S\tP\tA\tI\t1\t2\tF\t3\t"},
        {"a lone CR stays", "S\tP\tA\tI\t1\t2\tF\rG\t3\tR", "S\tP\tA\tI\t1\t2\tF\rG\t3\tR"},
    };
    for (const Case& row : cases) EXPECT_EQ(CopyOf(row.line), row.copy) << row.name;
}

TEST(ActivityFile, ReadsLinesAsTextModeAndItsBufferGiveThem) {
    const std::string entry = "S\tP\tA\tI\t1\t2\tF\t3\tR";
    const std::string x1023(1023, 'x');
    const std::string tail = "\t\t\t\t0\t0\t\t0\t";
    struct Case {
        const char* name;
        std::string bytes;
        std::string copy;
    };
    const Case cases[] = {
        {"empty", "", ""},
        {"one character", "x\r\n" + entry, entry},
        {"nine characters", "123456789\r\n" + entry, entry},
        {"nine and a carriage return that is no line break", "123456789\r", "123456789\r" + tail},
        {"line feeds alone", entry + "\n" + entry, entry + "\r\n" + entry},
        {"a final line break", entry + "\r\n", entry},
        {"a doubled line break", entry + "\r\n\r\n" + entry, entry + "\r\n" + entry},
        {"1023 characters", x1023 + "\r\n" + entry, x1023 + tail + "\r\n" + entry},
        {"1024 characters: the last is a piece of its own", x1023 + "y\r\n" + entry,
         x1023 + tail + "\r\n" + entry},
        {"1033 characters", x1023 + "0123456789\r\n", x1023 + tail + "\r\n0123456789" + tail},
        {"5000 characters", std::string(5000, 'x'),
         x1023 + tail + "\r\n" + x1023 + tail + "\r\n" + x1023 + tail + "\r\n" + x1023 + tail +
             "\r\n" + std::string(908, 'x') + tail},
        {"a NUL ends its line", entry + "\0rest\r\n"s + entry, entry + "\r\n" + entry},
        {"a NUL within nine characters",
         "1234\0"
         "567890abc\r\n"s +
             entry,
         entry},
        {"Ctrl-Z ends the file", entry + "\r\n\x1a" + entry, entry},
    };
    for (const Case& row : cases) EXPECT_EQ(CopyOf(row.bytes), row.copy) << row.name;
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
