#include <gtest/gtest.h>

#include "common/DiagnosticLevel.h"
#include "Library/activity/NotificationWalk.h"
#include "Library/activity/NotifyRemote.h"
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
        {"", "", 1, "10.0.0.2", -1, false, false},
        {"", "", 1, "", 144, false, false},
        {"far", "", 1, "10.0.0.1", 143, false, false},
        {"", "Sent", 1, "10.0.0.1", 143, false, true},
        {"", "", 2, "10.0.0.1", 143, false, false},
        {"", "", 2, "10.0.0.1", 0, false, false},
        {"", "", 2, "", 143, false, false},
        {"", "", 2, "", -1, false, false},
        {"", "", 2, "10.0.0.1", 144, true, true},
        {"", "", 2, "10.0.0.2", 143, true, true},
        {"", "", 2, "10.0.0.2", -1, true, true},
        {"far", "", 2, "10.0.0.2", 143, false, false},
        {"", "Sent", 2, "10.0.0.2", 143, false, true},
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

std::string sent;
int senderResult = 0;

int RecordingSender(const char* server, const char* protocol, const char* text) {
    sent += std::string(server) + "|" + protocol + "|" + text;
    return senderResult;
}

constexpr const char* kOrphanLog =
    "Warning: Removing orphaned connection from activity connection file. Server=%s, Port=143\n";

std::string OrphanLog(const std::string& server) {
    std::string text = kOrphanLog;
    return text.replace(text.find("%s"), 2, server);
}

TEST(NotificationRule, DecidesByHostProtocolAndInstance) {
    const std::string remoteText = "[TW_NOTIFY]\t7\trun\tnews\r\n\r\n";
    const std::string failure =
        "Warning: NotifyRemote function failed. Unable to notify server (far) from server () "
        "with protocol (IMAP) from protocol (IMAP)\n";
    struct Case {
        const char* name;
        const char* server;
        const char* entry;
        NotifyMessage local;
        NotifyMessage remote;
        int senderResult;
        EntryFate fate;
        std::string sent;
        std::string log;
    };
    const NotifyMessage none{};
    const NotifyMessage local{"hi", 2};
    const NotifyMessage remote{"news", 5};
    const Case cases[] = {
        {"another server", "", "far\tIMAP-1\tA\tI\t143\t5\tF\t7\trun", none, remote, 0,
         EntryFate::Copy, "far|IMAP|" + remoteText, ""},
        {"another server, failed", "", "far\tIMAP-1\tA\tI\t143\t5\tF\t7\trun", none, remote, 1,
         EntryFate::Drop, "far|IMAP|" + remoteText, failure + OrphanLog("far")},
        {"another server, nothing to send", "", "far\tIMAP-1\tA\tI\t143\t5\tF\t7\trun", local, none,
         1, EntryFate::Copy, "", ""},
        {"a text without characters",
         "",
         "far\tIMAP\tA\tI\t143\t5\tF\t7\trun",
         none,
         {"", 5},
         1,
         EntryFate::Copy,
         "",
         ""},
        {"own host, another protocol", "", "host\tPOP3\tA\tI\t143\t5\tF\t7\trun", local, remote, 0,
         EntryFate::Copy, "host|POP3|" + remoteText, ""},
        {"own process is due for local delivery, which nobody makes", "",
         "HOST\timap-3\tA\tI\t143\t5\tF\t7\trun", local, remote, 0, EntryFate::Drop, "",
         OrphanLog("HOST")},
        {"the named server counts as own host", "srv", "srv\tIMAP\tA\tI\t143\t5\tF\t7\trun", local,
         remote, 0, EntryFate::Drop, "", OrphanLog("srv")},
        {"another instance of the own host", "", "host\tIMAP\tA\tI\t143\t5\tF\t8\trun", local,
         remote, 0, EntryFate::Copy, "", ""},
        {"own process, no local message", "", "host\tIMAP\tA\tI\t143\t5\tF\t7\trun", none, remote,
         0, EntryFate::Copy, "", ""},
    };
    SetRemoteNotifySender(RecordingSender);
    SessionContext session;
    session.instanceNumber = 7;
    for (const Case& row : cases) {
        ReportRecorder reports;
        sent.clear();
        senderResult = row.senderResult;
        NotifyRequest request;
        request.protocol = "IMAP-2";
        request.local = row.local;
        request.remote = row.remote;
        request.server = row.server;
        const ActivityEntry entry(row.entry);
        NotificationRule rule(&session, request, "host");
        EXPECT_EQ(rule.Decide(entry), row.fate) << row.name;
        EXPECT_EQ(rule.HasDropped(), row.fate == EntryFate::Drop) << row.name;
        EXPECT_EQ(sent, row.sent) << row.name;
        EXPECT_EQ(reports.Joined(ReportChannel::Trace), row.log) << row.name;
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
