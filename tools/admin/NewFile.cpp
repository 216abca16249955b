#include "tools/admin/NewFile.h"

#include "common/Retry.h"
#include "tools/admin/archive/Manifest.h"
#include "tools/admin/Console.h"

namespace tarnwick::admin {
namespace {

constexpr OpenMode kWriteAlone{GENERIC_WRITE, 0, CREATE_ALWAYS};
constexpr std::int32_t kMoveWaits = 10;

}  // namespace

NewFile::NewFile(const std::string& path)
    : path_(path), beside_(path + kUnfinished), file_(beside_, kWriteAlone) {
    if (file_.IsOpen()) return;
    throw SystemFailure("the file " + beside_ + " cannot be written; check its folder");
}

NewFile::~NewFile() {
    if (isKept_) return;
    file_.Close();
    RemoveFile(beside_);
}

void NewFile::Write(std::string_view bytes) {
    if (file_.Write(bytes)) return;
    throw SystemFailure("the file " + beside_ + " cannot be written; the disk may be full");
}

void NewFile::Keep(bool mayReplace) {
    // On the disk before its name is: else a power cut could leave the name with nothing behind it.
    if (FlushFileBuffers(file_.Native()) == FALSE || !file_.Close()) {
        throw SystemFailure("the file " + beside_ + " cannot be written; the disk may be full");
    }
    bool isTaken = false;
    RetryWhileRefused(
        [&] {
            const DWORD flags = mayReplace ? MOVEFILE_REPLACE_EXISTING : 0;
            isKept_ = MoveFileExA(beside_.c_str(), path_.c_str(), flags) != FALSE;
            isTaken = !isKept_ && GetLastError() == ERROR_ALREADY_EXISTS;
            return isKept_ || isTaken;
        },
        [] { return kMoveWaits; });
    if (isTaken) throw Refusal("there is a file " + path_ + " meanwhile");
    if (!isKept_) throw SystemFailure("the file " + path_ + " cannot be replaced");
}

}  // namespace tarnwick::admin
