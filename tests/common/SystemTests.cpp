// What the rooms share of the system: files, the registry, waits, mutexes and reports.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <thread>

#include "common/BlockFile.h"
#include "common/Guid.h"
#include "common/MutexLock.h"
#include "common/Registry.h"
#include "tests/support/ReportRecorder.h"
#include "tests/support/WindowsFixtures.h"

// Needs the Windows types of the headers above.
#include <sddl.h>

namespace {

bool clockStandsStill = false;
std::string logged;
const HANDLE kSource = reinterpret_cast<HANDLE>(std::uintptr_t{7});

void WINAPI NoteDebugString(LPCSTR text) {
    logged += std::string("debugger ") + text + "|";
    SetLastError(ERROR_INVALID_DATA);
}
HANDLE WINAPI OpenSource(LPCSTR server, LPCSTR name) {
    logged += std::string(server == nullptr ? "" : server) + name + " ";
    return kSource;
}
BOOL WINAPI NoteEvent(HANDLE source, WORD type, WORD category, DWORD event, PSID user, WORD count,
                      DWORD size, LPCSTR* strings, LPVOID /*data*/) {
    EXPECT_TRUE(source == kSource && category + size == 0 && event * count == 1 && !user);
    logged += std::to_string(type) + " " + strings[0] + " ";
    return TRUE;
}
BOOL WINAPI CloseSource(HANDLE /*source*/) {
    logged += "closed|";
    SetLastError(ERROR_INVALID_DATA);
    return TRUE;
}

DWORD mostWritten = MAXDWORD;

BOOL WINAPI WriteInPart(HANDLE file, LPCVOID bytes, DWORD size, LPDWORD count, LPOVERLAPPED at) {
    static const auto write = reinterpret_cast<decltype(&WriteFile)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("kernel32.dll"), "WriteFile")));
    return write(file, bytes, std::min(size, mostWritten), count, at);
}

}  // namespace

// In place of the C runtime's, which gives -1 in a process that is too old for it.
extern "C" std::clock_t clock() {
    return clockStandsStill ? -1 : static_cast<std::clock_t>(GetTickCount64() % 1'000'000'000);
}

// In place of the import library's: what this program's reports and files call.
extern "C" {
decltype(&OutputDebugStringA) __imp_OutputDebugStringA = NoteDebugString;
decltype(&RegisterEventSourceA) __imp_RegisterEventSourceA = OpenSource;
decltype(&ReportEventA) __imp_ReportEventA = NoteEvent;
decltype(&DeregisterEventSource) __imp_DeregisterEventSource = CloseSource;
decltype(&WriteFile) __imp_WriteFile = WriteInPart;
}

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::CountingSleeper;
using testing::ScratchFolder;
using testing::ScratchRegistry;

TEST(Files, ABlockFileIsItsMakersAlone) {
    const ScratchFolder folder;
    const File made(folder.Path("a.blk"), kCreateBlockFile);
    EXPECT_TRUE(made.IsOpen());
    EXPECT_FALSE(File(folder.Path("a.blk"), kOpenRead).IsOpen());
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
}

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
    EXPECT_EQ(FileBytes(7 << 20).RoomSize(), (7U << 20) * 5 / 4);
    EXPECT_LT(FileBytes(1).RoomSize(), 7U << 20) << "as no larger buffer is kept";
    FileBytes grown(1);
    const char* const freed = grown.Room();
    grown.Grow();
    EXPECT_NE(grown.Room(), freed);
    ASSERT_TRUE(File(path, kOpenTruncate).Write(std::string(300000, 'x')));
    for (int number = 2; number < 5; ++number) {
        FileBytes::FreeKept();
        CallRecorder calls;
        calls.FailAll("GetFileSize", ERROR_NETNAME_DELETED);
        calls.FailCall(number + 1, ERROR_NETNAME_DELETED);
        EXPECT_EQ(ReadWholeFile(path), std::nullopt) << number;
        EXPECT_EQ(calls.Calls().back(), "ReadFile");
    }
    CallRecorder calls;
    calls.onCall = [&path](const SystemCall& call) {
        if (call.name == "ReadFile") testing::WriteBytesTo(path, "short");
        return 0U;
    };
    EXPECT_EQ(ReadWholeFile(path), "short") << "than its size said";
}

TEST(Files, AShortWriteIsAFullDisk) {
    const ScratchFolder folder;
    mostWritten = 2;
    EXPECT_FALSE(File(folder.Path("f"), kOpenTruncate).Write("whole"));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DISK_FULL));
    EXPECT_EQ(ReadWholeFile(folder.Path("f")), "wh");
}

TEST(Files, AskingQuicklyGivesWhatASearchFinds) {
    const ScratchFolder folder;
    ASSERT_TRUE(File(folder.Path("Y11.BLK"), kOpenTruncate).IsOpen());
    ASSERT_TRUE(MakeDirectory(folder.Path("made.BLK")));
    const std::pair<const char*, bool> rows[] = {
        {"Y11.BLK", true}, {"y11.blk", true}, {"Y12.BLK", false},       {"Y1?.BLK", true},
        {"*.BLK", true},   {"Z*.BLK", false}, {"made.BLK", true},       {"made.BLK\\", false},
        {"*", true},       {"?11.BLK", true}, {"none\\Y11.BLK", false}, {"no|name.BLK", false}};
    for (const auto& [pattern, isFound] : rows) {
        EXPECT_EQ(FileExists(folder.Path(pattern)), isFound) << pattern;
        EXPECT_EQ(FileExistsQuickly(folder.Path(pattern)), isFound) << pattern;
    }
    // A file that cannot be asked for is looked for.
    CallRecorder calls;
    calls.FailAll("GetFileAttributes", ERROR_ACCESS_DENIED);
    EXPECT_TRUE(FileExistsQuickly(folder.Path("Y11.BLK")));
}

TEST(Registry, DefaultsApplyOnlyWhenAValueCannotBeRead) {
    const ScratchRegistry registry;
    EXPECT_EQ(RegistryDwordOr(kProvidersKey, "Apply Timeout", 20), 20U);
    const char* const key = "SOFTWARE\\Tarnwick\\Tarnwick\\Providers";
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, key, "Apply Timeout", 0);
    EXPECT_EQ(RegistryDwordOr(kProvidersKey, "Apply Timeout", 20), 0U);
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, "", "Under no key", 8);
    EXPECT_EQ(RegistryDwordOr("", "Under no key", 20), 20U);
    ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, key, "Text", "seven");
    EXPECT_EQ(RegistryDwordOr(kProvidersKey, "Text", 20), 20U);
    char text[8] = "before";
    const auto read = [&text](std::size_t size) {
        return ReadRegistryString(RegistryRoot::CurrentUser, "A", "B", std::span(text, size));
    };
    EXPECT_TRUE(!read(0) && text == std::string("before"));
    EXPECT_TRUE(!read(8) && text == std::string());
    ScratchRegistry::SetString(HKEY_CURRENT_USER, "A", "B", "1234567");
    EXPECT_TRUE(read(8) && text == std::string("1234567"));
    ScratchRegistry::SetString(HKEY_CURRENT_USER, "A", "B", "12345678");
    EXPECT_TRUE(!read(8) && text == std::string());
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

// Messages to the thread itself: a window would start Wine's desktop and outlive the test.
TEST(Waits, MessagesOfTheThreadAreDispatchedMeanwhile) {
    MSG message;
    {
        const CountingSleeper sleeper(
            [](int) { PostThreadMessageA(GetCurrentThreadId(), WM_APP, 0, 0); });
        WaitDispatchingMessages(1000);
        EXPECT_FALSE(PeekMessageA(&message, nullptr, 0, 0, PM_NOREMOVE));
        EXPECT_EQ(sleeper.TotalMilliseconds(), 1000U);
    }
    static int timersSeen = 0;
    for (int seen = 1; seen < 3; ++seen) {
        SetTimer(nullptr, 0, USER_TIMER_MINIMUM, [](HWND, UINT, UINT_PTR timer, DWORD) {
            timersSeen += KillTimer(nullptr, timer);
        });
        for (int tries = 0; tries < 100 && timersSeen < seen; ++tries) WaitDispatchingMessages(20);
        EXPECT_EQ(timersSeen, seen);
    }
}

TEST(Waits, AClockThatStandsStillKeepsNobody) {
    clockStandsStill = true;
    WaitDispatchingMessages(20);
    std::atomic<bool> ended = false;
    std::thread poster([&ended, thread = GetCurrentThreadId()] {
        while (!ended) PostThreadMessageA(thread, WM_APP, 0, 0);
    });
    WaitDispatchingMessages(20);
    ended = true;
    poster.join();
}

// Notes what it is asked and answers with one verdict after the second wait.
struct ScriptedRule {
    BlockVerdict verdict;
    bool freesFile;
    std::string path;
    std::string asked;

    bool MayWait(DWORD error, std::uint32_t waits) {
        asked += std::to_string(error) + "?" + std::to_string(waits) + " ";
        return waits < 4 && asked.size() < 40;
    }
    BlockVerdict AfterWait(DWORD error, std::uint32_t waits) {
        asked += std::to_string(error) + "!" + std::to_string(waits) + " ";
        if (waits != 2) return BlockVerdict::TryAgain;
        if (freesFile) RemoveFile(path);
        return verdict;
    }
};

TEST(BlockFile, FollowsItsRule) {
    const std::pair<ScriptedRule, std::string> rows[] = {
        {{BlockVerdict::TryAgain, true, "", ""}, "2000 held"},
        {{BlockVerdict::TryAgain, false, "", ""}, "80?2 80!3 80?3 80!4 80?4 4000"},
        {{BlockVerdict::StartOver, false, "", ""}, "80?0 80!1 80?1 80!2 80?0 4000"},
        {{BlockVerdict::TryLast, true, "", ""}, "2000 held"},
        {{BlockVerdict::TryLast, false, "", ""}, "2000"},
        {{BlockVerdict::GiveUp, true, "", ""}, "2000"},
    };
    for (auto [rule, expected] : rows) {
        const ScratchFolder folder;
        const CountingSleeper sleeper;
        rule.path = folder.Path("a.blk");
        testing::WriteBytesTo(rule.path, "");
        const bool isHeld = WaitForBlockFile(rule.path, rule).IsOpen();
        EXPECT_EQ(
            rule.asked + std::to_string(sleeper.TotalMilliseconds()) + (isHeld ? " held" : ""),
            "80?0 80!1 80?1 80!2 " + expected);
    }
}

// What an xMutexLock throws, with its line; empty when it locks.
std::string Failure(HANDLE mutex, DWORD timeout) {
    try {
        const xMutexLock lock(mutex, timeout);
        return "";
    } catch (const LibraryException& failure) {
        EXPECT_STREQ(failure.Source(), "xMutexLock");
        return std::string(failure.what()) + " @" + std::to_string(failure.Line());
    }
}

TEST(MutexLock, ThrowsOrTellsWhyItIsNotLocked) {
    const ObjectHandle mutex(CreateMutexA(nullptr, FALSE, nullptr));
    const HANDLE handle = mutex.Get();
    const std::string hex = ::testing::PrintToString(handle);
    const auto elsewhere = [](auto act) { std::thread(act).join(); };
    const auto abandon = [=] { WaitForSingleObject(handle, INFINITE); };
    {
        const xMutexLock held(handle, INFINITE);
        elsewhere([=] {
            EXPECT_EQ(Failure(handle, 0),
                      "Failed to lock mutex " + hex + ": request timed out @71");
            EXPECT_FALSE(MutexLock(handle, 0).IsLocked());
        });
    }
    // An abandoned one throws once and is free afterwards.
    elsewhere(abandon);
    EXPECT_EQ(Failure(handle, 0), "Mutex " + hex + " was abandoned by another thread @78");
    elsewhere([=] { EXPECT_EQ(Failure(handle, 0), ""); });
    elsewhere(abandon);
    EXPECT_TRUE(MutexLock(handle, 0).IsLocked());
    elsewhere([=] { EXPECT_TRUE(MutexLock(handle, 0).IsLocked()); });

    const HANDLE noHandle = reinterpret_cast<HANDLE>(std::uintptr_t{0x7770});
    EXPECT_EQ(Failure(noHandle, 0), "Failed to lock mutex 0x7770 with error 6 @86");
    EXPECT_FALSE(MutexLock(noHandle, 0).IsLocked());
    // None counts as locked.
    EXPECT_TRUE(Failure(nullptr, 0).empty() && MutexLock(nullptr, 0).IsLocked());
}

TEST(Reports, GoEachToThePlaceOfItsKind) {
    ::testing::internal::CaptureStdout();
    SetLastError(77);
    PrintStandardOutput("printed\n");
    Trace(std::string_view("traced and more", 6));
    Report(ReportChannel::EventLogInformation, "told");
    Report(ReportChannel::EventLogWarning, "warned");
    Report(ReportChannel::EventLogError, "failed");
    EXPECT_EQ(GetLastError(), 77U) << "a report keeps it";
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "printed\n");
    EXPECT_EQ(logged,
              "debugger traced|Tarnwick 4 [common_tests.exe] told closed|"
              "Tarnwick 2 [common_tests.exe] warned closed|"
              "Tarnwick 1 [common_tests.exe] failed closed|");
}

}  // namespace
}  // namespace tarnwick
