// Folders and files of the store as the command line names them, their locks, and what the library
// has to say about them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "common/Files.h"
#include "common/MutexLock.h"
#include "common/Reports.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "tools/admin/Commands.h"

namespace tarnwick::admin {

// The help of every argument that names a place.
inline constexpr const char* kPlaceHelp =
    "A folder is postoffice/mailbox/folder or postoffice/Public/folder below the mail root. What "
    "has\n"
    "a backslash or a drive, or begins with a dot or a slash, is a path, of a copy for instance.\n";

// The whole path of the directory that the text names as above. Throws Failure when it is not
// there.
std::string StoreDirectory(const std::string& text, const Context& context);
// The same of a file in a folder; a name alone is a path too.
std::string StoreFile(const std::string& text, const Context& context);

// The parts of a name that must be one below the mail root: "postoffice/mailbox[/folder]".
struct StoreName {
    std::string postoffice;
    std::string mailbox;  // empty: the folder is a public one
    std::string folder;
};
StoreName ParseStoreName(const std::string& text, const Context& context);

// How long ago the file was written: "3 min 20 s".
std::string AgeOfFile(const std::string& path);

// The whole of a file that others may have open; throws Failure with its status.
std::string ReadStoreFile(const std::string& path);

// A folder's index for one reader or writer at a time, as the library keeps them apart: the
// folder's mutex, and for writing its block file before. Throws Failure (Busy) instead of waiting
// for as long as the library does, and never breaks another's lock. A dry run only looks.
class FolderLock {
  public:
    enum class For { Reading, Writing };
    FolderLock(const std::string& folder, FolderType folderType, For purpose,
               const Context& context);
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

  private:
    std::string blockPath_;
    File block_;
    ObjectHandle mutex_;
    std::optional<MutexLock> lock_;
};

// Throws Failure when the file, if it is there, could not be replaced.
void RequireWritable(const std::string& path);

// Keeps what the library would tell the event log; the rest of its talk is dropped.
class LibraryMessages : public ReportSink {
  public:
    LibraryMessages() { SetReportSink(this); }
    ~LibraryMessages() override { SetReportSink(nullptr); }
    LibraryMessages(const LibraryMessages&) = delete;
    LibraryMessages& operator=(const LibraryMessages&) = delete;
    void Report(ReportChannel channel, std::string_view text) override;

    const std::vector<std::string>& Texts() const { return texts_; }

  private:
    std::vector<std::string> texts_;
};

// Bytes of a file as UTF-8, for programs.
std::string JsonText(std::string_view bytes);

}  // namespace tarnwick::admin
