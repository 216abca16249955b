// What the doctor says of waits, against the library's own waiting, counted; and what it makes of
// facts that no machine of a test has.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "Library/activity/BlockFileLock.h"
#include "Library/IndexBlockFile.h"
#include "provider/CalendarLock.h"
#include "tests/provider/CalendarFixture.h"
#include "tools/admin/doctor/Examination.h"

namespace tarnwick::admin {
namespace {

constexpr const char* kKey = "PO\\MAILROOT\\box\\Calendar\\Y11M08";

class DoctorWaits : public testing::AttachedCalendarTest {
  protected:
    // The seconds that the action waits while a block file, held open or not, is there.
    std::uint64_t Counted(const std::string& name, bool isHeld, void (*action)(std::string path)) {
        Put(name, "");
        const File held = isHeld ? File(InFolder(name), kOpenRead) : File();
        const testing::CountingSleeper sleeper;
        action(InFolder(name));
        return sleeper.TotalMilliseconds() / 1000;
    }
    void Compare(const char* wait, std::uint64_t counted) {
        EXPECT_EQ(SecondsOfWait(WaitTimes(root_.Path()), wait), counted) << wait;
    }
};

TEST_F(DoctorWaits, AreThoseOfTheLibraryOwnProcess) {
    const auto acquire = [](std::string) { AcquireCalendarBlock(kKey); };
    // The defaults come first: what the store library reads, it reads once.
    for (const std::uint32_t limit : {99u, 0u, 1u, 7u, 40u, 0x80000000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(limit);
        if (limit != 99) {
            for (const char* name :
                 {"Read Wait Timeout", "Write Wait Timeout", "UnBlock Timeout", "Apply Timeout"}) {
                SetTimeout(name, limit);
            }
        }
        Compare("reader-breaks",
                Counted("Y11M08.BLK", false, [](std::string) { WaitForCalendarUnblocked(kKey); }));
        // Wine takes the name that no file can have for one that no file has, and nobody lingers.
        Compare("writer-gives-up", Counted("Y11M08.BLK", false, acquire));
        Compare("block-removal",
                Counted("Y11M08.BLK", true, [](std::string) { ReleaseCalendarBlock(kKey); }));
        std::filesystem::remove(InFolder("Y11M08.BLK"));
        // Both steps: the replacement cannot take the name of a calendar that stays.
        const std::uint64_t steps = Counted("Y11M08.CAL", true, [](std::string path) {
            testing::WriteBytesTo(path.substr(0, path.size() - 3) + "TMP", "");
            ApplyCalendarUpdate(kKey);
        });
        Compare("swap-step", steps / 2);
    }
    const auto scan = [](std::string path) { WaitForAccessToIndexFileEx(path); };
    const auto enter = [](std::string path) { WaitForAccessToFile(path, nullptr, false, 0); };
    const auto leave = [](std::string path) { UnBlockIndexFileAccess_Notify(path, nullptr); };
    const auto waits = WaitTimes(root_.Path());
    Compare("scan-breaks", Counted("_index.blk", false, scan));
    EXPECT_EQ(Counted("_index.blk", true, scan),
              *SecondsOfWait(waits, "scan-breaks") + *SecondsOfWait(waits, "scan-removal"));
    Compare("activity-breaks", Counted("_activity.blk", false, enter));
    Compare("activity-removal", Counted("_activity.blk", true, leave));
}

// The library's name for a blocked calendar's file is one that no file can have on a drive alone.
TEST_F(DoctorWaits, AWriterLingersOnDrives) {
    const std::pair<const char*, bool> roots[] = {{"D:\\Mail", true},
                                                  {"d:Mail", true},
                                                  {"\\\\server\\mail", false},
                                                  {"M", false},
                                                  {"", false}};
    for (const std::uint32_t timeout : {80U, 7U}) {
        SetTimeout("UnBlock Timeout", timeout);
        for (const auto& [root, isOnDrive] : roots) {
            EXPECT_EQ(SecondsOfWait(WaitTimes(root), "writer-lingers"), isOnDrive ? timeout + 1 : 0)
                << root;
        }
    }
}

TEST_F(DoctorWaits, FactsAreJudgedOneByOne) {
    Facts fine;
    fine.root = fine.wholeRoot = "D:\\Mail";
    fine.rootFolder = {fine.root, true, true};
    fine.hasPostoffice = fine.programFolder.isThere = fine.library.isBesideTool = true;
    fine.waits = WaitTimes(fine.root);
    fine.clock.unixTime = 1767225600;
    const auto has = [&](const std::string& code, auto change) {
        Facts facts = fine;
        change(facts);
        const std::vector<Advice> all = Examine(facts);
        return std::ranges::any_of(all, [&](const Advice& advice) { return advice.code == code; });
    };
    for (const auto& [time, isWrong] : {std::pair{1704067199LL, true},
                                        {1704067200LL, false},
                                        {2147483647LL, false},
                                        {2147483648LL, true},
                                        {0LL, true}}) {
        EXPECT_EQ(has("clock-wrong", [&](Facts& facts) { facts.clock.unixTime = time; }), isWrong)
            << time;
    }
    for (const bool isBeside : {true, false}) {
        EXPECT_EQ(
            has("library-elsewhere", [&](Facts& facts) { facts.library.isBesideTool = isBeside; }),
            !isBeside);
        // What cannot be used has no other fault.
        EXPECT_FALSE(has("library-elsewhere", [&](Facts& facts) {
            facts.library.isBesideTool = isBeside;
            facts.library.fault = "no library";
        }));
    }
    for (const char* root : {"D:\\Mail", "D:Mail", "\\Mail", "Mail", "\\\\server\\mail"}) {
        const bool isRelative = root[1] != ':' ? root[1] != '\\' : root[2] != '\\';
        EXPECT_EQ(has("mail-root-relative", [&](Facts& facts) { facts.root = root; }), isRelative)
            << root;
    }
}

}  // namespace
}  // namespace tarnwick::admin
