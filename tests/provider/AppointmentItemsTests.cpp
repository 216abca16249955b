#include "provider/AppointmentItems.h"

#include <gtest/gtest.h>

#include "common/Files.h"
#include "provider/FreeBusy.h"
#include "tests/provider/CalendarFixture.h"

namespace tarnwick {
namespace {

using testing::AttachedCalendarTest;
using testing::CallRecorder;

class AppointmentItems : public AttachedCalendarTest {
  protected:
    AppointmentItems() {
        StoreField(item_.postoffice, "PO");
        StoreField(item_.mailbox, "box");
        StoreField(item_.itemFileName, "a.itm");
        testing::MakePath(folder_);
    }
    void SetData(const std::string& bytes) {
        std::fill(std::begin(item_.data), std::end(item_.data), '#');
        std::copy(bytes.begin(), bytes.end(), item_.data);
    }
    std::string Data() const { return {item_.data, static_cast<std::size_t>(item_.length)}; }
    static std::int32_t Offset() { return Shared().itemReadOffset; }

    AppointmentItemRecord item_{};
};

TEST_F(AppointmentItems, WritesStopAtTheFirstNul) {
    SetData(std::string("abc\0def", 7));
    EXPECT_TRUE(WriteFirstItemChunk(item_));
    EXPECT_EQ(item_.length, 3);
    SetData(std::string("\n\x1a", 3));
    EXPECT_TRUE(WriteNextItemChunk(item_));
    EXPECT_EQ(ContentOf("a.itm"), "abc\n\x1a");
    SetData(std::string(1, '\0'));
    EXPECT_TRUE(WriteNextItemChunk(item_));
    EXPECT_EQ(item_.length, 0);
    EXPECT_EQ(ContentOf("a.itm"), "abc\n\x1a");
    EXPECT_TRUE(WriteFirstItemChunk(item_));
    EXPECT_EQ(ContentOf("a.itm"), "");
    // Without a NUL all of it is written.
    RemoveFile(InFolder("a.itm"));
    SetData("");
    EXPECT_TRUE(WriteNextItemChunk(item_));  // makes the file too
    EXPECT_EQ(item_.length, 8192);
    EXPECT_EQ(ContentOf("a.itm"), std::string(8192, '#'));
}

TEST_F(AppointmentItems, WritesSucceedWithoutAFileOrRoom) {
    item_.length = 7;
    StoreField(item_.mailbox, "nobody");
    EXPECT_TRUE(WriteFirstItemChunk(item_));
    EXPECT_TRUE(WriteNextItemChunk(item_));
    EXPECT_EQ(item_.length, 7);
    EXPECT_TRUE(DeleteItem(item_));
    StoreField(item_.mailbox, "box");
    SetData(std::string("abc", 4));
    CallRecorder calls;
    calls.FailAll("WriteFile", ERROR_DISK_FULL);
    EXPECT_TRUE(WriteFirstItemChunk(item_));
    EXPECT_EQ(item_.length, 3);
}

TEST_F(AppointmentItems, AByteIsSkippedBetweenTwoChunks) {
    std::string content;
    while (content.size() < 20000) content += static_cast<char>(content.size() * 7 % 251);
    Put("a.itm", content);
    EXPECT_TRUE(ReadFirstItemChunk(item_));
    EXPECT_EQ(Data(), content.substr(0, 8192));
    EXPECT_EQ(Offset(), 8192);
    EXPECT_TRUE(ReadNextItemChunk(item_));
    EXPECT_EQ(Data(), content.substr(8193, 8192));
    EXPECT_TRUE(ReadNextItemChunk(item_));
    EXPECT_EQ(Data(), content.substr(16386));
    EXPECT_EQ(item_.length, 3614);
    EXPECT_EQ(Offset(), 20000);
    EXPECT_FALSE(ReadNextItemChunk(item_));
    EXPECT_EQ(item_.length, 0);
    EXPECT_EQ(Offset(), 20001);
}

TEST_F(AppointmentItems, AnEmptyFileHasNoChunkAndAMissingOneLeavesTheOffset) {
    Put("a.itm", "");
    EXPECT_EQ(Offset(), -1);
    item_.length = 7;
    EXPECT_FALSE(ReadFirstItemChunk(item_));
    EXPECT_EQ(item_.length, 0);
    EXPECT_EQ(Offset(), 0);
    item_.length = 7;
    StoreField(item_.itemFileName, "missing");
    EXPECT_FALSE(ReadNextItemChunk(item_));
    EXPECT_EQ(item_.length, 7);
    EXPECT_EQ(Offset(), 0);
    EXPECT_FALSE(ReadFirstItemChunk(item_));
    EXPECT_EQ(Offset(), -1);
}

TEST_F(AppointmentItems, TheOffsetWrapsAroundAndReadsNothingThere) {
    Put("a.itm", "abc");
    Shared().itemReadOffset = 2147483647;
    EXPECT_FALSE(ReadNextItemChunk(item_));
    EXPECT_EQ(Offset(), -2147483647 - 1);
    EXPECT_EQ(item_.length, 0);
}

TEST_F(AppointmentItems, AReadThatFailsIsAnEmptyChunk) {
    Put("a.itm", "abc");
    for (const char* name : {"SetFilePointer", "ReadFile"}) {
        CallRecorder calls;
        calls.FailAll(name, ERROR_ACCESS_DENIED);
        item_.length = 7;
        EXPECT_FALSE(ReadFirstItemChunk(item_)) << name;
        EXPECT_EQ(item_.length, 0) << name;
    }
}

TEST_F(AppointmentItems, TheSizeIsTheTimeOfTheLastAccess) {
    Put("a.itm", "abc");
    Shared().itemReadOffset = 7;
    {
        // 2011-08-03 12:00 UTC: 0x01CC51D4'C3AF0000 and a few in 100 ns units.
        const FILETIME accessed{0xC3AF1234, 0x01CC51D4};
        const File file(InFolder("a.itm"), {FILE_WRITE_ATTRIBUTES, kShareReadWrite, OPEN_EXISTING});
        ASSERT_TRUE(SetFileTime(file.Native(), nullptr, &accessed, nullptr));
    }
    const auto found = DirectoryScan(InFolder("a.itm")).Next();
    ASSERT_TRUE(found.has_value());
    EXPECT_FALSE(StoreItemSize(item_));
    EXPECT_EQ(item_.length, static_cast<std::int32_t>(0xC3AF1234));
    EXPECT_EQ(Offset(), -1);
    StoreField(item_.itemFileName, "missing");
    Shared().itemReadOffset = 7;
    EXPECT_FALSE(StoreItemSize(item_));
    EXPECT_EQ(item_.length, 0);
    EXPECT_EQ(Offset(), -1);
}

TEST_F(AppointmentItems, TheSecondWriterDeletesBeforeItWrites) {
    Put("a.itm", "longer than before");
    SetData(std::string("abc", 4));
    CallRecorder calls;
    EXPECT_EQ(RewriteItem(item_), 1U);
    EXPECT_EQ(calls.Calls(), (std::vector<std::string>{"DeleteFile a.itm", "CreateFile a.itm",
                                                       "WriteFile", "CloseHandle"}));
    EXPECT_EQ(ContentOf("a.itm"), "abc");
}

class FreeBusy : public AttachedCalendarTest {
  protected:
    FreeBusy() {
        StoreField(scan_.postoffice, "PO");
        StoreField(scan_.mailbox, "box");
    }
    FreeBusyRecord scan_{};
};

TEST_F(FreeBusy, ListsWhatStandsBetweenACapitalDAndTheNextDot) {
    const struct {
        std::vector<std::string> files;
        const char* prefix;
        const char* result;
        int length;
    } rows[] = {
        {{}, "", "", 77},  // finding nothing leaves the length
        {{"Y11.CAL"}, "", "", 0},
        // An empty day is appended too, and leaves no trace at the beginning.
        {{"d01.CAL", "wedge.CAL", "aD.CAL", "bD7.8.CAL"}, "", "7", 1},
        {{"Y11M08D03.CAL", "Y11M08.CAL", "Y11M08D15.CAL", "Y11M09D01.CAL", "Y11M08D20.BAK",
          "Y11M08D21.CAL.txt"},
         "Y11M08",
         "03,15",
         5},
        {{"Y11M08D03.CAL", "Y11M09D01.CAL", "Y11M09D01.BLK"}, "", "03,01", 5},
    };
    const testing::CountingSleeper sleeper;
    for (const auto& row : rows) {
        for (const std::string& name : testing::SortedNamesIn(folder_)) RemoveFile(InFolder(name));
        for (const std::string& name : row.files) Put(name, "");
        StoreField(scan_.namePrefix, row.prefix);
        StoreField(scan_.result, "x");
        scan_.resultLength = 77;
        EXPECT_TRUE(ScanFreeBusy(scan_));
        EXPECT_STREQ(scan_.result, row.result);
        EXPECT_EQ(scan_.resultLength, row.length) << row.result;
    }
    EXPECT_EQ(sleeper.Count(), 0) << "a block file is nothing to it";
}

TEST_F(FreeBusy, TheListEndsBeforeTheDayThatDoesNotFit) {
    // 127 characters a day, as many as a day may have, and a comma: 64 fill 8191.
    for (int number = 100; number < 164; ++number) {
        Put("D" + std::to_string(number) + std::string(150, 'x') + ".CAL", "");
    }
    Put("zD.CAL", "");  // an empty day, but there is no room for its comma
    EXPECT_TRUE(ScanFreeBusy(scan_));
    EXPECT_EQ(scan_.resultLength, 64 * 128 - 1);
    EXPECT_EQ(std::string(scan_.result).size(), 8191U);
    EXPECT_EQ(scan_.result[8191], '\0');
}

}  // namespace
}  // namespace tarnwick
