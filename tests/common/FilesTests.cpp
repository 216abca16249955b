#include <gtest/gtest.h>

#include "common/Clock.h"
#include "common/Files.h"
#include "common/Guid.h"
#include "common/Registry.h"
#include "common/Reports.h"
#include "tests/support/WindowsFixtures.h"

// Needs the Windows types of the headers above.
#include <sddl.h>

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::ScratchFolder;
using testing::ScratchRegistry;

TEST(Files, ABlockFileIsItsMakersAlone) {
    const ScratchFolder folder;
    const File made(folder.Path("a.blk"), kCreateBlockFile);
    EXPECT_TRUE(made.IsOpen());
    EXPECT_FALSE(File(folder.Path("a.blk"), kOpenRead).IsOpen());
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
}

// Empties a file just before somebody reads.
class Emptier : public CallObserver {
  public:
    explicit Emptier(const std::string& path) : path_(path) { SetCallObserver(this); }
    ~Emptier() override { SetCallObserver(nullptr); }
    std::uint32_t BeforeCall(const SystemCall& call) override {
        if (call.name == "ReadFile") testing::WriteBytesTo(path_, "short");
        return 0;
    }

  private:
    std::string path_;
};

TEST(Files, AreReadToTheirEndWhateverTheirSizeSaid) {
    const ScratchFolder folder;
    const std::string path = folder.Path("f");
    for (const std::size_t size : {0U, 1U, 65535U, 65536U, 65537U, 200000U}) {
        std::string bytes(size, 'x');
        if (size != 0) bytes.back() = 'y';
        ASSERT_TRUE(File(path, kOpenTruncate).Write(bytes));
        EXPECT_EQ(ReadWholeFile(path), bytes) << size;
        // As of a file that grows meanwhile.
        CallRecorder calls;
        calls.FailAll("GetFileSize", ERROR_INVALID_FUNCTION);
        EXPECT_EQ(ReadWholeFile(path), bytes) << size;
    }
    EXPECT_EQ(ReadWholeFile(folder.Path("missing")), std::nullopt);
    ASSERT_TRUE(File(path, kOpenTruncate).Write(std::string(300000, 'x')));
    for (int number = 2; number < 5; ++number) {
        FileBytes::FreeKept();
        CallRecorder calls;
        calls.FailAll("GetFileSize", ERROR_NETNAME_DELETED);
        calls.FailCall(number + 1, ERROR_NETNAME_DELETED);
        EXPECT_EQ(ReadWholeFile(path), std::nullopt) << number;
        EXPECT_EQ(calls.Calls().back(), "ReadFile");
    }
    const Emptier emptier(path);
    EXPECT_EQ(ReadWholeFile(path), "short") << "than its size said";
}

TEST(Files, AskingQuicklyGivesWhatASearchFinds) {
    struct Case {
        const char* pattern;
        bool found;
    };
    const ScratchFolder folder;
    ASSERT_TRUE(File(folder.Path("Y11.BLK"), kOpenTruncate).IsOpen());
    ASSERT_TRUE(MakeDirectory(folder.Path("made.BLK")));
    for (const Case& row :
         {Case{"Y11.BLK", true}, Case{"y11.blk", true}, Case{"Y12.BLK", false},
          Case{"Y1?.BLK", true}, Case{"*.BLK", true}, Case{"Z*.BLK", false}, Case{"made.BLK", true},
          Case{"made.BLK\\", false}, Case{"none\\Y11.BLK", false}, Case{"no|name.BLK", false}}) {
        EXPECT_EQ(FileExists(folder.Path(row.pattern)), row.found) << row.pattern;
        EXPECT_EQ(FileExistsQuickly(folder.Path(row.pattern)), row.found) << row.pattern;
    }
    // A file that cannot be asked for is looked for.
    CallRecorder calls;
    calls.FailAll("GetFileAttributes", ERROR_ACCESS_DENIED);
    EXPECT_TRUE(FileExistsQuickly(folder.Path("Y11.BLK")));
}

TEST(Registry, DefaultsApplyOnlyWhenAValueCannotBeRead) {
    const ScratchRegistry registry;
    EXPECT_EQ(RegistryDwordOr(kProvidersKey, "Apply Timeout", 20), 20U);
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProvidersKey, "Apply Timeout", 0);
    EXPECT_EQ(RegistryDwordOr(kProvidersKey, "Apply Timeout", 20), 0U);
    std::uint32_t number = 7;
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, "", "Under no key", 8);
    EXPECT_FALSE(ReadRegistryDword(RegistryRoot::LocalMachine, "", "Under no key", number));
    ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProvidersKey, "Text", "seven");
    EXPECT_FALSE(ReadRegistryDword(RegistryRoot::LocalMachine, kProvidersKey, "Text", number));
    EXPECT_EQ(number, 7U);
}

TEST(Registry, ReadingNeedsTheRightToReadAlone) {
    const ScratchRegistry registry;
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, "A", "B", 7);
    HKEY key = nullptr;
    RegOpenKeyExA(HKEY_LOCAL_MACHINE, "A", 0, WRITE_DAC, &key);
    const RegistryKey opened(key);
    PSECURITY_DESCRIPTOR readOnly = nullptr;
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorA(
        "D:P(A;;KRSDWD;;;WD)", SDDL_REVISION_1, &readOnly, nullptr));
    ASSERT_EQ(RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, readOnly), ERROR_SUCCESS);
    LocalFree(readOnly);
    HKEY all = nullptr;
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "A", 0, KEY_ALL_ACCESS, &all), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegistryDwordOr("A", "B", 1), 7U);
}

TEST(Registry, StringsLeaveTheEmptyTextWhenUnreadable) {
    const ScratchRegistry registry;
    char text[8] = "before";
    EXPECT_FALSE(ReadRegistryString(RegistryRoot::CurrentUser, "A", "B", std::span(text, 0)));
    EXPECT_STREQ(text, "before");
    EXPECT_FALSE(ReadRegistryString(RegistryRoot::CurrentUser, "A", "B", text));
    EXPECT_STREQ(text, "");
    ScratchRegistry::SetString(HKEY_CURRENT_USER, "A", "B", "1234567");
    EXPECT_TRUE(ReadRegistryString(RegistryRoot::CurrentUser, "A", "B", text));
    EXPECT_STREQ(text, "1234567");
    ScratchRegistry::SetString(HKEY_CURRENT_USER, "A", "B", "12345678");
    EXPECT_FALSE(ReadRegistryString(RegistryRoot::CurrentUser, "A", "B", text));
    EXPECT_STREQ(text, "");
}

TEST(Guid, EachIsNewUnlessReplaced) {
    const Guid first = NewGuid();
    const Guid second = NewGuid();
    EXPECT_TRUE(first.data1 != second.data1 || first.data4 != second.data4);
    EXPECT_EQ(first.data3 >> 12, 4) << "a random one says so";
    SetGuidSource([] { return Guid{1, 2, 3, {4}}; });
    EXPECT_EQ(NewGuid().data1, 1U);
    SetGuidSource(nullptr);
    EXPECT_EQ(NewGuid().data3 >> 12, 4);
}

}  // namespace
}  // namespace tarnwick
