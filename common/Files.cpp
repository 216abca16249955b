#include "common/Files.h"

#include <algorithm>
#include <limits>

#include "common/CallObserver.h"
#include "common/Retry.h"
#include "common/Scan.h"

namespace tarnwick {
namespace {

constexpr std::int64_t kUnknownSize = 1 << 16;
constexpr std::uint32_t kLargestBlock = 1U << 30;

FoundFile ToFoundFile(const WIN32_FIND_DATAA& data) {
    FoundFile found;
    found.name = data.cFileName;
    found.size = (static_cast<std::uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
    found.attributes = data.dwFileAttributes;
    found.lastAccess = data.ftLastAccessTime;
    found.lastWrite = data.ftLastWriteTime;
    return found;
}

}  // namespace

File::File(const std::string& path, OpenMode mode) {
    if (!CallAllowed("CreateFile", path)) return;
    handle_ = FileHandle(CreateFileA(path.c_str(), mode.access, mode.share, nullptr,
                                     mode.disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
}

std::optional<std::uint32_t> File::Read(void* bytes, std::uint32_t size) {
    DWORD count = 0;
    if (!CallAllowed("ReadFile")) return std::nullopt;
    if (ReadFile(handle_.Get(), bytes, size, &count, nullptr) == FALSE) return std::nullopt;
    return count;
}

std::optional<FileBytes> File::ReadToEnd() {
    // Asked for a byte more than there is, so that one short read tells the end as long as nobody
    // appends meanwhile.
    FileBytes read(static_cast<std::size_t>(Size().value_or(kUnknownSize)) + 1);
    for (;;) {
        const auto block =
            static_cast<std::uint32_t>(std::min<std::size_t>(read.RoomSize(), kLargestBlock));
        const auto count = Read(read.Room(), block);
        if (!count) return std::nullopt;
        read.Fill(*count);
        if (*count < block) return read;
        if (read.RoomSize() == 0) read.Grow();
    }
}

bool File::Write(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto block = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), kLargestBlock));
        DWORD count = 0;
        if (!CallAllowed("WriteFile")) return false;
        if (WriteFile(handle_.Get(), bytes.data(), block, &count, nullptr) == FALSE) return false;
        if (count != block) {
            SetLastError(ERROR_DISK_FULL);
            return false;
        }
        bytes.remove_prefix(count);
    }
    return true;
}

bool File::Seek(std::int64_t offset, DWORD origin) {
    LARGE_INTEGER distance;
    distance.QuadPart = offset;
    return CallAllowed("SetFilePointer") &&
           SetFilePointerEx(handle_.Get(), distance, nullptr, origin) != FALSE;
}

std::optional<std::int64_t> File::Position() {
    LARGE_INTEGER position;
    if (!CallAllowed("SetFilePointer")) return std::nullopt;
    if (SetFilePointerEx(handle_.Get(), LARGE_INTEGER{}, &position, FILE_CURRENT) == FALSE) {
        return std::nullopt;
    }
    return position.QuadPart;
}

std::optional<std::int64_t> File::Size() {
    LARGE_INTEGER size;
    if (!CallAllowed("GetFileSize")) return std::nullopt;
    if (GetFileSizeEx(handle_.Get(), &size) == FALSE) return std::nullopt;
    return size.QuadPart;
}

bool File::SetEnd() {
    return CallAllowed("SetEndOfFile") && SetEndOfFile(handle_.Get()) != FALSE;
}

std::optional<std::uint64_t> File::LastWriteTime() {
    FILETIME written;
    if (!CallAllowed("GetFileTime")) return std::nullopt;
    if (GetFileTime(handle_.Get(), nullptr, nullptr, &written) == FALSE) return std::nullopt;
    return ToUint64(written);
}

bool File::Close() {
    if (!handle_.IsValid()) return true;
    // A refused close still gives the handle up, as a real one that fails would leave nothing to
    // do.
    const bool allowed = CallAllowed("CloseHandle");
    const DWORD refusal = GetLastError();
    const bool closed = handle_.Close();
    if (!allowed) SetLastError(refusal);
    return allowed && closed;
}

bool File::CloseOrKeep() {
    if (!handle_.IsValid()) return true;
    if (!CallAllowed("CloseHandle") || CloseHandle(handle_.Get()) == FALSE) return false;
    handle_.Release();
    return true;
}

bool RemoveFile(const std::string& path) {
    return CallAllowed("DeleteFile", path) && DeleteFileA(path.c_str()) != FALSE;
}

bool MoveToName(const std::string& from, const std::string& to) {
    return CallAllowed("MoveFile", from, to) && MoveFileA(from.c_str(), to.c_str()) != FALSE;
}

bool CopyOver(const std::string& from, const std::string& to) {
    return CallAllowed("CopyFile", from, to) && CopyFileA(from.c_str(), to.c_str(), FALSE) != FALSE;
}

bool MakeDirectory(const std::string& path) {
    return CallAllowed("CreateDirectory", path) && CreateDirectoryA(path.c_str(), nullptr) != FALSE;
}

std::optional<FoundFile> DirectoryScan::Next() {
    WIN32_FIND_DATAA data;
    if (ended_) return std::nullopt;
    if (!search_.IsValid()) {
        if (CallAllowed("FindFirstFile", pattern_)) {
            search_ = SearchHandle(FindFirstFileA(pattern_.c_str(), &data));
        }
        ended_ = !search_.IsValid();
    } else {
        ended_ =
            !CallAllowed("FindNextFile", pattern_) || FindNextFileA(search_.Get(), &data) == FALSE;
    }
    if (ended_) return std::nullopt;
    return ToFoundFile(data);
}

bool FileExists(const std::string& path) {
    return DirectoryScan(path).Next().has_value();
}

bool FileExistsQuickly(const std::string& path) {
    // Only a name without wildcards that is certainly not there needs no search.
    const bool isPattern = FindEither(path, '*', '?') != kNotFound;
    if (!isPattern && CallAllowed("GetFileAttributes", path) &&
        GetFileAttributesA(path.c_str()) == INVALID_FILE_ATTRIBUTES && IsGone(GetLastError())) {
        return false;
    }
    return FileExists(path);
}

std::optional<std::string> ReadWholeFile(const std::string& path) {
    File file(path, kOpenRead);
    if (!file.IsOpen()) return std::nullopt;
    const auto bytes = file.ReadToEnd();
    if (!bytes) return std::nullopt;
    return std::string(bytes->View());
}

std::uint64_t ToUint64(const FILETIME& time) {
    return (static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

std::optional<std::size_t> FileSource::Read(std::span<char> bytes) {
    const std::size_t limit = std::numeric_limits<std::uint32_t>::max();
    const auto count =
        file_.Read(bytes.data(), static_cast<std::uint32_t>(std::min(bytes.size(), limit)));
    if (!count) return std::nullopt;
    return *count;
}

}  // namespace tarnwick
