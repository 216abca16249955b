// The operations on an activity file, each on files on which it has something to do.
#pragma once

#include "Library/activity/ActivityStore.h"
#include "Library/activity/ClientNotification.h"
#include "Library/activity/ClientState.h"
#include "Library/activity/NotifyRemote.h"
#include "tests/support/Faults.h"

namespace tarnwick::testing {

inline const std::string kOther = "far\tIMAP\tann\t10.0.0.9\t25\t5\tInbox\t3\trun0";
inline const std::string kMine = "srv\tIMAP\tbob\t10.0.0.1\t143\t7\tInbox\t7\trun2";
inline const std::string kMyOld = "SRV\tIMAP\tbob\t10.0.0.1\t143\t6\tInbox\t7\trun2";
inline const std::string kBoth = kMyOld + "\r\n" + kOther;

// DOS date and time of the last write by the directory entry, without an allocation; 0 without a
// file.
inline std::uint32_t StampOnDisk(const std::string& folder) {
    char path[MAX_PATH];
    std::snprintf(path, sizeof path, "%s\\_activity.tab", folder.c_str());
    WIN32_FIND_DATAA found;
    const HANDLE search = FindFirstFileA(path, &found);
    if (search == INVALID_HANDLE_VALUE) return 0;
    FindClose(search);
    WORD date = 0;
    WORD time = 0;
    FileTimeToDosDateTime(&found.ftLastWriteTime, &date, &time);
    return (static_cast<std::uint32_t>(date) << 16) | time;
}

// 1 when the session's stamp is that of the file, 0 when it is as before.
inline std::string SetMine(const std::string& folder) {
    SessionContext session{"bob", 1, 7, "Inbox", 99, nullptr};
    SetClientState(&session, folder, "srv", "10.0.0.1", 143, "IMAP", "bob", "Inbox", "run2");
    const std::uint32_t stamp = StampOnDisk(folder);
    return session.activityStamp == stamp ? "1" : session.activityStamp == 99 ? "0" : "wrong";
}
inline std::string CloseMine(const std::string& folder) {
    return std::to_string(
        CloseClientState(nullptr, folder, "srv", "10.0.0.1", 143, "IMAP", "run2"));
}
inline std::string CountAll(const std::string& folder) {
    return std::to_string(GetConnectionCount(nullptr, folder));
}
// The sender fails for every server, and the notification is for "srv" alone.
inline std::string NotifyMine(const std::string& folder) {
    SetRemoteNotifySender([](const char*, const char*, const char*) { return 1; });
    return std::to_string(NotifyClients(nullptr, folder, "srv", "", -1, "POP3", 0, 0, "", "",
                                        nullptr, 0, "news", -1));
}

inline std::vector<Operation> ActivityOperations() {
    struct Row {
        std::string name;  // begins with that under which an exception is told
        const std::string& before;
        std::string (*run)(const std::string& folder);
        const char *call, *callsLikeIt, *death;
    };
    const Row rows[] = {
        {"SetClientState", kBoth, SetMine,
         "0 1 new|2 1 tab=srv\tIMAP\tbob\t10.0.0.1\t143\t7\tInbox\t7\trun2|3 0|4 1 new|5 0 old|8 1 "
         "new|12 1 blk= tab=new 101|13 1 new|",
         "0 1 new|2 1 tab=srv\tIMAP\tbob\t10.0.0.1\t143\t7\tInbox\t7\trun2|3 0|4 1 new|5 0 old|7 0 "
         "blk= tab=old 101|8 0 tab=old tmp=new|9 0 tmp=new|10 1 new|12 1 blk= tab=new 101|",
         "1 old|2 blk= tab=old 101|4 blk= tab=old tmp= 101|7 blk= tab=old tmp=new 101|9 blk= "
         "tmp=new 101|10 blk= tab=new 101|"},
        {"CloseClientState", kBoth, CloseMine,
         "0 1 new|2 0 old|4 1 new|5 0 old|8 1 new|10 1 blk= tab=new 101|11 1 new|",
         "0 1 new|2 0 old|4 1 new|5 0 old|7 0 blk= tab=old 101|8 0 tab=old tmp=new|9 0 tmp=new|10 "
         "1 blk= tab=new 101|",
         "1 old|2 blk= tab=old 101|4 blk= tab=old tmp= 101|7 blk= tab=old tmp=new 101|9 blk= "
         "tmp=new 101|10 blk= tab=new 101|"},
        {"CloseClientState of the last", kMine, CloseMine,
         "0 1 new|2 0 old|4 1 new|5 0 old|7 1 new|9 1 blk= 101|10 1 new|",
         "0 1 new|2 0 old|4 1 new|5 0 old|6 0 blk= tab=old 101|7 1 old|8 1 tmp=|9 1 blk= 101|",
         "1 old|2 blk= tab=old 101|4 blk= tab=old tmp= 101|8 blk= tmp= 101|9 blk= 101|"},
        {"NotifyClients_Ex", kBoth, NotifyMine,
         "0 1 new|1 2 old|2 1 new|3 1 old|5 1 new|6 1 old|9 1 new|11 1 blk= tab=new 101|12 1 new|",
         "0 1 new|1 2 old|2 1 new|3 1 old|5 1 new|6 1 old|8 1 blk= tab=old 101|9 1 tab=old "
         "tmp=new|10 1 tmp=new|11 1 blk= tab=new 101|",
         "1 old|3 blk= tab=old 101|5 blk= tab=old tmp= 101|8 blk= tab=old tmp=new 101|10 blk= "
         "tmp=new 101|11 blk= tab=new 101|"},
        {"NotifyClients_Ex of the last", kMine, NotifyMine,
         "0 1 new|1 2 old|2 1 new|3 1 old|5 1 new|6 1 old|8 1 new|10 1 blk= 101|11 1 new|",
         "0 1 new|1 2 old|2 1 new|3 1 old|5 1 new|6 1 old|7 1 blk= tab=old 101|8 1 old|9 1 tmp=|10 "
         "1 blk= 101|",
         "1 old|3 blk= tab=old 101|5 blk= tab=old tmp= 101|9 blk= tmp= 101|10 blk= 101|"},
        {"GetConnectionCount", kMine, CountAll,
         "0 1 old|2 0 old|3 1 old|4 0 old|5 1 blk= tab=old 101|6 1 old|",
         "0 1 old|2 0 old|3 1 old|4 0 old|5 1 blk= tab=old 101|", "1 old|2 blk= tab=old 101|"},
    };
    std::vector<Operation> operations;
    for (const Row& row : rows) {
        operations.push_back(
            {row.name,
             [&before = row.before](const std::string& folder) {
                 WriteBytesTo(folder + "\\_activity.tab", before);
             },
             row.run,
             {{Fault::Call, row.call},
              {Fault::CallsLikeIt, row.callsLikeIt},
              {Fault::Death, row.death},
              {Fault::Memory,
               row.run == CountAll ? "0 old told|" : "0 old told|0 tab=old tmp= told|"}},
             // Also who told it without memory, and how often the next client had to wait for the
             // lock, which it gets at the latest when the old holder counts as dead.
             [teller = row.name.substr(0, row.name.find(' '))](const Trial& trial) {
                 std::string words = OutcomeOf(trial);
                 if (trial.report.starts_with(teller + " raised") ||
                     trial.report.starts_with(teller + " handled"))
                     words += " told";
                 const CountingSleeper sleeper;
                 SetMine(FaultFolder());
                 EXPECT_FALSE(PathExists(FaultFolder() + "\\_activity.blk"));
                 EXPECT_NE(ReadBytesOf(FaultFolder() + "\\_activity.tab").find(kMine),
                           std::string::npos);
                 return words + (sleeper.Count() == 0 ? "" : " " + std::to_string(sleeper.Count()));
             }});
    }
    return operations;
}

}  // namespace tarnwick::testing
