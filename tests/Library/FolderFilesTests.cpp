// The files of a folder beside its index: messages and what an index says of them, and the flags.
#include "Library/FolderFiles.h"

#include <gtest/gtest.h>

#include "Library/FolderFlags.h"
#include "Library/ItemIndexProperties.h"
#include "tests/Library/StoreFolders.h"

namespace tarnwick {
namespace {

using testing::ReadBytesOf;
using testing::ScratchFolder;
using testing::ScratchRegistry;
using testing::WriteBytesTo;

std::string NamesIn(const std::string& folder) {
    const auto files = ListMessageFiles(folder, "MAI");
    if (!files) return "failed";
    std::string names;
    for (const MessageFile& file : *files) names += file.name + " ";
    return names;
}

TEST(FolderFiles, AreTheMessageFilesInTheOrderOfTheirNames) {
    const ScratchRegistry registry;
    const ScratchFolder folder;
    EXPECT_EQ(NamesIn(folder.Path()), "");
    EXPECT_EQ(NamesIn(folder.Path("missing")), "failed");
    for (const char* name : {"b.MAI", "A.mai", "C.MAI", "_b.MAI", "d.MAIL", "MAI", "e.mai.txt"}) {
        WriteBytesTo(folder.Path(name), "1234");
    }
    testing::MakePath(folder.Path("folder.MAI"));
    EXPECT_EQ(NamesIn(folder.Path()), "A.mai b.MAI C.MAI ");
    const auto files = ListMessageFiles(folder.Path(), "MAI");
    EXPECT_EQ(files->front().size, 4U);
    EXPECT_EQ(files->front().lastWrite, File(folder.Path("A.mai"), kOpenRead).LastWriteTime());
    // A list that breaks off is not taken for the whole.
    const testing::AtCalls refusal("FindNextFile", "", testing::Refuse(ERROR_BAD_NETPATH));
    EXPECT_EQ(NamesIn(folder.Path()), "failed");
}

TEST(FolderFiles, AreCutAtTheRegistrysLimit) {
    if (!testing::IsAlone()) return;
    const ScratchRegistry registry;
    testing::SetProduct("Maximum Index Rows", 2);
    const ScratchFolder folder;
    for (const char* name : {"3.MAI", "1.MAI", "2.MAI"}) WriteBytesTo(folder.Path(name), "");
    EXPECT_EQ(NamesIn(folder.Path()), "1.MAI 2.MAI ");
}

std::string Card(const std::string& lines) {
    return "BEGIN:VCARD\r\nVERSION:3.0\r\n" + lines + "END:VCARD\r\n";
}
std::string Calendar(const std::string& kind, const std::string& lines) {
    return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:" + kind + "\r\n" + lines + "END:" + kind +
           "\r\nEND:VCALENDAR";
}

TEST(ItemIndexProperties, AreWhatTheFilesSay) {
    struct Row {
        std::uint32_t type;
        std::string text;
        std::string properties;
    };
    const std::string event =
        "DTSTART:20111231T080000Z\r\nSUMMARY:S\r\nPRIORITY:1\r\n"
        "CLASS:PRIVATE\r\nSTATUS:CONFIRMED\r\n";
    const Row rows[] = {
        {0, "To: b\r\n\r\n", "SIZE=9 RECEIVED=1293840000 TO=b "},
        {0, std::string(65534, 'x') + "\nTo: late\n", "SIZE=65544 RECEIVED=1293840000 "},
        {1, Card("N:Doe;Jo\r\nEMAIL:e\r\nNICKNAME:n\r\n"),
         "SIZE=68 MODIFIEDDATE=1293840000 SUBJECT=Jo Doe FROM=e "},
        {1, Card("N:Doe;\r\n"), "SIZE=45 MODIFIEDDATE=1293840000 SUBJECT=Doe "},
        {1, Card("N:;Jo\r\n"), "SIZE=44 MODIFIEDDATE=1293840000 SUBJECT=Jo "},
        {1, Card("NICKNAME:n\r\n"), "SIZE=49 MODIFIEDDATE=1293840000 SUBJECT=n "},
        {1, Card("FN:Anna Smith\r\n"), "SIZE=52 MODIFIEDDATE=1293840000 SUBJECT=Anna Smith "},
        {1, "none", "SIZE=4 MODIFIEDDATE=1293840000 "},
        {2, "text\r\n" + Calendar("VEVENT", event) + "\r\nmore",
         "SIZE=163 MODIFIEDDATE=1293840000 SUBJECT=S MESSAGEDATE=1325318400 "},
        {2, Calendar("VEVENT", event).substr(0, 60), "SIZE=60 MODIFIEDDATE=1293840000 "},
        {2, "END:VCALENDAR" + Calendar("VEVENT", "SUMMARY:S\r\n"),
         "SIZE=93 MODIFIEDDATE=1293840000 SUBJECT=S "},
        // A body that looks like its item's end, a cancelled event, damage behind the first.
        {2,
         "X-Item: 1\r\n\r\nBEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Tarnwick//Tarnwick//EN\r\n"
         "BEGIN:VEVENT\r\nDTSTART:\r\nDTEND:\r\nUID:\r\nLOCATION:\r\nDESCRIPTION:a\r\n"
         "SUMMARY:b\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n\r\nSUMMARY:Party\r\nLAST-MODIFIED:\r\n"
         "END:VEVENT\r\nEND:VCALENDAR\r\nbye",
         "SIZE=242 MODIFIEDDATE=1293840000 SUBJECT=Party "},
        {2, Calendar("VEVENT", "SUMMARY:S\r\nSTATUS:CANCELLED\r\n"),
         "SIZE=98 MODIFIEDDATE=1293840000 SUBJECT=S "},
        {2, Calendar("VEVENT", "SUMMARY:S\r\n") + "\r\nBEGIN:VEVENT\r\nEND:VCALENDAR",
         "SIZE=109 MODIFIEDDATE=1293840000 SUBJECT=S "},
        {3, Calendar("VTODO", event + "LAST-MODIFIED:20120101T000000Z\r\nPERCENT-COMPLETE:40\r\n"),
         "SIZE=202 MODIFIEDDATE=1293840000 SUBJECT=S MESSAGEDATE=1325318400 IMPORTANCE=2 "
         "SENSITIVITY=2 MODIFIEDDATE=1325376000 "},
        {3, Calendar("VTODO", ""), "SIZE=67 MODIFIEDDATE=1293840000 "},
        {54, "From: x\r\n\r\n", "SIZE=11 MODIFIEDDATE=1293840000 "},
    };
    const ScratchFolder folder;
    for (const Row& row : rows) {
        WriteBytesTo(folder.Path("F"), row.text);
        const MessageFile file{"F", row.text.size(), 129'383'136'000'000'000};
        std::string joined;
        for (const NamedValue& property : ItemIndexProperties(folder.Path(), row.type, file)) {
            joined += property.name + "=" + property.value + " ";
        }
        EXPECT_EQ(joined, row.properties) << row.text.substr(0, 200);
    }
    // One that gets shorter is read to its end.
    WriteBytesTo(folder.Path("F"), "To: b and more");
    {
        const testing::AtCalls cut("ReadFile", "", [&](int) {
            WriteBytesTo(folder.Path("F"), "To: b");
            return std::uint32_t{0};
        });
        EXPECT_EQ(ItemIndexProperties(folder.Path(), 0, {"F", 5, 0}).back().value, "b");
    }
    // What cannot be read has size and time all the same.
    for (const char* call : {"CreateFile", "GetFileSize", "ReadFile"}) {
        const testing::AtCalls refusal(call, "", testing::Refuse(ERROR_READ_FAULT));
        EXPECT_EQ(ItemIndexProperties(folder.Path(), 0, {"F", 7, 0}).size(), 2U);
    }
}

TEST(FolderFlags, ChangeFlagIsWrittenFoundAndCleared) {
    const ScratchFolder folder;
    EXPECT_FALSE(ClearFolderChanged(folder.Path()));
    EXPECT_TRUE(MarkFolderChanged(folder.Path()));
    EXPECT_EQ(ReadBytesOf(folder.Path("_CHANGE.DTY")),
              "This file is a flag file that denotes that this folder has been changed");
    EXPECT_TRUE(IsFolderMarkedChanged(folder.Path()));
    EXPECT_TRUE(ClearFolderChanged(folder.Path()));
    EXPECT_TRUE(folder.Names().empty());
    EXPECT_FALSE(MarkFolderChanged(folder.Path("missing")));
    for (const char* call : {"WriteFile", "CloseHandle"}) {
        const testing::AtCalls refusal(call, "", testing::Refuse(ERROR_DISK_FULL));
        EXPECT_FALSE(MarkFolderChanged(folder.Path())) << call;
    }
}

TEST(FolderFlags, CachedFlagDoesNothingUntilItIsSwitchedOn) {
    const ScratchFolder folder;
    EXPECT_FALSE(WriteCachedFlag(folder.Path()));
    WriteBytesTo(folder.Path("_CACHED.DTY"), "x");
    EXPECT_FALSE(HasCachedFlag(folder.Path()));
    EXPECT_FALSE(DeleteCachedFlag(folder.Path()));
    CachedTransactionsEnabled() = true;
    EXPECT_TRUE(WriteCachedFlag(folder.Path()));
    EXPECT_EQ(ReadBytesOf(folder.Path("_CACHED.DTY")),
              "This file is a flag file that there are cached transactions that are not written to "
              "disk.");
    EXPECT_TRUE(HasCachedFlag(folder.Path()));
    EXPECT_TRUE(DeleteCachedFlag(folder.Path()));
    EXPECT_FALSE(HasCachedFlag(folder.Path()));
    CachedTransactionsEnabled() = false;
}

}  // namespace
}  // namespace tarnwick
