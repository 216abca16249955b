// Setting a client in activity files of growing size against the file calls that it cannot do
// without.
#include <functional>
#include <string>

#include "bench/BenchReport.h"
#include "common/WindowsApi.h"
#include "Library/activity/ActivityFile.h"
#include "Library/activity/ClientState.h"

namespace {

using namespace tarnwick;
using bench::BenchReport;

struct Paths {
    std::string folder;
    std::string file = folder + "\\_activity.tab";
    std::string replacement = folder + "\\_activity.tmp";
    std::string block = folder + "\\_activity.blk";
};

std::string ScratchPath() {
    char temp[MAX_PATH];
    GetTempPathA(sizeof temp, temp);
    return std::string(temp) + "tw-bench-" + std::to_string(GetCurrentProcessId());
}

std::string FileOf(int connections) {
    std::string bytes;
    for (int at = 0; at < connections; ++at) {
        const std::string address =
            "10.0." + std::to_string(at / 250) + "." + std::to_string(at % 250);
        if (at != 0) bytes += "\r\n";
        AppendNewEntry(bytes,
                       {"MAILHOST" + std::to_string(at % 3), "IMAP-" + std::to_string(at),
                        "user" + std::to_string(at), address, 1024 + at, "Inbox/Projects", at % 3,
                        "5f2c9a7e-session"},
                       1'700'000'000 + at);
    }
    return bytes;
}

void WriteFileRaw(const std::string& path, const std::string& bytes) {
    const HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                    CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD count = 0;
    WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr);
    CloseHandle(file);
}

std::string ReadFileRaw(const std::string& path) {
    const HANDLE file = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    LARGE_INTEGER size;
    GetFileSizeEx(file, &size);
    std::string bytes(static_cast<std::size_t>(size.QuadPart), '\0');
    DWORD count = 0;
    ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr);
    CloseHandle(file);
    return bytes;
}

void ReadTimeRaw(const std::string& path) {
    const HANDLE file = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    FILETIME written;
    GetFileTime(file, nullptr, nullptr, &written);
    CloseHandle(file);
}

// Block file, read, write, delete, move, the stamp's time, block file away.
void RawFloor(const Paths& paths) {
    const HANDLE block = CreateFileA(paths.block.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                     FILE_ATTRIBUTE_NORMAL, nullptr);
    WriteFileRaw(paths.replacement, ReadFileRaw(paths.file));
    DeleteFileA(paths.file.c_str());
    MoveFileA(paths.replacement.c_str(), paths.file.c_str());
    ReadTimeRaw(paths.file);
    CloseHandle(block);
    DeleteFileA(paths.block.c_str());
}

void Refresh(const Paths& paths, int connection) {
    static SessionContext session{"user", 1, 1, "Inbox", 0, nullptr};
    const std::string address =
        "10.0." + std::to_string(connection / 250) + "." + std::to_string(connection % 250);
    SetClientState(&session, paths.folder, "MAILHOST" + std::to_string(connection % 3), address,
                   1024 + connection, "IMAP-1", "user", "Inbox/Projects", "5f2c9a7e-session");
}

double Measure(BenchReport& report, const Paths& paths, int connections, double goal) {
    WriteFileRaw(paths.file, FileOf(connections));
    const auto times =
        bench::BestOfPair([&] { Refresh(paths, connections / 2); }, [&] { RawFloor(paths); }, 2000);
    report.AtMost("SetClientState, " + std::to_string(connections) + " connections", times.ours,
                  times.other, goal);
    return times.ours;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    BenchReport report(argumentCount, arguments);
    const Paths paths{ScratchPath()};
    CreateDirectoryA(paths.folder.c_str(), nullptr);
    const double ten = Measure(report, paths, 10, 1.1);
    const double thousand = Measure(report, paths, 1000, 1.6);
    const double tenThousand = Measure(report, paths, 10000, 1.6);
    // Linear: what a connection costs more in the large file than in the middle one.
    report.AtMost("a connection's cost, 1000 to 10000 over 10 to 1000",
                  (tenThousand - thousand) / 9000, (thousand - ten) / 990, 1.5);
    DeleteFileA(paths.file.c_str());
    RemoveDirectoryA(paths.folder.c_str());
}
