// What the models of the activity file and its lock do not show: the folders of a postoffice, their
// flags and markers, and what a notification does with a lock that its caller holds.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/Registry.h"
#include "Library/activity/NotifyFlags.h"
#include "Library/activity/StoreSettings.h"
#include "tests/Library/activity/ActivityOperations.h"
#include "tests/support/Model.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::CountingSleeper;
using testing::PathExists;
using testing::ReadBytesOf;
using testing::ScratchRegistry;
using testing::WriteBytesTo;
using Names = std::vector<std::string>;

constexpr const char* kFlagText =
    "This file is a flag file that denotes that this folder has been changed";

std::string sent;

// A postoffice "PO" with a mailbox "BOB". The mail root and whether there are public folders are
// read once.
class Notify : public ::testing::Test {
  protected:
    explicit Notify(bool hasPublicFolders = true) {
        const ScratchRegistry registry;
        ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root", Root().Path());
        if (!hasPublicFolders)
            ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "Public Folders Enabled", 0);
        EXPECT_EQ(ArePublicFoldersEnabled(), hasPublicFolders);
        EXPECT_EQ(PostofficeDirectory("PO"), In(""));
        Root().Clear();
        testing::MakePath(inbox_);
        SetRemoteNotifySender([](const char*, const char*, const char*) {
            sent += "sent";
            return 0;
        });
    }
    static const testing::ScratchFolder& Root() {
        static const testing::ScratchFolder root;
        return root;
    }
    static std::string In(const std::string& path) { return Root().Path("PO" + path); }

    // Match mode 2 leaves the named connections out; there is no originator, so it leaves out all.
    void ExpectPlaces(const char* folder, const std::string& notified, const std::string& flagged) {
        for (const std::string& path : {notified, flagged}) testing::MakePath(In(path));
        WriteBytesTo(In(notified + "\\_activity.tab"),
                     "far\tIMAP\tann\t10.0.0.9\t25\t5\t\t3\trun0");
        sent.clear();
        EXPECT_EQ(NotifyAllClients("PO", "BOB", folder, "IMAP", 2, "news", -1), 1) << folder;
        EXPECT_EQ(sent, "") << folder;
        EXPECT_EQ(NotifyAllClients("PO", "BOB", folder, "IMAP", 0, "news", -1), 1) << folder;
        EXPECT_EQ(sent, "sent") << folder;
        DeleteFileA(In(notified + "\\_activity.tab").c_str());
        EXPECT_EQ(NotifyAllClients("PO", "BOB", folder, "IMAP", 0, "news", -1), 2) << folder;
        testing::ReportRecorder reports;
        EXPECT_EQ(FlagFolderChanged("PO", "BOB", folder), 1);
        EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput),
                  "Folder=" + std::string(folder) + "::Folder Flagged to notify clients\n");
        EXPECT_EQ(ReadBytesOf(In(flagged + "\\_NOTIFY.NFY")), kFlagText) << folder;
        DeleteFileA(In(flagged + "\\_NOTIFY.NFY").c_str());
    }

    const std::string inbox_ = In("\\MAILROOT\\BOB\\Inbox\\");
};

TEST_F(Notify, FoldersLieWhereTheirNamesSay) {
    const std::string mailbox = "\\MAILROOT\\BOB\\";
    for (const char* name : {"Inbox", "Publican", "xyPublic", "$FILEROOTS"})
        ExpectPlaces(name, mailbox + name, mailbox + name);
    for (const auto& [name, path] : {std::pair{"Public", ""},
                                     {"public/News", "\\News"},
                                     {"\\Public\\News", ""},
                                     {"xPublic", ""}})
        ExpectPlaces(name, std::string("\\PUBROOT") + path, std::string("\\PUBROOT") + path);
    for (const auto& [name, path] : {std::pair{"$FILEROOT", "\\$FILEROOT"},
                                     {"$fileroot\\a\\b", "\\$FILEROOT\\a\\b"},
                                     {"/$FILEROOT/a", "\\$FILEROOT\\a"}})
        ExpectPlaces(name, path, mailbox + name);
    EXPECT_EQ(NotifyAllClients("", "BOB", "Inbox", "IMAP", 0, "news", 4), 0);
    EXPECT_EQ(FlagFolderChanged("PO", "BOB", "missing"), 1) << "told all the same";
}

struct NotifyOwnProcess : Notify {
    NotifyOwnProcess() : Notify(false) {}
};
TEST_F(NotifyOwnProcess, PublicFoldersLieInTheMailboxWhereThereAreNone) {
    const std::string path = "\\MAILROOT\\BOB\\Public\\News";
    ExpectPlaces("Public\\News", path, path);
}

// A lock whose release failed is not held: the walk takes it anew. Senders run under it.
TEST_F(Notify, AHeldLockIsUsedAndAnyOtherTaken) {
    static std::string block;
    block = inbox_ + "_activity.blk";
    SetRemoteNotifySender(
        [](const char*, const char*, const char*) { return PathExists(block) ? 0 : 1; });
    NotifyRequest request;
    request.remote = {"news", 4};
    for (const bool releaseFailed : {false, true}) {
        WriteBytesTo(inbox_ + "_activity.tab", testing::kOther);
        BlockFileLock lock(block, true, kWaitBeyondThreshold);
        if (releaseFailed) {
            CallRecorder calls;
            calls.FailAll("DeleteFile", ERROR_PATH_NOT_FOUND);
            lock.Release();
            EXPECT_EQ(lock.State(), LockState::ReleaseFailed);
            DeleteFileA(block.c_str());
        }
        EXPECT_EQ(NotifyClients_Ex(lock, nullptr, inbox_, request), 1);
        EXPECT_EQ(lock.State(), LockState::Held);
        EXPECT_EQ(testing::NamesIn(inbox_), (Names{"_activity.blk", "_activity.tab"}));
    }
    // Another may hold it for far longer than the threshold.
    File other(block, kCreateBlockFile);
    const CountingSleeper sleeper([&](int count) {
        if (count == 300) other.Close(), RemoveFile(block);
    });
    EXPECT_EQ(testing::CountAll(inbox_), "1");
    EXPECT_EQ(sleeper.Count(), 300);
}

// The stamp's open shares reading and deletion, not writing; the directory tells what it cannot.
TEST_F(Notify, TheStampComesFromTheDirectoryWhenTheFileDoesNotTell) {
    const std::string path = inbox_ + "_activity.tab";
    WriteBytesTo(path, testing::kOther);
    CallRecorder calls;
    for (const auto& [access, asked] :
         {std::pair{DWORD{GENERIC_WRITE}, "FindFirstFile _activity.tab"},
          {DWORD{DELETE}, "GetFileTime"}}) {
        const File holder(path, {access, kShareReadWrite | FILE_SHARE_DELETE, OPEN_EXISTING});
        calls.Clear();
        EXPECT_EQ(ReadActivityStamp(path), testing::StampOnDisk(inbox_));
        EXPECT_EQ(calls.Calls(), (Names{"CreateFile _activity.tab", asked}));
    }
    EXPECT_EQ(ReadActivityStamp(inbox_ + "none"), 0U);
}

// The waits before the flags go are real ones. Timers of the thread itself: a window would start
// Wine's desktop and outlive the test.
TEST_F(Notify, FlagsAreConsumedInTheMailboxAfterAWaitInWhichMessagesArrive) {
    EXPECT_EQ(ConsumeFolderChangeFlags("PO", "BOB", "Inbox"), 0);
    for (const char* name : {"_NOTIFY.NFY", "x.NFY"}) WriteBytesTo(inbox_ + name, "");
    testing::MakePath(In("\\PUBROOT\\News"));
    WriteBytesTo(In("\\PUBROOT\\News\\_NOTIFY.NFY"), "");
    EXPECT_EQ(ConsumeFolderChangeFlags("PO", "BOB", "Public\\News"), 0);
    static int arrived = 0;
    const UINT_PTR timer =
        SetTimer(nullptr, 0, 100, [](HWND, UINT, UINT_PTR, DWORD) { ++arrived; });
    const ULONGLONG begun = GetTickCount64();
    EXPECT_EQ(ConsumeFolderChangeFlags("PO", "BOB", "Inbox"), 1);
    EXPECT_GE(GetTickCount64() - begun, 900U);
    EXPECT_GT(arrived, 1);
    KillTimer(nullptr, timer);
    EXPECT_EQ(testing::NamesIn(inbox_), Names{"x.NFY"});
    WriteBytesTo(inbox_ + "_NOTIFY.NFY", "");
    const CountingSleeper sleeper;
    CallRecorder calls;
    calls.FailAll("DeleteFile", ERROR_SHARING_VIOLATION);
    EXPECT_EQ(ConsumeFolderChangeFlags("PO", "BOB", "Inbox"), 0) << "cannot be removed";
}

// Digits of a case are markers with these in their names, letters lines of the one that is left.
const Names kNumbers = {"3", "7", "07", "10", "0", "-4", "x", "5.6", "", "99999999999"};
const Names kTexts = {"one\r\n",
                      "two",
                      std::string(1000, 'c'),
                      std::string(45, 'g') + "\n",
                      std::string("x\0y\r\n", 5),
                      "\x1a"};

// The marker of several that is left, of those with one number the one found first, and what is
// appended to "x"; the other ones go.
std::string PlainMarkers(const std::string& mailbox, std::size_t size) {
    WIN32_FIND_DATAA found;
    const HANDLE search = FindFirstFileA((mailbox + "_*.NEW").c_str(), &found);
    long highest = 0;
    std::string name = "none";
    for (BOOL more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileA(search, &found)) {
        const long number = std::strtol(found.cFileName + 1, nullptr, 10);
        if (number > highest) highest = number, name = found.cFileName;
    }
    FindClose(search);
    std::string text = "x";
    char line[1024];
    FILE* const file = std::fopen((mailbox + name).c_str(), "r");
    while (file && std::fgets(line, sizeof line, file)) {
        if (text.size() + std::strlen(line) > std::min<std::size_t>(size - 1, 2047)) break;
        text += line;
    }
    if (file) std::fclose(file);
    return std::to_string(highest) + " " + text + (highest > 0 ? " " + name : "");
}

std::string MarkerDifference(const std::string& mailbox, const std::string& letters) {
    for (const std::string& name : testing::NamesIn(mailbox)) DeleteFileA((mailbox + name).c_str());
    std::string text;
    for (const char letter : letters) {
        if (letter >= 'a') text += kTexts[static_cast<std::size_t>(letter - 'a')];
    }
    for (const char letter : letters) {
        const auto number = static_cast<std::size_t>(letter - '0');
        if (letter < 'a') WriteBytesTo(mailbox + "_" + kNumbers[number] + ".NEW", text);
    }
    const std::size_t size = letters.size() % 3 == 0 ? 8 : 4000;
    const std::string plain = PlainMarkers(mailbox, size);
    std::vector<char> buffer(size, '\0');
    buffer[0] = 'x';
    std::string product = std::to_string(GetNewMessageCount("PO", "BOX", buffer));
    product += std::string(" ") + buffer.data();
    for (const std::string& name : testing::NamesIn(mailbox)) product += " " + name;
    return product == plain ? "" : product + "\nmodel: " + plain;
}

TEST_F(Notify, OnlyTheHighestMarkerSurvivesAndItsLinesAreAppendedWhileTheyFit) {
    testing::MakePath(In("\\MAILROOT\\BOX"));
    testing::CompareWithModel("0123456789abcdefcccdd", 2, 300, 8, [&](const std::string& text) {
        return MarkerDifference(In("\\MAILROOT\\BOX\\"), text);
    });
}

TEST_F(Notify, MarkersAreNumberedOnAndReplaceTheEarlierOnes) {
    const std::string last = In("\\MAILROOT\\BOB\\_2147483647.NEW");
    EXPECT_EQ(WriteNewMailMarker("PO", "BOB", ""), 1);
    EXPECT_EQ(WriteNewMailMarker("PO", "BOB", "two\r\nlines"), 1);
    // The one before goes when the next is counted.
    EXPECT_EQ(testing::NamesIn(In("\\MAILROOT\\BOB")), (Names{"Inbox", "_1.NEW", "_2.NEW"}));
    EXPECT_EQ(ReadBytesOf(In("\\MAILROOT\\BOB\\_2.NEW")), "two\r\nlines");
    WriteBytesTo(last, "old");
    WriteNewMailMarker("PO", "BOB", "new");
    EXPECT_EQ(ReadBytesOf(last), "new");
    EXPECT_EQ(WriteNewMailMarker("PO", "NOBODY", "x"), 1);
    char none = '\0';
    EXPECT_EQ(GetNewMessageCount("PO", "BOB", {&none, 1}), 2147483647);
    EXPECT_EQ(none, '\0');
}

TEST_F(Notify, WithoutMemoryNothingWasDone) {
    static const std::string marker = In("\\MAILROOT\\BOB\\_1.NEW");
    using Call = int (*)();
    std::vector<testing::Operation> operations;
    for (const Call call : {Call([] { return FlagFolderChanged("PO", "BOB", "Inbox"); }),
                            Call([] { return ConsumeFolderChangeFlags("PO", "BOB", "Inbox"); }),
                            Call([] { return WriteNewMailMarker("PO", "BOB", "x"); }),
                            Call([] { return GetNewMessageCount("PO", "BOB", {}); })}) {
        // Counting has an edge of its own, so that the first marker may be written without a count.
        operations.push_back({"notify flags",
                              [](const std::string&) { DeleteFileA(marker.c_str()); },
                              [call](const std::string&) { return std::to_string(call()); },
                              {{testing::Fault::Memory, "0|"}},
                              [](const testing::Trial& trial) {
                                  const bool written = trial.result == "1" && PathExists(marker);
                                  return written ? "0" : trial.result;
                              }});
    }
    testing::ExpectOutcomes(operations);
}

}  // namespace
}  // namespace tarnwick
