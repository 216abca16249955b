// The files of a folder beside its index: messages and what an index says of them, and the flags.
#include "Library/FolderFiles.h"

#include <gtest/gtest.h>

#include "Library/FolderFlags.h"
#include "Library/ItemIndexProperties.h"
#include "tests/Library/StoreFolders.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::ReadBytesOf;
using testing::ScratchFolder;
using testing::WriteBytesTo;

std::string NamesIn(const std::string& folder) {
    const auto files = ListMessageFiles(folder, "MAI");
    if (!files) return "failed";
    std::string names;
    for (const MessageFile& file : *files) names += file.name + " ";
    return names;
}

TEST(FolderFiles, AreTheMessageFilesInTheOrderOfTheirNamesUpToTheLimit) {
    if (!testing::IsAlone()) return;
    const testing::ScratchRegistry registry;
    testing::SetProduct("Maximum Index Rows", 3);
    const ScratchFolder folder;
    EXPECT_EQ(NamesIn(folder.Path()), "");
    EXPECT_EQ(NamesIn(folder.Path("missing")), "failed");
    for (const char* name : {"b.MAI", "A.mai", "C.MAI", "_b.MAI", "d.MAIL", "MAI", "e.mai.txt"}) {
        WriteBytesTo(folder.Path(name), "1234");
    }
    testing::MakePath(folder.Path("0.MAI"));
    EXPECT_EQ(NamesIn(folder.Path()), "A.mai b.MAI C.MAI ");
    const auto files = ListMessageFiles(folder.Path(), "MAI");
    EXPECT_EQ(files->front().size, 4U);
    EXPECT_EQ(files->front().lastWrite, File(folder.Path("A.mai"), kOpenRead).LastWriteTime());
    WriteBytesTo(folder.Path("d.MAI"), "");
    EXPECT_EQ(NamesIn(folder.Path()), "A.mai b.MAI C.MAI ");
    // A list that breaks off is not taken for the whole.
    CallRecorder calls;
    calls.FailAll("FindNextFile", ERROR_BAD_NETPATH);
    EXPECT_EQ(NamesIn(folder.Path()), "failed");
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
        "DTSTART:20111231T080000Z\r\nSUMMARY:S\r\nPRIORITY:1\r\nCLASS:PRIVATE\r\n"
        "STATUS:CONFIRMED\r\n";
    const Row rows[] = {
        {0, "From: a\r\nTO:b\r\ncc: c \r\nSubject: d\r\nDate: e\r\n\r\nFrom: body\r\n",
         "FROM=a TO=b CC=c SUBJECT=d MESSAGEDATE=e "},
        {0, "Subject: one\r\n\ttwo\r\n   three \r\nTo: x", "SUBJECT=one two three TO=x "},
        {0, "To: a\nTo: b\n\n", "TO=a "},
        {0, "Subject:\r\n late\r\n\r\n", "SUBJECT=late "},
        {0, "X-From: a\r\n From: no\r\nFrom: b\r\n", "FROM=b "},
        {0, "\r\nFrom: a\r\n", ""},
        {0, std::string(65534, 'x') + "\nTo: late\n", ""},
        {0, std::string(65531, 'x') + "\nTo: cut\n", "TO= "},
        {1, Card("N:Doe;Jo\r\nEMAIL:e\r\nNICKNAME:n\r\n"), "SUBJECT=Jo Doe FROM=e "},
        {1, Card("N:Doe;\r\n"), "SUBJECT=Doe "},
        {1, Card("N:;Jo\r\n"), "SUBJECT=Jo "},
        {1, Card("NICKNAME:n\r\n"), "SUBJECT=n "},
        {1, Card("FN:Anna Smith\r\n"), "SUBJECT=Anna Smith "},
        {1, "none", ""},
        {2, "text\r\n" + Calendar("VEVENT", event) + "\r\nmore",
         "SUBJECT=S MESSAGEDATE=1325318400 "},
        {2, Calendar("VEVENT", event).substr(0, 60), ""},
        {2, "END:VCALENDAR" + Calendar("VEVENT", "SUMMARY:S\r\n"), "SUBJECT=S "},
        // A body that looks like its item's end, a cancelled event, damage behind the first.
        {2,
         "X-Item: 1\r\n\r\nBEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Tarnwick//Tarnwick//EN\r\n"
         "BEGIN:VEVENT\r\nDTSTART:\r\nDTEND:\r\nUID:\r\nLOCATION:\r\nDESCRIPTION:a\r\n"
         "SUMMARY:b\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n\r\nSUMMARY:Party\r\nLAST-MODIFIED:\r\n"
         "END:VEVENT\r\nEND:VCALENDAR\r\nbye",
         "SUBJECT=Party "},
        {2, Calendar("VEVENT", "SUMMARY:S\r\nSTATUS:CANCELLED\r\n"), "SUBJECT=S "},
        {2, Calendar("VEVENT", "SUMMARY:S\r\n") + "\r\nBEGIN:VEVENT\r\nEND:VCALENDAR",
         "SUBJECT=S "},
        {3, Calendar("VTODO", event + "LAST-MODIFIED:20120101T000000Z\r\nPERCENT-COMPLETE:40\r\n"),
         "SUBJECT=S MESSAGEDATE=1325318400 IMPORTANCE=2 SENSITIVITY=2 MODIFIEDDATE=1325376000 "},
        {3, Calendar("VTODO", ""), ""},
        {54, "From: x\r\n\r\n", ""},
    };
    const ScratchFolder folder;
    const auto propertiesOf = [&](std::uint32_t type) {
        std::string joined;
        const MessageFile file{"F", 7, 129'383'136'000'000'000};
        for (const NamedValue& property : ItemIndexProperties(folder.Path(), type, file)) {
            joined += property.name + "=" + property.value + " ";
        }
        return joined;
    };
    for (const Row& row : rows) {
        WriteBytesTo(folder.Path("F"), row.text);
        const char* const time = row.type == 0 ? "RECEIVED" : "MODIFIEDDATE";
        EXPECT_EQ(propertiesOf(row.type),
                  std::string("SIZE=7 ") + time + "=1293840000 " + row.properties)
            << row.text.substr(0, 200);
    }
    // One that gets shorter is read to its end.
    const std::string none = "SIZE=7 RECEIVED=1293840000 ";
    WriteBytesTo(folder.Path("F"), "To: b and more");
    {
        CallRecorder calls;
        calls.onCall = [&](const SystemCall& call) -> std::uint32_t {
            if (call.name == "ReadFile") WriteBytesTo(folder.Path("F"), "To: b");
            return 0;
        };
        EXPECT_EQ(propertiesOf(0), none + "TO=b ");
    }
    // What cannot be read has size and time all the same.
    for (const char* call : {"CreateFile F", "GetFileSize", "ReadFile"}) {
        CallRecorder calls;
        calls.FailAll(call, ERROR_READ_FAULT);
        EXPECT_EQ(propertiesOf(0), none);
    }
}

TEST(FolderFlags, AreWrittenFoundAndClearedTheCachedOneWhenSwitchedOn) {
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
        CallRecorder calls;
        calls.FailAll(call, ERROR_DISK_FULL);
        EXPECT_FALSE(MarkFolderChanged(folder.Path())) << call;
    }
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
