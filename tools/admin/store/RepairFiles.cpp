#include "tools/admin/store/RepairFiles.h"

#include "common/Files.h"
#include "common/Retry.h"
#include "tools/admin/store/FolderListing.h"

namespace tarnwick::admin {
namespace {

constexpr int kMoveWaits = 11;

std::string FreeName(const std::string& path) {
    std::string kept = path + ".kept";
    for (int number = 2; FileExists(kept); ++number) kept = path + ".kept" + std::to_string(number);
    return kept;
}

bool WriteNew(const std::string& path, std::string_view bytes) {
    File file(path, {GENERIC_WRITE, 0, CREATE_NEW});
    if (!file.IsOpen()) return false;
    if (file.Write(bytes) && file.Close()) return true;
    file.Close();
    RemoveFile(path);
    return false;
}

}  // namespace

bool CanMakeFiles(const std::string& folder) {
    // A right may be missing at the folder, its share or its disk. The system takes the file away
    // with its handle, also when this process is ended.
    const std::string name = folder + "\\tarnwick-probe-" + std::to_string(GetCurrentProcessId());
    return FileHandle(CreateFileA(name.c_str(), GENERIC_WRITE | DELETE, 0, nullptr, CREATE_NEW,
                                  FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr))
        .IsValid();
}

std::optional<std::string> SetAside(const std::string& path) {
    if (!FileExists(path)) return std::string();
    const std::string kept = FreeName(path);
    if (!MoveInPlace(path, kept)) return std::nullopt;
    return std::string(NameOf(kept));
}

std::optional<std::string> KeepCopy(const std::string& path) {
    const std::string kept = FreeName(path);
    if (!CopyToNew(path, kept)) return std::nullopt;
    return std::string(NameOf(kept));
}

bool CopyToNew(const std::string& from, const std::string& to) {
    if (CopyOver(from, to)) return true;
    RemoveFile(to);
    return false;
}

bool WriteAnew(const std::string& path, std::string_view bytes) {
    const auto kept = SetAside(path);
    if (!kept) return false;
    if (WriteNew(path, bytes)) return true;
    if (!kept->empty()) MoveToName(std::string(ParentOf(path)) + "\\" + *kept, path);
    return false;
}

bool MoveInPlace(const std::string& from, const std::string& to) {
    return RetryWhileRefused([&] { return MoveToName(from, to); }, [] { return kMoveWaits; }) ==
           RetryOutcome::Done;
}

}  // namespace tarnwick::admin
