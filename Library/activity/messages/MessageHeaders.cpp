#include "Library/activity/messages/MessageHeaders.h"

#include <string>
#include <utility>
#include <vector>

#include "common/Registry.h"
#include "common/Reports.h"
#include "common/Text.h"
#include "Library/activity/messages/MessageHeaderEdit.h"
#include "Library/activity/messages/MessageSibling.h"
#include "Library/activity/ModuleLog.h"

namespace tarnwick {
namespace {

// With the blank: a line without it is not the store's, and is left alone.
constexpr const char* kUidKey = "X-UID: ";
constexpr const char* kFlagsKey = "X-TWTempFlags: ";

// Where and how an operation says that a file could not be opened; three ways for compatibility.
enum class Complaint { LogWithPath, Output, OutputWithError };

enum class SiblingRefused {
    LeaveMessage,
    RemoveMessage  // the swap goes on without a copy; kept for compatibility: the message is gone
};

struct Operation {
    CopyRules copy = {};
    Complaint complaint = Complaint::Output;
    SiblingRefused siblingRefused = SiblingRefused::LeaveMessage;
    DeleteRefused deleteRefused = DeleteRefused::Ignored;
};

// Where the operations differ, but for their fields. The rest of a message is copied byte for byte
// by all of them. Kept for compatibility: with another buffer size other pieces of long lines count
// as fields, and a header without its empty line grows by the field that a caller named alone.
constexpr Operation kSetTempFlags{.copy = {.lineBufferSize = 4096},
                                  .complaint = Complaint::LogWithPath};
constexpr Operation kSetUid{.siblingRefused = SiblingRefused::RemoveMessage};
constexpr Operation kStripUidAndFlags{.copy = {.onlyWhenSeen = true}};
constexpr Operation kSetHeaderField{.copy = {.addWithoutEmptyLine = true},
                                    .complaint = Complaint::OutputWithError,
                                    .deleteRefused = DeleteRefused::KeepMessage};

bool UidBrandingEnabled() {
    static const bool enabled = RegistryDwordOr(kProductKey, "UID Branding Enabled", 0) != 0;
    return enabled;
}

std::string FieldLine(std::string_view name, std::string_view value) {
    return std::string(name).append(": ").append(value).append("\r\n");
}

std::string UidLine(std::uint32_t high, std::uint32_t low) {
    std::string line = kUidKey;
    if (high != 0) {
        AppendDecimal(line, high);
        line += '.';
    }
    AppendDecimal(line, low);
    return line + "\r\n";
}

// Empty flags have their line too: a message has flags by having the field.
std::string FlagsLine(std::string_view flags) {
    return FieldLine("X-TWTempFlags", flags);
}

void Complain(Complaint complaint, const std::string& text, const std::string& path) {
    const auto error = static_cast<std::int32_t>(GetLastError());
    if (complaint == Complaint::LogWithPath) {
        LogMessage("%s: %s\n", {text, path});
    } else if (complaint == Complaint::Output) {
        PrintStandardOutput(text + "\r\n");
    } else {
        PrintStandardOutput("Error: " + text + ". Error Code: " + std::to_string(error) + "\r\n");
    }
}

void ComplainAboutInput(Complaint complaint, const std::string& path) {
    Complain(complaint, "Could not open message file for input", path);
}

// Rewrites the open message through its sibling.
void Rewrite(File message, const MessagePaths& paths, const Operation& operation,
             std::vector<FieldRule> fields) {
    SiblingFile sibling(paths.sibling);
    if (!sibling.IsOpen()) {
        Complain(operation.complaint, "Could not open message file for writing", paths.sibling);
        message.Close();
        if (operation.siblingRefused == SiblingRefused::RemoveMessage) {
            SwapSiblingIn(paths, operation.deleteRefused);
        }
        return;
    }
    FileSource source(message);
    FileSink sink(sibling.Opened());
    const CopyResult result = CopyMessage(source, operation.copy, fields, sink);
    message.Close();
    if (result == CopyResult::Complete && sibling.Finish()) {
        SwapSiblingIn(paths, operation.deleteRefused);
    }
}

void OpenAndRewrite(const MessagePaths& paths, const Operation& operation,
                    std::vector<FieldRule> fields) {
    File message(paths.message, kOpenRead);
    if (message.IsOpen()) {
        Rewrite(std::move(message), paths, operation, std::move(fields));
    } else {
        ComplainAboutInput(operation.complaint, paths.message);
    }
}

void CreateWithField(const std::string& path, const std::string& line) {
    File created(path, kOpenTruncate);
    if (created.IsOpen()) created.Write(line);
}

void SetField(const MessagePaths& paths, std::string_view name, const std::string& line,
              bool createIfMissing) {
    File message(paths.message, kOpenRead);
    if (!message.IsOpen()) {
        // Not for a missing folder (error 3): nothing can be created there.
        const bool missing = GetLastError() == ERROR_FILE_NOT_FOUND;
        if (missing && createIfMissing) return CreateWithField(paths.message, line);
        return ComplainAboutInput(kSetHeaderField.complaint, paths.message);
    }
    // The key ends at one colon; the line keeps the name as given and adds its own, so that "A:" is
    // written as "A::". Kept for compatibility.
    std::string key(name);
    if (name.find(':') == name.npos) key += ':';
    Rewrite(std::move(message), paths, kSetHeaderField, {{key, FieldFate::Replace, line}});
}

// Runs an edit without letting an exception out: one that runs out of memory leaves the message as
// it was.
template <typename Edit>
void Contain(Edit edit) {
    try {
        edit();
    } catch (...) {
        // The operations have no way to tell their callers.
    }
}

}  // namespace

int SetMessageTempFlags(std::string_view directory, std::string_view name, std::string_view flags,
                        bool dropUid) {
    if (!UidBrandingEnabled()) return 1;
    Contain([&] {
        const MessagePaths paths = PathsInFolder(directory, name);
        LogMessage("Setting Message Flags for: %s\n", {paths.message});
        std::vector<FieldRule> fields{{kFlagsKey, FieldFate::Replace, FlagsLine(flags)}};
        if (dropUid) fields.push_back({kUidKey, FieldFate::Drop});
        OpenAndRewrite(paths, kSetTempFlags, std::move(fields));
    });
    return 1;
}

int SetMessageUid(std::string_view directory, std::string_view name, std::uint32_t uidHigh,
                  std::uint32_t uidLow, std::optional<std::string_view> flags) {
    if (!UidBrandingEnabled()) return 1;
    Contain([&] {
        OpenAndRewrite(PathsInFolder(directory, name), kSetUid,
                       // Flags that are there stay: a new identifier says nothing of them.
                       {{kUidKey, FieldFate::Replace, UidLine(uidHigh, uidLow)},
                        {kFlagsKey, FieldFate::Keep, flags ? FlagsLine(*flags) : ""}});
    });
    return 1;
}

int HasMessageTempFlags(std::string_view directory, std::string_view name) {
    if (!UidBrandingEnabled()) return 0;
    bool found = false;
    Contain([&] {
        const std::string path = PathsInFolder(directory, name).message;
        File message(path, kOpenRead);
        if (!message.IsOpen()) return ComplainAboutInput(Complaint::Output, path);
        FileSource source(message);
        found = HasHeaderField(source, CopyRules().lineBufferSize, kFlagsKey);
    });
    return found ? 1 : 0;
}

int StripMessageUidAndFlags(std::string_view directory, std::string_view name,
                            std::uint32_t /*uidHigh*/, std::uint32_t /*uidLow*/) {
    if (!UidBrandingEnabled()) return 1;
    Contain([&] {
        OpenAndRewrite(PathsInFolder(directory, name), kStripUidAndFlags,
                       {{kUidKey, FieldFate::Drop}, {kFlagsKey, FieldFate::Drop}});
    });
    return 1;
}

void SetMessageHeaderField(std::string_view path, std::string_view fieldName,
                           std::string_view value, bool createIfMissing) {
    Contain([&] {
        SetField(PathsOfMessage(path), fieldName, FieldLine(fieldName, value), createIfMissing);
    });
}

}  // namespace tarnwick
