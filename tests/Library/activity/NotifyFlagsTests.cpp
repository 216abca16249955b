#include <gtest/gtest.h>

#include "common/Files.h"
#include "common/Registry.h"
#include "Library/activity/NotifyFlags.h"
#include "tests/support/ReportRecorder.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::CountingSleeper;
using testing::MakePath;
using testing::PathExists;
using testing::ReadBytesOf;
using testing::ReportRecorder;
using testing::ScratchFolder;
using testing::ScratchRegistry;
using testing::WriteBytesTo;

// A mail root with a postoffice "PO".
class NotifyFlags : public ::testing::Test {
  protected:
    NotifyFlags() {
        ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root", root_.Path());
        for (const char* folder : {"MAILROOT\\BOB\\Inbox", "MAILROOT\\BOB\\Public\\News",
                                   "MAILROOT\\BOB\\$FILEROOT", "PUBROOT\\News"}) {
            MakePath(In(folder));
        }
    }

    std::string In(const std::string& path) const { return root_.Path("PO\\" + path); }
    std::string Marker(const std::string& number) const {
        return In("MAILROOT\\BOB\\_" + number + ".NEW");
    }
    std::vector<std::string> Markers() const {
        std::vector<std::string> names;
        DirectoryScan scan(In("MAILROOT\\BOB\\*.NEW"));
        while (auto found = scan.Next()) names.push_back(found->name);
        return names;
    }

    ScratchRegistry registry_;
    ScratchFolder root_;
    ReportRecorder reports_;
};

constexpr const char* kFlagText =
    "This file is a flag file that denotes that this folder has been changed";

TEST_F(NotifyFlags, AreWrittenWhereTheFolderLies) {
    for (const auto& [folder, path] : {std::pair{"Inbox", "MAILROOT\\BOB\\Inbox"},
                                       {"public/News", "PUBROOT\\News"},
                                       {"/Public/News", "PUBROOT"},
                                       {"$FILEROOT", "MAILROOT\\BOB\\$FILEROOT"}}) {
        reports_.Take();
        EXPECT_EQ(FlagFolderChanged("PO", "BOB", folder), 1);
        EXPECT_EQ(ReadBytesOf(In(path) + "\\_NOTIFY.NFY"), kFlagText) << folder;
        EXPECT_EQ(reports_.Joined(ReportChannel::StandardOutput),
                  "Folder=" + std::string(folder) + "::Folder Flagged to notify clients\n");
    }
    reports_.Take();
    EXPECT_EQ(FlagFolderChanged("PO", "BOB", "missing"), 1);
    EXPECT_EQ(reports_.Joined(ReportChannel::StandardOutput),
              "Folder=missing::Folder Flagged to notify clients\n");
}

TEST_F(NotifyFlags, OfPublicFoldersLieInTheMailboxWhereThereAreNone) {
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "Public Folders Enabled", 0);
    FlagFolderChanged("PO", "BOB", "Public\\News");
    EXPECT_EQ(ReadBytesOf(In("MAILROOT\\BOB\\Public\\News\\_NOTIFY.NFY")), kFlagText);
}

TEST_F(NotifyFlags, AreConsumedAfterAWaitEach) {
    const CountingSleeper sleeper;
    EXPECT_EQ(ConsumeFolderChangeFlags("PO", "BOB", "Inbox"), 0);
    EXPECT_EQ(sleeper.Count(), 0);
    FlagFolderChanged("PO", "BOB", "Inbox");
    WriteBytesTo(In("MAILROOT\\BOB\\Inbox\\_x.NFY"), "");
    WriteBytesTo(In("MAILROOT\\BOB\\Inbox\\x.NFY"), "");
    EXPECT_EQ(ConsumeFolderChangeFlags("PO", "BOB", "Inbox"), 1);
    EXPECT_EQ(sleeper.TotalMilliseconds(), 2000U);
    EXPECT_TRUE(PathExists(In("MAILROOT\\BOB\\Inbox\\x.NFY")));
    EXPECT_EQ(ConsumeFolderChangeFlags("PO", "BOB", "Inbox"), 0) << "none is left";
    FlagFolderChanged("PO", "BOB", "Public\\News");
    EXPECT_EQ(ConsumeFolderChangeFlags("PO", "BOB", "Public\\News"), 0) << "in the mailbox alone";
    FlagFolderChanged("PO", "BOB", "Inbox");
    CallRecorder calls;
    calls.FailAll("DeleteFile", ERROR_SHARING_VIOLATION);
    EXPECT_EQ(ConsumeFolderChangeFlags("PO", "BOB", "Inbox"), 0) << "cannot be removed";
}

TEST_F(NotifyFlags, OnlyTheHighestMarkerSurvives) {
    struct Case {
        std::vector<std::string> numbers;
        int highest;
        std::vector<std::string> left;
    };
    const Case cases[] = {
        {{}, 0, {}},
        {{"3", "7", "5"}, 7, {"_7.NEW"}},
        {{"0", "-4", "x", ""}, 0, {}},
        {{"10", "9"}, 10, {"_10.NEW"}},
        {{"07", "7"}, 7, {"_07.NEW"}},  // the one found first
        {{"5.6", "4"}, 5, {"_5.6.NEW"}},
        {{"99999999999", "8"}, 2147483647, {"_99999999999.NEW"}},
    };
    for (const Case& row : cases) {
        for (const std::string& number : row.numbers) WriteBytesTo(Marker(number), "");
        EXPECT_EQ(GetNewMessageCount("PO", "BOB", {}), row.highest);
        EXPECT_EQ(Markers(), row.left);
        for (const std::string& name : row.left) RemoveFile(In("MAILROOT\\BOB\\" + name));
    }
}

TEST_F(NotifyFlags, MarkersAreNumberedOnAndReplaceTheEarlierOnes) {
    EXPECT_EQ(WriteNewMailMarker("PO", "BOB", ""), 1);
    EXPECT_EQ(WriteNewMailMarker("PO", "BOB", "two\r\nlines"), 1);
    // The one before goes when the next is counted.
    EXPECT_EQ(Markers(), (std::vector<std::string>{"_1.NEW", "_2.NEW"}));
    EXPECT_EQ(ReadBytesOf(Marker("2")), "two\r\nlines");
    EXPECT_EQ(GetNewMessageCount("PO", "BOB", {}), 2);
    WriteBytesTo(Marker("2147483647"), "old");
    WriteNewMailMarker("PO", "BOB", "new");
    EXPECT_EQ(Markers(), std::vector<std::string>{"_2147483647.NEW"});
    EXPECT_EQ(ReadBytesOf(Marker("2147483647")), "new");
    EXPECT_EQ(WriteNewMailMarker("PO", "NOBODY", "x"), 1);
}

TEST_F(NotifyFlags, TheSurvivingMarkersLinesAreAppendedWhileTheyFit) {
    const std::string line(1000, 'a');
    struct Case {
        const char* name;
        std::string before;
        std::size_t size;
        std::string marker;
        std::string after;
    };
    const Case cases[] = {
        {"appended, line breaks as text mode gives them", "x", 100, "one\r\ntwo", "xone\ntwo"},
        {"the line that does not fit ends it", "", 7, "one\r\ntwo\r\n3", "one\n"},
        {"to the last character", "", 8, "one\r\ntwo", "one\ntwo"},
        {"2047 characters at most", "", 4000, line + "\n" + line + "\n" + line.substr(955),
         line + "\n" + line + "\n" + line.substr(955)},
        {"2048 are too many", "", 4000, line + "\n" + line + "\n" + line.substr(954),
         line + "\n" + line + "\n"},
        {"a long line comes in pieces of 1023, each whole or not at all", "", 4000,
         line + line + line, std::string(2046, 'a')},
        {"no room at all", "", 1, "x", ""},
    };
    for (const Case& row : cases) {
        WriteBytesTo(Marker("4"), row.marker);
        std::vector<char> text(row.size, '\0');
        std::copy(row.before.begin(), row.before.end(), text.begin());
        EXPECT_EQ(GetNewMessageCount("PO", "BOB", text), 4) << row.name;
        EXPECT_EQ(std::string(text.data()), row.after) << row.name;
    }
}

}  // namespace
}  // namespace tarnwick
