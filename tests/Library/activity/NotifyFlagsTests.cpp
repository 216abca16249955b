#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Library/activity/NotifyFlags.h"
#include "tests/Library/activity/ActivityFixtures.h"
#include "tests/support/Faults.h"
#include "tests/support/Model.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::CountingSleeper;
using testing::PathExists;
using testing::Postoffice;
using testing::ReadBytesOf;
using testing::WriteBytesTo;

constexpr const char* kFlagText =
    "This file is a flag file that denotes that this folder has been changed";

std::string FlagOf(const Postoffice& office, const char* folder, const std::string& path) {
    testing::ReportRecorder reports;
    testing::MakePath(office.In(path));
    EXPECT_EQ(FlagFolderChanged(office.Name(), "BOB", folder), 1);
    EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput),
              "Folder=" + std::string(folder) + "::Folder Flagged to notify clients\n");
    return ReadBytesOf(office.In(path) + "\\_NOTIFY.NFY");
}

TEST(NotifyFlags, AreWrittenWhereTheFolderLies) {
    const Postoffice office;
    for (const auto& [folder, path] : {std::pair{"Inbox", "MAILROOT\\BOB\\Inbox"},
                                       {"public/News", "PUBROOT\\News"},
                                       {"/Public/News", "PUBROOT"},
                                       {"$FILEROOT", "MAILROOT\\BOB\\$FILEROOT"}}) {
        EXPECT_EQ(FlagOf(office, folder, path), kFlagText) << folder;
    }
    EXPECT_EQ(FlagOf(office, "missing", "PUBROOT\\missing"), "") << "told all the same";
}

TEST(NotifyFlagsOwnProcess, OfPublicFoldersLieInTheMailboxWhereThereAreNone) {
    EXPECT_EQ(FlagOf(Postoffice(false), "Public\\News", "MAILROOT\\BOB\\Public\\News"), kFlagText);
}

TEST(NotifyFlags, AreConsumedAfterAWaitEach) {
    const Postoffice office;
    const CountingSleeper sleeper;
    const auto consume = [&](const char* folder) {
        return ConsumeFolderChangeFlags(office.Name(), "BOB", folder);
    };
    EXPECT_EQ(consume("Inbox"), 0);
    EXPECT_EQ(sleeper.Count(), 0);
    for (const char* name : {"_NOTIFY.NFY", "_x.NFY", "x.NFY"}) {
        WriteBytesTo(office.In("MAILROOT\\BOB\\Inbox\\") + name, "");
    }
    EXPECT_EQ(consume("Inbox"), 1);
    EXPECT_EQ(sleeper.TotalMilliseconds(), 2000U);
    EXPECT_TRUE(PathExists(office.In("MAILROOT\\BOB\\Inbox\\x.NFY")));
    EXPECT_EQ(consume("Inbox"), 0) << "none is left";
    FlagOf(office, "Public\\News", "PUBROOT\\News");
    EXPECT_EQ(consume("Public\\News"), 0) << "in the mailbox alone";
    FlagOf(office, "Inbox", "MAILROOT\\BOB\\Inbox");
    CallRecorder calls;
    calls.FailAll("DeleteFile", ERROR_SHARING_VIOLATION);
    EXPECT_EQ(consume("Inbox"), 0) << "cannot be removed";
}

// The wait before a flag goes is a real one. Timers of the thread itself: a window would start
// Wine's desktop and outlive the test.
TEST(NotifyFlags, MessagesReachTheirReceiverWhileAFlagIsConsumed) {
    const Postoffice office;
    FlagOf(office, "Inbox", "MAILROOT\\BOB\\Inbox");
    static int arrived = 0;
    const UINT_PTR timer =
        SetTimer(nullptr, 0, 100, [](HWND, UINT, UINT_PTR, DWORD) { ++arrived; });
    const ULONGLONG begun = GetTickCount64();
    EXPECT_EQ(ConsumeFolderChangeFlags(office.Name(), "BOB", "Inbox"), 1);
    EXPECT_GE(GetTickCount64() - begun, 900U);
    EXPECT_GT(arrived, 1);
    KillTimer(nullptr, timer);
}

// Digits of a case are markers with these in their names, letters lines of the one that is left.
const std::string kNumbers[] = {"3", "7", "07", "10", "0", "-4", "x", "5.6", "", "99999999999"};
const std::string kTexts[] = {"one\r\n",
                              "two",
                              std::string(1000, 'c'),
                              std::string(45, 'g') + "\n",
                              std::string("x\0y\r\n", 5),
                              "\x1a"};

// The marker that is left and what is appended to "x", by the plain rules. Of two markers with one
// number the one found first stays.
std::string PlainMarkers(const std::string& mailbox, std::size_t size) {
    WIN32_FIND_DATAA found;
    const HANDLE search = FindFirstFileA((mailbox + "\\_*.NEW").c_str(), &found);
    long highest = 0;
    std::string name = "none";
    for (BOOL more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileA(search, &found)) {
        const long number = std::strtol(found.cFileName + 1, nullptr, 10);
        if (number > highest) highest = number, name = found.cFileName;
    }
    FindClose(search);
    std::string text = "x";
    char line[1024];
    FILE* const file = std::fopen((mailbox + "\\" + name).c_str(), "r");
    while (file && std::fgets(line, sizeof line, file)) {
        if (text.size() + std::strlen(line) > std::min<std::size_t>(size - 1, 2047)) break;
        text += line;
    }
    if (file) std::fclose(file);
    return std::to_string(highest) + " " + name + " " + text;
}

std::string MarkerDifference(const Postoffice& office, const std::string& letters) {
    const std::string mailbox = office.In("MAILROOT\\BOB");
    std::string text;
    for (const char letter : letters) {
        if (letter >= 'a') text += kTexts[letter - 'a'];
    }
    for (const char letter : letters) {
        if (letter < 'a') WriteBytesTo(mailbox + "\\_" + kNumbers[letter - '0'] + ".NEW", text);
    }
    const std::size_t size = letters.size() % 3 == 0 ? 8 : 4000;
    const std::string plain = PlainMarkers(mailbox, size);
    std::vector<char> buffer(size, '\0');
    buffer[0] = 'x';
    const std::int32_t count = GetNewMessageCount(office.Name(), "BOB", buffer);
    std::string left = "none";
    WIN32_FIND_DATAA found;
    const HANDLE search = FindFirstFileA((mailbox + "\\_*.NEW").c_str(), &found);
    for (BOOL more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileA(search, &found)) {
        left = left == "none" ? found.cFileName : "several";
        DeleteFileA((mailbox + "\\" + found.cFileName).c_str());
    }
    FindClose(search);
    const std::string product = std::to_string(count) + " " + left + " " + buffer.data();
    return product == plain ? "" : product + "\nmodel: " + plain;
}

TEST(NotifyFlags, OnlyTheHighestMarkerSurvivesAndItsLinesAreAppendedWhileTheyFit) {
    const Postoffice office;
    testing::CompareWithModel("0123456789abcdefcccdd", 2, 300, 8, [&](const std::string& text) {
        return MarkerDifference(office, text);
    });
    EXPECT_EQ(GetNewMessageCount(office.Name(), "BOB", {}), 0);
}

TEST(NotifyFlags, MarkersAreNumberedOnAndReplaceTheEarlierOnes) {
    const Postoffice office;
    const auto marker = [&](const std::string& number) {
        return office.In("MAILROOT\\BOB\\_" + number + ".NEW");
    };
    EXPECT_EQ(WriteNewMailMarker(office.Name(), "BOB", ""), 1);
    EXPECT_EQ(WriteNewMailMarker(office.Name(), "BOB", "two\r\nlines"), 1);
    // The one before goes when the next is counted.
    EXPECT_TRUE(PathExists(marker("1")));
    EXPECT_EQ(ReadBytesOf(marker("2")), "two\r\nlines");
    WriteBytesTo(marker("2147483647"), "old");
    WriteNewMailMarker(office.Name(), "BOB", "new");
    EXPECT_EQ(ReadBytesOf(marker("2147483647")), "new");
    EXPECT_EQ(WriteNewMailMarker(office.Name(), "NOBODY", "x"), 1);
    char none = '\0';
    EXPECT_EQ(GetNewMessageCount(office.Name(), "BOB", {&none, 1}), 2147483647);
    EXPECT_EQ(none, '\0');
}

TEST(NotifyFlags, WithoutMemoryNothingWasDone) {
    static const Postoffice office;
    static const std::string kMarker = office.In("MAILROOT\\BOB\\_1.NEW");
    using Call = int (*)();
    const Call kCalls[] = {[] { return FlagFolderChanged(office.Name(), "BOB", "Inbox"); },
                           [] { return ConsumeFolderChangeFlags(office.Name(), "BOB", "Inbox"); },
                           [] { return WriteNewMailMarker(office.Name(), "BOB", "x"); },
                           [] { return GetNewMessageCount(office.Name(), "BOB", {}); }};
    std::vector<testing::Operation> operations;
    for (const Call call : kCalls) {
        // Counting has an edge of its own, so that the first marker may be written without a count.
        operations.push_back({"",
                              [](const std::string&) { DeleteFileA(kMarker.c_str()); },
                              [call](const std::string&) { return std::to_string(call()); },
                              {{testing::Fault::Memory, "0|"}},
                              [](const testing::Trial& trial) {
                                  const bool written = trial.result == "1" && PathExists(kMarker);
                                  return written ? "0" : trial.result;
                              }});
    }
    testing::ExpectOutcomes(operations);
}

}  // namespace
}  // namespace tarnwick
