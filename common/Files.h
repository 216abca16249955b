// Files and folders. Every call to the system's file interface is made here, after the call
// observer was asked; failures leave their error in the thread's last error. Paths are 8-bit text
// in the system code page.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "common/ByteSource.h"
#include "common/FileBytes.h"
#include "common/Handle.h"

namespace tarnwick {

struct OpenMode {
    DWORD access;
    DWORD share;
    DWORD disposition;
};

inline constexpr DWORD kShareReadWrite = FILE_SHARE_READ | FILE_SHARE_WRITE;

// The modes of the C runtime's "r", "w" and "a": others may read and write meanwhile, not delete.
inline constexpr OpenMode kOpenRead{GENERIC_READ, kShareReadWrite, OPEN_EXISTING};
inline constexpr OpenMode kOpenTruncate{GENERIC_WRITE, kShareReadWrite, CREATE_ALWAYS};
inline constexpr OpenMode kOpenAppend{FILE_APPEND_DATA, kShareReadWrite, OPEN_ALWAYS};
// A file that must not exist yet and that nobody else can open: the test-and-set of block files.
inline constexpr OpenMode kCreateBlockFile{GENERIC_WRITE, 0, CREATE_NEW};

// An open file; closed at the end of its life.
class File {
  public:
    File() = default;
    File(const std::string& path, OpenMode mode);

    bool IsOpen() const { return handle_.IsValid(); }
    HANDLE Native() const { return handle_.Get(); }

    // Reads up to `size` bytes at the current position; the count read, 0 at the end of the file,
    // no value when the call failed.
    std::optional<std::uint32_t> Read(void* bytes, std::uint32_t size);
    // All bytes from the current position to the end; no value when a read failed.
    std::optional<FileBytes> ReadToEnd();
    // Writes all of `bytes`; a short write is a failure.
    bool Write(std::string_view bytes);
    bool Seek(std::int64_t offset, DWORD origin = FILE_BEGIN);
    std::optional<std::int64_t> Position();
    std::optional<std::int64_t> Size();
    // Cuts or extends the file at the current position.
    bool SetEnd();
    // Time of the last write as a 64-bit file time (100 ns units since 1601-01-01 UTC).
    std::optional<std::uint64_t> LastWriteTime();
    // Closes now; true when the system closed it (or it was not open).
    bool Close();
    // The same, but a handle that the system refuses to close is kept for another try.
    bool CloseOrKeep();

  private:
    FileHandle handle_;
};

// An open file's bytes, from its current position on.
class FileSource : public ByteSource {
  public:
    // `file` must outlive the source.
    explicit FileSource(File& file) : file_(file) {}
    std::optional<std::size_t> Read(std::span<char> bytes) override;

  private:
    File& file_;
};

bool RemoveFile(const std::string& path);
// Renames; fails when `to` exists.
bool MoveToName(const std::string& from, const std::string& to);
// Copies over an existing file.
bool CopyOver(const std::string& from, const std::string& to);
bool MakeDirectory(const std::string& path);

// What a directory search reports of one file.
struct FoundFile {
    std::string name;
    std::uint64_t size = 0;
    DWORD attributes = 0;
    FILETIME lastAccess{};
    FILETIME lastWrite{};
};

// The files that match a pattern, in the order in which the file system reports them.
class DirectoryScan {
  public:
    explicit DirectoryScan(const std::string& pattern) : pattern_(pattern) {}
    // The next match, "." and ".." included; nothing at the end or when the search failed.
    std::optional<FoundFile> Next();

  private:
    std::string pattern_;
    SearchHandle search_;
    bool ended_ = false;
};

// Whether a directory search with `path` as its pattern finds something.
bool FileExists(const std::string& path);

// The same, but asks for the file by its name first, which costs a fraction of a search and settles
// the usual case that there is none.
bool FileExistsQuickly(const std::string& path);

// Reads a whole file in shared mode; no value when it cannot be opened or read.
std::optional<std::string> ReadWholeFile(const std::string& path);

std::uint64_t ToUint64(const FILETIME& time);

}  // namespace tarnwick
