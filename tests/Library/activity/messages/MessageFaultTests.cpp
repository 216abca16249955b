// Every edit of a message with each of its file calls and allocations failing, and with the process
// dying at the calls.
#include <gtest/gtest.h>

#include "common/Guid.h"
#include "common/Registry.h"
#include "common/Reports.h"
#include "Library/activity/messages/MessageAttachment.h"
#include "Library/activity/messages/MessageHeaders.h"
#include "tests/support/FaultSweep.h"

namespace tarnwick {
namespace {

using testing::FaultyOperation;
using testing::ReadBytesOf;
using testing::ScratchFolder;

const std::string kOld = "X-UID: 1\r\n\r\nbody\r\n";
// Of more blocks than one.
const std::string kLong = kOld + std::string(200'000, 'b');

// Settings of the process; reports nothing, which needs no memory.
struct Settings : ReportSink {
    Settings() {
        testing::ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "UID Branding Enabled",
                                           1);
        SetGuidSource([] { return Guid{}; });
        SetReportSink(this);
    }
    ~Settings() override { SetReportSink(nullptr); }
    void Report(ReportChannel, std::string_view) override {}
    testing::ScratchRegistry registry;
};

FaultyOperation Operation(const char* name, const std::string& message,
                          int (*run)(const std::string& folder), const char* failed,
                          const char* died) {
    return {
        name,
        [&message](const std::string& folder) { testing::WriteBytesTo(folder + "\\m", message); },
        [run](const std::string& folder) { return std::to_string(run(folder)); }, failed, died};
}

// The message's path, without an allocation.
const char* MessageIn(const std::string& folder) {
    static char path[MAX_PATH];
    std::snprintf(path, sizeof path, "%s\\m", folder.c_str());
    return path;
}
int SetField(const std::string& folder) {
    return SetMessageHeaderField(MessageIn(folder), "A", "1", true), 1;
}
int Attach(const std::string& folder) {
    return AddAttachmentToMessage(MessageIn(folder), {}, {"foo", 3});
}

// A word holds the result, which the dead have none of, and whether the message and its sibling
// ("_") are the old one, the new one, empty, or part of one.
std::vector<FaultyOperation> Operations() {
    const char* const died = "old old _emptyold _emptyold _emptyold _newold _newold _newold _new";
    return {
        Operation(
            "flags", kOld,
            [](const std::string& in) { return SetMessageTempFlags(in, "m", "f", true); },
            "1old 1old 1old 1old 1old 1new 1old 1_newold 1_new", died),
        Operation(
            "uid", kOld,
            [](const std::string& in) { return SetMessageUid(in, "m", 1, 2, std::nullopt); },
            "1old 1 1old 1old 1old 1new 1old 1_newold 1_new", died),
        Operation(
            "strip", kOld,
            [](const std::string& in) { return StripMessageUidAndFlags(in, "m", 1, 2); },
            "1old 1old 1old 1old 1old 1new 1old 1_newold 1_new", died),
        Operation("field", kOld, SetField, "1old 1old 1old 1old 1old 1new 1old 1old 1_new", died),
        Operation("field-long", kLong, SetField,
                  "1old 1old 1old 1old 1old 1old 1old 1old 1old 1old 1old 1new 1old 1old 1_new",
                  ""),
        Operation("attach", kOld, Attach, "1empty 1old 1old 1old 1old 1new 1old 1_newold 1_new",
                  died),
        Operation("attach-long", kLong, Attach,
                  "1empty 1old 1old 1old 1old 1old 1old 1old 1old 1old 1old 1new 1old 1_newold "
                  "1_new",
                  ""),
        Operation(
            "has", kOld, [](const std::string& in) { return HasMessageTempFlags(in, "m"); },
            "0old 0old", "old old"),
    };
}

std::string Describe(const FaultyOperation& operation, const std::string& result,
                     const ScratchFolder& folder) {
    const ScratchFolder clean;
    operation.prepare(clean.Path());
    const std::string old = ReadBytesOf(clean.Path("m"));
    operation.run(clean.Path());
    const std::string edited = ReadBytesOf(clean.Path("m"));
    std::string word = result;
    for (const std::string& name : folder.Names()) {
        const std::string bytes = ReadBytesOf(folder.Path(name));
        word += name == "m" ? "" : "_";
        word += bytes == old ? "old" : bytes == edited ? "new" : bytes.empty() ? "empty" : "part";
    }
    return word;
}

TEST(MessageFaults, EachCallFailingLosesOnlyWhatMustBeLost) {
    const Settings settings;
    testing::FailEachCall(Operations(), ERROR_ACCESS_DENIED, Describe);
}

TEST(MessageFaults, TheDeadLeaveTheOldOrTheNewMessageWhole) {
    const Settings settings;
    testing::DieAtEachCall("MessageFaults.TheDeadLeaveTheOldOrTheNewMessageWhole", Operations(),
                           Describe);
}

TEST(MessageFaults, WithoutMemoryAMessageStaysAsItWas) {
    const Settings settings;
    std::vector<FaultyOperation> operations = Operations();
    operations.pop_back();
    testing::FailEachAllocationOf(operations, "1old", Describe);
    testing::FailEachAllocationOf({Operations().back()}, "0old", Describe);
}

}  // namespace
}  // namespace tarnwick
