#include <gtest/gtest.h>

#include "Library/activity/ActivityRules.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::ReportRecorder;

const ClientConnection kOwn{"srv", "IMAP-2", "bob", "10.0.0.1", 143, "Inbox", 7, "run2"};
const std::string kOwnEntry = "srv\tIMAP-2\tbob\t10.0.0.1\t143\t9999999999\tInbox\t7\trun2";
const std::string kOther = "srv\tIMAP\tann\t10.0.0.9\t143\t5\tInbox\t7\trun2";
const std::string kForeign = "far\tIMAP\tann\t10.0.0.9\t143\t5\tSent\t7\trun0";
const std::string kEarlier = "SRV\timap-9\tbob\t10.0.0.1\t143\t5\tSent\t1\trun1";
const std::string kOwnBefore = "srv\tPOP3-9\tbob\t10.0.0.1\t143\t5\tSent\t1\trun1";
const std::string kBreak = "\r\n";

const std::string kAdding =
    "TW-IXXXX: Information: Adding connection to existing activity file. Protocol=IMAP-2, "
    "IPAddress=10.0.0.1, PortNumber=143,Folder=Inbox.\n";
const std::string kPurging =
    "TW-IXXXX: Information: Purging item from activity file (a.tab). Server=srv, "
    "NotifyProtocol=imap, ServerSession=run1.\n";

TEST(SetConnection, RewritesAndLogs) {
    struct Case {
        const char* name;
        std::string before;
        std::string after;
        std::string log;
    };
    const Case cases[] = {
        {"empty file", "", kOwnEntry, kAdding},
        {"others stay and keep their order", kForeign + kBreak + kOther,
         kForeign + kBreak + kOther + kBreak + kOwnEntry, kAdding},
        {"refreshed in its place, whatever its protocol and session",
         kForeign + kBreak + kOwnBefore + kBreak + kOther,
         kForeign + kBreak + kOwnEntry + kBreak + kOther, ""},
        {"written once for each match", kOwnBefore + kBreak + kOther + kBreak + kOwnBefore,
         kOwnEntry + kBreak + kOther + kBreak + kOwnEntry, ""},
        {"an earlier run goes even where it would match", kEarlier, kOwnEntry, kPurging + kAdding},
        {"purged and refreshed", kEarlier + kBreak + kOwnBefore, kOwnEntry, kPurging},
    };
    for (const Case& row : cases) {
        ReportRecorder reports;
        EXPECT_EQ(SetConnection(row.before, kOwn, 9999999999, "a.tab").bytes, row.after)
            << row.name;
        EXPECT_EQ(reports.Joined(ReportChannel::EventLogInformation), row.log) << row.name;
    }
}

TEST(CloseConnection, RemovesAndCounts) {
    const std::string removed =
        "TW-IXXXX: Information: Removed Entry from activity file (a.tmp). Protocol=POP3-9, "
        "IP=10.0.0.1,Port=143.\n";
    const std::string expired =
        "TW-IXXXX: Information: Removed expired entry from activity file (a.tmp). "
        "Protocol=imap-9, IP=10.0.0.1,Port=143.\n";
    struct Case {
        const char* name;
        std::string before;
        std::string after;
        int existing;
        int written;
        std::string log;
    };
    const Case cases[] = {
        {"empty", "", "", 0, 0, ""},
        {"nothing of it there", kForeign + kBreak + kOther, kForeign + kBreak + kOther, 2, 2, ""},
        {"all of several", kOwnBefore + kBreak + kOther + kBreak + kOwnBefore, kOther, 3, 1,
         removed + removed},
        {"an earlier run", kEarlier + kBreak + kForeign, kForeign, 2, 1, expired},
    };
    for (const Case& row : cases) {
        ReportRecorder reports;
        const RewrittenActivity after = CloseConnection(row.before, kOwn, "a.tmp");
        EXPECT_EQ(after.bytes, row.after) << row.name;
        EXPECT_EQ(after.existing, row.existing) << row.name;
        EXPECT_EQ(after.written, row.written) << row.name;
        EXPECT_EQ(reports.Joined(ReportChannel::EventLogInformation), row.log) << row.name;
    }
}

}  // namespace
}  // namespace tarnwick
