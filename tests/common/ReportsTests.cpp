// Where reports go when nobody watches: each kind to its own place, byte for byte.
#include "common/Reports.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <io.h>

#include <cstdio>

#include "common/WindowsApi.h"
#include "tests/support/WindowsFixtures.h"

namespace {

std::string logged;

void WINAPI NoteDebugString(LPCSTR text) {
    logged += std::string("debugger ") + text + "|";
    SetLastError(ERROR_INVALID_DATA);
}
HANDLE WINAPI OpenSource(LPCSTR server, LPCSTR name) {
    logged += std::string(server == nullptr ? "" : server) + name + " ";
    return reinterpret_cast<HANDLE>(std::uintptr_t{7});
}
BOOL WINAPI NoteEvent(HANDLE source, WORD type, WORD category, DWORD event, PSID user, WORD count,
                      DWORD size, LPCSTR* strings, LPVOID /*data*/) {
    EXPECT_EQ(source, reinterpret_cast<HANDLE>(std::uintptr_t{7}));
    EXPECT_TRUE(category == 0 && event == 1 && user == nullptr && count == 1 && size == 0);
    logged += std::to_string(type) + " " + strings[0] + " ";
    return TRUE;
}
BOOL WINAPI CloseSource(HANDLE /*source*/) {
    logged += "closed|";
    SetLastError(ERROR_INVALID_DATA);
    return TRUE;
}

}  // namespace

// In place of the import library's: what this program's reports call.
extern "C" {
decltype(&OutputDebugStringA) __imp_OutputDebugStringA = NoteDebugString;
decltype(&RegisterEventSourceA) __imp_RegisterEventSourceA = OpenSource;
decltype(&ReportEventA) __imp_ReportEventA = NoteEvent;
decltype(&DeregisterEventSource) __imp_DeregisterEventSource = CloseSource;
}

namespace tarnwick {
namespace {

TEST(Reports, GoEachToThePlaceOfItsKind) {
    const testing::ScratchFolder folder;
    std::fflush(stdout);
    const int real = _dup(1);
    const int file = _open(folder.Path("out").c_str(), _O_CREAT | _O_RDWR | _O_BINARY, 0600);
    _dup2(file, 1);
    SetLastError(77);
    PrintStandardOutput("printed\n");
    Trace(std::string_view("traced and more", 6));
    Report(ReportChannel::EventLogInformation, "told");
    Report(ReportChannel::EventLogWarning, "warned");
    Report(ReportChannel::EventLogError, "failed");
    const DWORD error = GetLastError();
    std::fflush(stdout);
    _dup2(real, 1);
    _close(file), _close(real);
    EXPECT_EQ(error, 77U) << "a report keeps it";
    EXPECT_EQ(testing::ReadBytesOf(folder.Path("out")), "printed\n");
    EXPECT_EQ(logged,
              "debugger traced|Tarnwick 4 [common_tests.exe] told closed|"
              "Tarnwick 2 [common_tests.exe] warned closed|"
              "Tarnwick 1 [common_tests.exe] failed closed|");
}

}  // namespace
}  // namespace tarnwick
