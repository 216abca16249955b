// The files of a folder beside its index, messages and flags, and its mutex.
#include "Library/FolderFiles.h"

#include <gtest/gtest.h>

#include <thread>

#include "common/MutexLock.h"
#include "Library/FolderMutex.h"
#include "Library/FolderScan.h"
#include "tests/Library/StoreFolders.h"
#include "tests/support/ReportRecorder.h"

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

// What an index says of a mail in a file.
std::string Said(const std::string& folder) {
    StoreIndex index;
    EXPECT_TRUE(AddUnknownFiles(index, folder, kMailFolder));
    return testing::Describe(index);
}

TEST(FolderScan, TakesWhatItCanReadOfAFile) {
    const ScratchFolder folder;
    const std::string path = folder.Path("F.MAI");
    StoreIndex none;
    EXPECT_FALSE(AddUnknownFiles(none, folder.Path(), FolderType(9))) << "no such type";
    WriteBytesTo(path, "To: b and more");
    std::string received = Said(folder.Path());
    received = received.substr(0, received.find(",SIZE"));
    EXPECT_EQ(received.find("F.MAI:1[RECEIVED=") + 1, 1U);
    EXPECT_EQ(Said(folder.Path()), received + ",SIZE=14,TO=b and more] ");
    // One that gets shorter is read to its end.
    {
        CallRecorder calls;
        calls.onCall = [&](const SystemCall& call) -> std::uint32_t {
            if (call.name == "ReadFile") WriteBytesTo(path, "To: b");
            return 0;
        };
        EXPECT_TRUE(Said(folder.Path()).ends_with(",SIZE=14,TO=b] "));
    }
    for (const char* call : {"CreateFile F.MAI", "GetFileSize", "ReadFile"}) {
        CallRecorder calls;
        calls.FailAll(call, ERROR_READ_FAULT);
        EXPECT_TRUE(Said(folder.Path()).ends_with(",SIZE=5] ")) << call;
    }
    WriteBytesTo(path, std::string(70000, 'x') + "\nTo: a\n");
    CallRecorder calls;
    std::size_t reads = 0;
    EXPECT_TRUE(Said(folder.Path()).ends_with(",SIZE=70007] "));
    for (const std::string& call : calls.Calls()) reads += call == "ReadFile" ? 1 : 0;
    EXPECT_EQ(reads, 1U);
}

// The model shows the mark of a change.
TEST(FolderFlags, FailWithTheirCallsAndTheCachedOneIsWrittenWhenSwitchedOn) {
    const ScratchFolder folder;
    EXPECT_FALSE(MarkFolderChanged(folder.Path("missing")));
    for (const char* call : {"WriteFile", "CloseHandle"}) {
        CallRecorder calls;
        calls.FailAll(call, ERROR_DISK_FULL);
        EXPECT_FALSE(MarkFolderChanged(folder.Path())) << call;
    }
    for (const bool enabled : {false, true}) {
        CachedTransactionsEnabled() = enabled;
        WriteBytesTo(folder.Path("_CACHED.DTY"), "x");
        EXPECT_EQ(WriteCachedFlag(folder.Path()), enabled);
        EXPECT_EQ(ReadBytesOf(folder.Path("_CACHED.DTY")),
                  enabled ? "This file is a flag file that there are cached transactions that are "
                            "not written to disk."
                          : "x");
        EXPECT_EQ(HasCachedFlag(folder.Path()), enabled);
        EXPECT_EQ(DeleteCachedFlag(folder.Path()), enabled);
        EXPECT_EQ(testing::PathExists(folder.Path("_CACHED.DTY")), !enabled);
    }
    EXPECT_FALSE(HasCachedFlag(folder.Path()));
    CachedTransactionsEnabled() = false;
}

TEST(FolderMutex, ARefusedOneIsOpenedAndWithoutItTheTraceSaysSo) {
    const testing::ReportRecorder reports;
    const auto openWithRefusal = [] {
        CallRecorder calls;
        calls.FailAll("CreateMutex", ERROR_ACCESS_DENIED);
        return OpenFolderMutex("C:\\Refused");
    };
    EXPECT_FALSE(openWithRefusal().IsValid());
    EXPECT_EQ(reports.Joined(ReportChannel::Trace),
              "No mutex for folder C:\\Refused, error 5: going on without");
    const ObjectHandle created = OpenFolderMutex("C:\\Refused");
    const xMutexLock held(created.Get(), 0);
    const ObjectHandle opened = openWithRefusal();
    std::thread([&] { EXPECT_FALSE(MutexLock(opened.Get(), 0).IsLocked()); }).join();
    EXPECT_TRUE(opened.IsValid());
}

TEST(FolderMutexName, IsOneForEverySpellingOfAFolder) {
    const std::string name = FolderMutexName("Z:\\Mail\\PO\\Inbox");
    for (const char* spelling :
         {"z:/mail/po/inbox", "Z:\\Mail\\\\PO\\Inbox\\", "Z:\\Mail\\x\\..\\PO/Inbox//"}) {
        EXPECT_EQ(FolderMutexName(spelling), name) << spelling;
    }
    EXPECT_EQ(FolderMutexName("Z:\\B\xC4R"), FolderMutexName("z:\\b\xE4r"));
    EXPECT_NE(FolderMutexName("Z:\\Mail\\PO\\Inbox2"), name);
}

}  // namespace
}  // namespace tarnwick
