#include "tools/admin/StorePlaces.h"

#include <algorithm>

#include "common/Clock.h"
#include "common/Retry.h"
#include "common/Text.h"
#include "Library/activity/FolderPlace.h"
#include "Library/activity/StoreSettings.h"
#include "Library/convert/TextEncoding.h"
#include "Library/FolderMutex.h"
#include "Library/IndexBlockFile.h"
#include "tools/admin/CalendarLibrary.h"
#include "tools/admin/Console.h"

namespace tarnwick::admin {
namespace {

constexpr DWORD kMutexWait = 5000;
constexpr std::uint64_t kFileTimeUnitsPerSecond = 10'000'000;

bool IsPath(const std::string& text) {
    return text.find_first_of("\\:") != std::string::npos || text.starts_with('.') ||
           text.starts_with('/');
}

std::string WholePathOf(const std::string& text) {
    char whole[MAX_PATH];
    const DWORD length = GetFullPathNameA(text.c_str(), sizeof whole, whole, nullptr);
    if (length == 0 || length >= sizeof whole) throw WrongUsage("\"" + text + "\" is no path");
    std::string path(whole, length);
    if (path.size() > 3 && path.ends_with('\\')) path.pop_back();
    return path;
}

// A marker of the library, which takes more for one, in front of a folder's name.
bool BeginsWithMarker(std::string_view rest, std::string_view marker) {
    return StartsWithIgnoreCase(rest, marker) &&
           (rest.size() == marker.size() || rest[marker.size()] == '/');
}

std::string DirectoryOf(const StoreName& name) {
    const std::string root = PostofficeDirectory(name.postoffice);
    std::string folder = name.folder;
    std::replace(folder.begin(), folder.end(), '/', '\\');
    if (name.mailbox.empty()) {
        return IsFileStoreName(folder) ? FileStoreDirectory(root, folder)
                                       : PublicFolderDirectory(root, folder);
    }
    if (folder.empty()) return MailboxDirectory(root, name.mailbox);
    return MailboxFolderDirectory(root, name.mailbox, folder);
}

void RefuseHost(const Context& context) {
    if (context.host.empty()) return;
    throw WrongUsage("no server shows its files; leave --host away");
}

// The path that is meant when the text is one.
std::string OwnPath(const std::string& text, const Context& context) {
    RefuseHost(context);
    if (!context.root.empty()) {
        throw WrongUsage("\"" + text +
                         "\" is a path already; leave --root away, or name it as "
                         "postoffice/mailbox/folder");
    }
    // The settings of the library are read from the registry all the same.
    LoadCalendarLibrary({});
    return WholePathOf(text);
}

bool IsDirectory(const std::string& path) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace

StoreName ParseStoreName(const std::string& text, const Context& context) {
    RefuseHost(context);
    const std::size_t slash = text.find('/');
    if (IsPath(text) || slash == std::string::npos) {
        throw WrongUsage("\"" + text +
                         "\" is no place in the store; write it as "
                         "postoffice/mailbox/folder");
    }
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find('/', at), text.size());
        CheckFolderName(std::string_view(text).substr(at, end - at));
        at = end + 1;
    }
    StoreName name{.postoffice = text.substr(0, slash), .mailbox = {}, .folder = {}};
    const std::string rest = text.substr(slash + 1);
    const std::size_t end = std::min(rest.find('/'), rest.size());
    if (BeginsWithMarker(rest, "Public") || BeginsWithMarker(rest, "$FILEROOT")) {
        name.folder = rest;
    } else {
        name.mailbox = rest.substr(0, end);
        name.folder = rest.substr(std::min(end + 1, rest.size()));
    }
    LoadCalendarLibrary(context.root);
    return name;
}

std::string StoreDirectory(const std::string& text, const Context& context) {
    const std::string path =
        IsPath(text) ? OwnPath(text, context) : DirectoryOf(ParseStoreName(text, context));
    if (!IsDirectory(path)) throw SystemFailure("there is no folder " + path);
    return path;
}

std::string StoreFile(const std::string& text, const Context& context) {
    const bool isPath = IsPath(text) || text.find('/') == std::string::npos;
    const std::string path =
        isPath ? OwnPath(text, context) : DirectoryOf(ParseStoreName(text, context));
    if (IsDirectory(path)) throw WrongUsage(path + " is a folder, not a file");
    if (FileExists(path)) return path;
    throw SystemFailure("there is no file " + path +
                        (isPath ? "" : "; \"" + text + "\" is a place, a path has backslashes"));
}

std::string AgeOfFile(const std::string& path) {
    const auto found = DirectoryScan(path).Next();
    const std::uint64_t now = CurrentFileTime();
    const std::uint64_t then = found ? ToUint64(found->lastWrite) : now;
    return FormatAge(
        static_cast<std::int64_t>(now < then ? 0 : (now - then) / kFileTimeUnitsPerSecond));
}

std::string ReadStoreFile(const std::string& path) {
    if (auto bytes = ReadWholeFile(path)) return std::move(*bytes);
    throw SystemFailure("the file " + path + " cannot be read; another program may hold it");
}

FolderLock::FolderLock(const std::string& folder, FolderType folderType, For purpose,
                       const Context& context)
    : blockPath_(IndexBlockPath(folder, folderType)) {
    if (purpose == For::Writing) {
        if (FileExists(blockPath_)) {
            throw Failure(ExitStatus::Busy,
                          "the folder is busy: " + blockPath_ + " has been there for " +
                              AgeOfFile(blockPath_) +
                              ". When no program is working on the folder, delete the file");
        }
        if (!context.dryRun) {
            block_ = File(blockPath_, kCreateBlockFile);
            if (!block_.IsOpen()) {
                throw SystemFailure("the block file " + blockPath_ + " cannot be created");
            }
        }
    }
    mutex_ = OpenFolderMutex(folder);
    lock_.emplace(mutex_.Get(), kMutexWait);
    if (lock_->IsLocked()) return;
    if (block_.IsOpen()) RemoveIndexBlock(block_, blockPath_);
    throw Failure(ExitStatus::Busy,
                  "the folder is busy: another program is loading or saving its "
                  "index");
}

FolderLock::~FolderLock() {
    lock_.reset();
    if (block_.IsOpen()) RemoveIndexBlock(block_, blockPath_);
}

void RequireWritable(const std::string& path) {
    constexpr OpenMode kAlone{GENERIC_READ | GENERIC_WRITE, 0, OPEN_EXISTING};
    const DWORD attributes = GetFileAttributesA(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        throw Failure(ExitStatus::NotAllowed, "the file " + path + " is read-only");
    }
    if (File(path, kAlone).IsOpen() || IsGone(GetLastError())) return;
    throw SystemFailure("the file " + path + " cannot be written; another program may hold it");
}

void LibraryMessages::Report(ReportChannel channel, std::string_view text) {
    if (channel != ReportChannel::EventLogError && channel != ReportChannel::EventLogWarning)
        return;
    try {
        texts_.emplace_back(text.substr(0, text.find_last_not_of("\r\n") + 1));
    } catch (...) {
        // It is told of what could not be done as well.
    }
}

std::string JsonText(std::string_view bytes) {
    return IsUtf8(bytes) ? std::string(bytes) : ToUtf8(bytes);
}

}  // namespace tarnwick::admin
