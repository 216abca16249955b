#include "Library/FolderFiles.h"

#include <gtest/gtest.h>

#include "common/Registry.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
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
    for (const char* name : {"b.MAI", "A.mai", "C.MAI", "_b.MAI", "d.MAIL", "MAI", "e.mai.txt"}) {
        WriteBytesTo(folder.Path(name), "1234");
    }
    testing::MakePath(folder.Path("folder.MAI"));
    EXPECT_EQ(NamesIn(folder.Path()), "A.mai b.MAI C.MAI ");
    const auto files = ListMessageFiles(folder.Path(), "MAI");
    EXPECT_EQ(files->front().size, 4U);
    EXPECT_GT(files->front().lastWrite, 0U);
}

TEST(FolderFiles, AreCutAtTheRegistrysLimit) {
    const ScratchRegistry registry;
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "Maximum Index Rows", 2);
    const ScratchFolder folder;
    for (const char* name : {"3.MAI", "1.MAI", "2.MAI"}) WriteBytesTo(folder.Path(name), "");
    EXPECT_EQ(NamesIn(folder.Path()), "1.MAI 2.MAI ");
}

TEST(FolderFiles, AListThatBreaksOffIsNotTakenForTheWhole) {
    const ScratchRegistry registry;
    const ScratchFolder folder;
    EXPECT_EQ(NamesIn(folder.Path("missing")), "failed");
    for (const char* name : {"1.MAI", "2.MAI"}) WriteBytesTo(folder.Path(name), "");
    CallRecorder calls;
    calls.FailCall(2, ERROR_BAD_NETPATH);
    EXPECT_EQ(NamesIn(folder.Path()), "failed");
}

}  // namespace
}  // namespace tarnwick
