// A folder of the store as one look at it shows it. Nothing here keeps others from anything: files
// are opened for reading alone, and may be read, written and deleted meanwhile.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::admin {

struct StoredFile {
    std::string name;
    std::uint64_t size = 0;
    std::uint64_t lastWrite = 0;  // 100 ns units since 1601-01-01 UTC
    bool readOnly = false;
};

class FolderListing {
  public:
    // `folder` comes without a backslash at its end, unless it is a drive's.
    explicit FolderListing(std::string folder);

    // Why the folder could not be listed to its end; 0 when it was, or has gone.
    std::uint32_t Error() const { return error_; }
    const std::string& Folder() const { return folder_; }
    std::string PathOf(std::string_view name) const {
        return folder_ + (folder_.ends_with('\\') ? "" : "\\") + std::string(name);
    }
    // In the order of their names without regard to case.
    const std::vector<StoredFile>& Files() const { return files_; }
    const std::vector<std::string>& Folders() const { return folders_; }
    // Null when there is none; names do not differ by the case of letters.
    const StoredFile* Find(std::string_view name) const;

  private:
    std::string folder_;
    std::uint32_t error_ = 0;
    std::vector<StoredFile> files_;
    std::vector<std::string> folders_;
};

// Reads files one after another into the same memory.
class SharedReader {
  public:
    // The whole file, until the next read; no value, with the thread's last error, when it cannot
    // be read.
    std::optional<std::string_view> Read(const std::string& path, std::uint64_t expectedSize);

  private:
    std::vector<char> bytes_ = std::vector<char>(1 << 16);
};

// Whether a program holds the file open so that nobody else can.
bool IsHeldOpen(const std::string& path);

bool HasExtension(std::string_view name, std::string_view extension);
// Without its last extension.
std::string_view StemOf(std::string_view name);
// The last part of a path, and what stands before it.
std::string_view NameOf(std::string_view path);
std::string_view ParentOf(std::string_view path);

// Whether the folder is one in which a mailbox has its calendars.
bool IsCalendarFolder(std::string_view folder);

// How commands name a folder.
struct Place {
    std::string text;  // "postoffice/mailbox" within a mailbox, else the folder
    std::string root;  // where the postoffices are, when that is not the mail root
};
Place PlaceOf(std::string_view folder, std::string_view root);

}  // namespace tarnwick::admin
