#include <gtest/gtest.h>

#include <functional>

#include "common/Registry.h"
#include "Library/activity/messages/MessageHeaders.h"
#include "tests/support/ReportRecorder.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::ReadBytesOf;
using testing::ReportRecorder;
using testing::ScratchFolder;
using testing::ScratchRegistry;
using testing::WriteBytesTo;

using Names = std::vector<std::string>;
using Operation = std::function<int(const ScratchFolder&)>;

// Each on the message "m" of a folder.
int SetFlags(const ScratchFolder& folder) {
    return SetMessageTempFlags(folder.Path(), "m", "new", false);
}
int SetFlagsDropUid(const ScratchFolder& folder) {
    return SetMessageTempFlags(folder.Path(), "m", "", true);
}
int SetUid(const ScratchFolder& folder) {
    return SetMessageUid(folder.Path(), "m", 0, 5, std::nullopt);
}
int SetUidAndNoFlags(const ScratchFolder& folder) {
    return SetMessageUid(folder.Path(), "m", 0, 5, "");
}
int SetUidAndFlags(const ScratchFolder& folder) {
    return SetMessageUid(folder.Path(), "m", 3, 4294967295U, "new");
}
int Strip(const ScratchFolder& folder) {
    return StripMessageUidAndFlags(folder.Path(), "m", 0, 5);
}
int HasFlags(const ScratchFolder& folder) {
    return HasMessageTempFlags(folder.Path(), "m");
}
Operation SetField(const std::string& name, const std::string& value,
                   bool createIfMissing = false) {
    return [=](const ScratchFolder& folder) {
        SetMessageHeaderField(folder.Path("m"), name, value, createIfMissing);
        return 1;
    };
}

// A folder with the message "m", UID branding on, and everything that was reported.
struct World {
    World() {
        ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "UID Branding Enabled", 2);
    }
    explicit World(const std::string& message) : World() { WriteBytesTo(Message(), message); }
    std::string Message() const { return folder.Path("m"); }

    ScratchRegistry registry;
    ScratchFolder folder;
    ReportRecorder reports;
};

TEST(MessageHeaders, EachOperationWritesItsFields) {
    struct Case {
        const char* name;
        Operation operation;
        std::string before;
        std::string after;
    };
    const std::string plain = "A: 1\r\n\r\nbody\r\n";
    const std::string both =
        "X-TWTempFlags: old\r\nA: 1\r\nx-uid: 9\r\nX-UID: 8\r\n\r\nX-UID: 7\r\n";
    const Case cases[] = {
        {"flags are added", SetFlags, plain, "A: 1\r\nX-TWTempFlags: new\r\n\r\nbody\r\n"},
        {"flags are replaced, the identifier kept", SetFlags, both,
         "X-TWTempFlags: new\r\nA: 1\r\nx-uid: 9\r\nX-UID: 8\r\n\r\nX-UID: 7\r\n"},
        {"empty flags are written, identifiers dropped", SetFlagsDropUid, both,
         "X-TWTempFlags: \r\nA: 1\r\n\r\nX-UID: 7\r\n"},
        {"identifier of one part", SetUid, plain, "A: 1\r\nX-UID: 5\r\n\r\nbody\r\n"},
        {"identifier of two parts, then the flags", SetUidAndFlags, plain,
         "A: 1\r\nX-UID: 3.4294967295\r\nX-TWTempFlags: new\r\n\r\nbody\r\n"},
        {"empty flags of a new identifier are written", SetUidAndNoFlags, "\r\nb",
         "X-UID: 5\r\nX-TWTempFlags: \r\n\r\nb"},
        {"the blank belongs to the key", SetUid, "X-UID:7\n\n", "X-UID:7\nX-UID: 5\r\n\n"},
        {"a lone CR ends the header", SetUid, "\rX-UID: 1\n\n", "X-UID: 5\r\n\rX-UID: 1\n\n"},
        {"existing flags are kept, identifiers replaced", SetUidAndFlags, both,
         "X-TWTempFlags: old\r\nA: 1\r\nX-UID: 3.4294967295\r\nX-UID: 3.4294967295\r\n\r\n"
         "X-UID: 7\r\n"},
        {"both kinds are stripped", Strip, both, "A: 1\r\n\r\nX-UID: 7\r\n"},
        {"nothing to strip", Strip, plain, plain},
        {"nothing to strip and no empty line", Strip, "A: 1", "A: 1"},
        {"flags of a file without an empty line", SetFlags, "A: 1", "A: 1"},
        {"an identifier of a file without an empty line", SetUidAndFlags, "A: 1", "A: 1"},
        {"an empty file", SetUid, "", ""},
        {"a field by name", SetField("a", "2"), plain, "a: 2\r\n\r\nbody\r\n"},
        {"a field with its colon keeps it", SetField("A:", "2"), plain, "A:: 2\r\n\r\nbody\r\n"},
        {"a new field", SetField("AA", ""), plain, "A: 1\r\nAA: \r\n\r\nbody\r\n"},
        {"a field of a file without an empty line", SetField("B", "2"), "A: 1", "A: 1B: 2\r\n"},
        {"a field that such a file has", SetField("A", "2"), "A: 1", "A: 2\r\n"},
        {"a field of an empty file", SetField("B", "2"), "", "B: 2\r\n"},
        {"fields that are there twice, and what continues one", SetField("a", "2"),
         "A:1\nA: 3\n cont\n\n", "a: 2\r\na: 2\r\n cont\n\n"},
        {"percent signs are text, LF alone", SetField("%s", "%n"), "\n", "%s: %n\r\n\n"},
    };
    World world;
    for (const Case& row : cases) {
        WriteBytesTo(world.Message(), row.before);
        EXPECT_EQ(row.operation(world.folder), 1) << row.name;
        EXPECT_EQ(ReadBytesOf(world.Message()), row.after) << row.name;
        EXPECT_EQ(world.folder.Names(), Names{"m"}) << row.name;
        EXPECT_EQ(world.reports.Joined(ReportChannel::StandardOutput), "") << row.name;
    }
}

TEST(MessageHeaders, AMessageWithNothingToStripIsNotReplaced) {
    const World world("A: 1\r\n\r\n");
    const CallRecorder calls;
    Strip(world.folder);
    EXPECT_EQ(calls.Calls().back(), "DeleteFile _m");
}

// Header lines are read into 4096 bytes by the flag setter and into 2048 by the others; a field is
// recognised where a piece begins.
TEST(MessageHeaders, TheLineBuffersHaveTheirSizes) {
    struct Case {
        const char* name;
        Operation operation;
        std::size_t piece;
        std::string key;
        std::string line;
    };
    const Case cases[] = {
        {"SetMessageTempFlags", SetFlags, 4095, "X-TWTempFlags: ", "X-TWTempFlags: new\r\n"},
        {"SetMessageUid", SetUid, 2047, "X-UID: ", "X-UID: 5\r\n"},
        {"StripMessageUidAndFlags", Strip, 2047, "X-UID: ", ""},
        {"SetMessageHeaderField", SetField("B", "2"), 2047, "b:", "B: 2\r\n"},
    };
    World world;
    for (const Case& row : cases) {
        const std::string start(row.piece, 'a');
        WriteBytesTo(world.Message(), start + row.key + "old\r\n\r\n");
        row.operation(world.folder);
        EXPECT_EQ(ReadBytesOf(world.Message()), start + row.line + "\r\n") << row.name;
    }
    WriteBytesTo(world.Message(), std::string(2047, 'a') + "X-TWTempFlags: \n");
    EXPECT_EQ(HasFlags(world.folder), 1);
    WriteBytesTo(world.Message(), std::string(2046, 'a') + "X-TWTempFlags: \n");
    EXPECT_EQ(HasFlags(world.folder), 0);
}

TEST(MessageHeaders, HasMessageTempFlagsLooksAtTheHeaderAlone) {
    struct Case {
        std::string message;
        int result;
    };
    const Case cases[] = {
        {"A: 1\r\nx-twtempflags: \r\n", 1}, {"X-TWTempFlags:a\r\n", 0},    {"A: 1\r\n", 0}, {"", 0},
        {"\r\nX-TWTempFlags: a\r\n", 0},    {"\rX-TWTempFlags: a\r\n", 0},
    };
    World world;
    for (const Case& row : cases) {
        WriteBytesTo(world.Message(), row.message);
        CallRecorder calls;
        EXPECT_EQ(HasFlags(world.folder), row.result) << row.message;
        EXPECT_EQ(calls.Calls().front(), "CreateFile m") << row.message;
        EXPECT_EQ(world.folder.Names(), Names{"m"});
    }
}

TEST(MessageHeaders, WithoutBrandingNoMessageIsOpened) {
    const ScratchRegistry registry;
    const ScratchFolder folder;
    const ReportRecorder reports;
    const CallRecorder calls;
    EXPECT_EQ(SetFlags(folder), 1);
    EXPECT_EQ(SetUid(folder), 1);
    EXPECT_EQ(Strip(folder), 1);
    EXPECT_EQ(HasFlags(folder), 0);
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "UID Branding Enabled", 1);
    EXPECT_EQ(SetFlags(folder), 1) << "the setting is read once per process";
    EXPECT_EQ(calls.Calls(), Names{});
    EXPECT_EQ(reports.Joined(ReportChannel::Trace), "");
    SetField("A", "1", true)(folder);
    EXPECT_EQ(ReadBytesOf(folder.Path("m")), "A: 1\r\n") << "works all the same";
}

TEST(MessageHeaders, OnlyAMissingFileIsCreated) {
    const World world;
    SetMessageHeaderField(world.folder.Path("no\\m"), "A", "1", true);
    EXPECT_EQ(world.reports.Joined(ReportChannel::StandardOutput),
              "Error: Could not open message file for input. Error Code: 3\r\n");
    SetMessageHeaderField(world.folder.Path("m"), "A:", "1", true);
    EXPECT_EQ(ReadBytesOf(world.Message()), "A:: 1\r\n");
}

// What an operation tells where: to the standard output, to the log ("#" for a path), or both.
struct Told {
    std::string output;
    std::string log;
};

// What differs between the operations when the message is missing, when its sibling cannot be
// created, and when the message is read-only.
struct Refusal {
    const char* name;
    Operation operation;
    Told missing;
    Told noSibling;
    std::string siblingOfReadOnly;
    std::string readOnlyOutput;
};

const Told kNoInput{"Could not open message file for input\r\n", ""};
const Told kNoOutput{"Could not open message file for writing\r\n", ""};
const std::string kOldUid = "X-UID: 1\r\n\r\n";
const Refusal kRefusals[] = {
    {"SetMessageTempFlags",
     SetFlags,
     {"", "Setting Message Flags for: #\nCould not open message file for input: #\n"},
     {"", "Setting Message Flags for: #\nCould not open message file for writing: _#\n"},
     "X-UID: 1\r\nX-TWTempFlags: new\r\n\r\n",
     ""},
    {"SetMessageUid", SetUid, kNoInput, kNoOutput, "X-UID: 5\r\n\r\n", ""},
    {"StripMessageUidAndFlags", Strip, kNoInput, kNoOutput, "\r\n", ""},
    {"SetMessageHeaderField",
     SetField("A", "1"),
     {"Error: Could not open message file for input. Error Code: 2\r\n", ""},
     {"Error: Could not open message file for writing. Error Code: 5\r\n", ""},
     "",
     "Could not remove original copy of message file. Check if file has readonly set or if there "
     "are permissions issues\r\n"},
};

void ExpectTold(const World& world, const Told& told, const std::string& name) {
    std::string log = told.log;
    for (std::size_t at = log.find('#'); at != log.npos; at = log.find('#')) {
        const bool sibling = log[at - 1] == '_';
        log.replace(at - sibling, 1U + sibling, world.folder.Path(sibling ? "_m" : "m"));
    }
    EXPECT_EQ(world.reports.Joined(ReportChannel::StandardOutput), told.output) << name;
    EXPECT_EQ(world.reports.Joined(ReportChannel::Trace), log) << name;
    EXPECT_EQ(world.reports.Joined(ReportChannel::EventLogInformation), log) << name;
}

TEST(MessageHeaders, AMissingMessageIsReported) {
    for (const Refusal& row : kRefusals) {
        const World world;
        EXPECT_EQ(row.operation(world.folder), 1) << row.name;
        ExpectTold(world, row.missing, row.name);
        EXPECT_EQ(world.folder.Names(), Names{}) << row.name;
    }
    const World world;
    EXPECT_EQ(HasFlags(world.folder), 0);
    ExpectTold(world, kNoInput, "HasMessageTempFlags");
}

// The identifier setter goes on to the swap without a copy, and the message is gone.
TEST(MessageHeaders, ASiblingThatCannotBeCreatedIsReportedAndSetMessageUidLosesTheMessage) {
    for (const Refusal& row : kRefusals) {
        const World world(kOldUid);
        CallRecorder calls;
        calls.FailCall(2, ERROR_ACCESS_DENIED);
        EXPECT_EQ(row.operation(world.folder), 1) << row.name;
        ExpectTold(world, row.noSibling, row.name);
        const bool kept = row.name != std::string("SetMessageUid");
        EXPECT_EQ(world.folder.Names(), kept ? Names{"m"} : Names{}) << row.name;
        EXPECT_EQ(ReadBytesOf(world.Message()), kept ? kOldUid : "") << row.name;
    }
}

TEST(MessageHeaders, AReadOnlyMessageStaysAndOnlySetMessageHeaderFieldTidiesUp) {
    for (const Refusal& row : kRefusals) {
        const World world(kOldUid);
        SetFileAttributesA(world.Message().c_str(), FILE_ATTRIBUTE_READONLY);
        row.operation(world.folder);
        SetFileAttributesA(world.Message().c_str(), FILE_ATTRIBUTE_NORMAL);
        EXPECT_EQ(ReadBytesOf(world.Message()), kOldUid) << row.name;
        EXPECT_EQ(ReadBytesOf(world.folder.Path("_m")), row.siblingOfReadOnly) << row.name;
        EXPECT_EQ(world.reports.Joined(ReportChannel::StandardOutput), row.readOnlyOutput)
            << row.name;
        EXPECT_EQ(world.folder.Names().size(), row.siblingOfReadOnly.empty() ? 1U : 2U) << row.name;
    }
}

TEST(MessageHeaders, ASiblingBehindTheLastSeparatorOfEitherKindIsWrittenOver) {
    const World world("A: 1\r\n\r\n");
    for (const std::string& path :
         {world.folder.Path() + "/m", world.folder.Path() + "\\.\\m", world.folder.Path(".//m")}) {
        WriteBytesTo(world.folder.Path("_m"), std::string(5000, 'x'));
        SetMessageHeaderField(path, "A", "2", false);
        EXPECT_EQ(ReadBytesOf(world.Message()), "A: 2\r\n\r\n") << path;
        EXPECT_EQ(world.folder.Names(), Names{"m"}) << path;
    }
}

}  // namespace
}  // namespace tarnwick
