#include "tools/admin/doctor/Machine.h"

#include <array>

#include "common/Clock.h"
#include "common/Files.h"
#include "common/Text.h"
#include "remote/AdminHost.h"
#include "tools/admin/CalendarLibrary.h"
#include "tools/admin/Failure.h"
#include "tools/admin/store/RepairFiles.h"

namespace tarnwick::admin {
namespace {

std::string FolderOfFile(const std::string& path) {
    return path.substr(0, path.find_last_of('\\'));
}

bool IsFolder(const std::string& path) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsOnOtherMachine(const std::string& path) {
    if (path.starts_with("\\\\?\\")) {
        return StartsWithIgnoreCase(path, "\\\\?\\UNC\\") || IsOnOtherMachine(path.substr(4));
    }
    if (path.starts_with("\\\\")) return true;
    return path.size() > 1 && path[1] == ':' &&
           GetDriveTypeA((path.substr(0, 2) + "\\").c_str()) == DRIVE_REMOTE;
}

// Without the last of its four numbers, which counts builds.
std::string VersionOf(const std::string& file) {
    DWORD ignored = 0;
    std::string block(GetFileVersionInfoSizeA(file.c_str(), &ignored), '\0');
    void* found = nullptr;
    UINT size = 0;
    if (block.empty() ||
        !GetFileVersionInfoA(file.c_str(), 0, static_cast<DWORD>(block.size()), block.data()) ||
        !VerQueryValueA(block.data(), "\\", &found, &size) || size < sizeof(VS_FIXEDFILEINFO)) {
        return {};
    }
    const auto& info = *static_cast<const VS_FIXEDFILEINFO*>(found);
    return std::to_string(HIWORD(info.dwFileVersionMS)) + "." +
           std::to_string(LOWORD(info.dwFileVersionMS)) + "." +
           std::to_string(HIWORD(info.dwFileVersionLS));
}

}  // namespace

std::string WholePathOf(const std::string& path) {
    std::array<char, kPathCapacity> whole{};
    const DWORD length = GetFullPathNameA(path.c_str(), whole.size(), whole.data(), nullptr);
    return length == 0 || length >= whole.size() ? path : std::string(whole.data(), length);
}

FolderState LookAtFolder(const std::string& path) {
    FolderState state{path, IsFolder(path)};
    state.isWritable = state.isThere && CanMakeFiles(path);
    state.isShared = IsOnOtherMachine(path);
    return state;
}

std::string StateText(const FolderState& folder) {
    const std::string state = !folder.isThere      ? "is not there"
                              : !folder.isWritable ? "is there, not writable"
                                                   : "is there, writable";
    return state + (folder.isShared ? ", on another machine" : "");
}

bool HasPostoffice(const std::string& root) {
    DirectoryScan scan(root + "\\*");
    while (const auto found = scan.Next()) {
        if (found->name != "." && found->name != ".." &&
            IsFolder(root + "\\" + found->name + "\\MAILROOT")) {
            return true;
        }
    }
    return false;
}

LibraryState LookAtLibrary() {
    LibraryState state;
    try {
        LoadCalendarLibrary({});
    } catch (const Failure& failure) {
        state.fault = failure.what();
    }
    std::array<char, kPathCapacity> path{};
    const std::string folder = FolderOfFile(ExecutablePath());
    if (const HMODULE module = GetModuleHandleA("TWAICP.DLL")) {
        GetModuleFileNameA(module, path.data(), path.size());
        state.path = FieldText(path);
    } else if (FileExists(folder + "\\TWAICP.DLL")) {
        state.path = folder + "\\TWAICP.DLL";
    }
    state.isBesideTool = EqualsIgnoreCase(FolderOfFile(state.path), folder);
    if (!state.path.empty()) state.version = VersionOf(state.path);
    return state;
}

ClockState LookAtClock() {
    TIME_ZONE_INFORMATION zone{};
    const bool isSummer = GetTimeZoneInformation(&zone) == TIME_ZONE_ID_DAYLIGHT;
    const wchar_t* const name = isSummer ? zone.DaylightName : zone.StandardName;
    std::array<char, 4 * std::size(zone.StandardName)> text{};
    WideCharToMultiByte(CP_ACP, 0, name, -1, text.data(), text.size() - 1, nullptr, nullptr);
    return {
        CurrentUnixTime(), std::string(FieldText(text)),
        static_cast<std::int32_t>(zone.Bias + (isSummer ? zone.DaylightBias : zone.StandardBias))};
}

}  // namespace tarnwick::admin
