#include <gtest/gtest.h>

#include "common/DiagnosticLevel.h"
#include "Library/activity/NotificationWalk.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::ReportRecorder;

TEST(IsAddressed, LooksAtServerFolderAddressAndPort) {
    const ActivityEntry entry("srv\tIMAP-1\tbob\t10.0.0.1\t143\t5\t/Inbox\t7\trun");
    const ActivityEntry everywhere("srv\tIMAP-1\tbob\t10.0.0.1\t143\t5\t\t7\trun");
    struct Case {
        const char* server;
        const char* folder;
        std::int32_t mode;
        const char* address;
        std::int32_t port;
        bool addressed;
        bool withoutFolder;
    };
    const Case cases[] = {
        {"", "", 0, "", -1, true, true},
        {"SRV", "", 0, "", -1, true, true},
        {"far", "", 0, "", -1, false, false},
        {"", "inbox", 0, "", -1, true, true},
        {"", "\\/\\Inbox", 0, "", -1, true, true},
        {"", "Sent", 0, "", -1, false, true},
        {"", "Inbox/", 0, "", -1, false, true},
        {"", "/", 0, "", -1, false, true},
        {"srv", "Inbox", 0, "10.9.9.9", 9, true, true},
        {"srv", "Inbox", 3, "10.0.0.1", 143, true, true},
        {"", "", 1, "", -1, true, true},
        {"", "", 1, "10.0.0.1", 143, true, true},
        {"", "", 1, "10.0.0.1", 0, true, true},
        {"", "", 1, "10.0.0.1", 144, false, false},
        {"", "", 1, "10.0.0.2", 143, false, false},
        {"", "", 1, "", 144, false, false},
        {"", "Sent", 1, "10.0.0.1", 143, false, true},
        {"", "", 2, "10.0.0.1", 143, false, false},
        {"", "", 2, "10.0.0.1", 0, false, false},
        {"", "", 2, "", 143, false, false},
        {"", "", 2, "", -1, false, false},
        {"", "", 2, "10.0.0.1", 144, true, true},
        {"", "", 2, "10.0.0.2", 143, true, true},
    };
    for (const Case& row : cases) {
        NotifyRequest request;
        request.server = row.server;
        request.folder = row.folder;
        request.matchMode = row.mode;
        request.ipAddress = row.address;
        request.port = row.port;
        const std::string name = std::string(row.server) + "|" + row.folder + "|" +
                                 std::to_string(row.mode) + "|" + row.address + "|" +
                                 std::to_string(row.port);
        EXPECT_EQ(IsAddressed(request, entry), row.addressed) << name;
        EXPECT_EQ(IsAddressed(request, everywhere), row.withoutFolder) << name;
    }
}

TEST(NotificationRule, DropsAnEarlierRunAndTellsItAboveLevelEightAlone) {
    const ActivityEntry entry("HOST\timap-3\tA\tI\t143\t5\tF\t7\trun1");
    NotifyRequest request;
    request.protocol = "IMAP-2";
    request.serverSession = "run2";
    for (const int level : {8, 9}) {
        DiagnosticLevel() = level;
        ReportRecorder reports;
        NotificationRule rule(nullptr, request, "host");
        EXPECT_EQ(rule.Decide(entry), EntryFate::Drop) << level;
        EXPECT_TRUE(rule.HasDropped()) << level;
        EXPECT_EQ(reports.Joined(ReportChannel::Trace),
                  level == 8 ? ""
                             : "Warning: Removing expired connection from activity connection "
                               "file. Server=HOST, Port=143\n");
    }
    DiagnosticLevel() = kDefaultDiagnosticLevel;
}

}  // namespace
}  // namespace tarnwick
