// Every operation on message files with each of its file calls and allocations failing, and with
// the process dying at the calls.
#include <gtest/gtest.h>

#include <functional>

#include "common/Guid.h"
#include "common/Registry.h"
#include "Library/activity/messages/MessageAttachment.h"
#include "Library/activity/messages/MessageHeaders.h"
#include "tests/support/FailingAllocations.h"
#include "tests/support/ReportRecorder.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

using testing::CallRecorder;
using testing::Environment;
using testing::FailingAllocations;
using testing::ReadBytesOf;
using testing::ReportRecorder;
using testing::ScratchFolder;
using testing::ScratchRegistry;
using testing::WriteBytesTo;

using Outcomes = std::vector<std::string>;

const std::string kOld = "X-UID: 1\r\n\r\nbody\r\n";

struct Operation {
    std::string name;
    std::function<void(const std::string& folder, const std::string& message)> run;
    void Run(const std::string& folder) const { run(folder, folder + "\\m"); }
    // For each call of a clean run, in order, what the folder holds when it failed and when the
    // process died before it.
    struct Call {
        std::string name;
        std::string failed;
        std::string died;
    };
    std::vector<Call> calls;
};

// An edit that swaps its sibling in, with what differs between the operations.
std::vector<Operation::Call> SwappingCalls(const std::string& messageRefused,
                                           const std::string& siblingRefused,
                                           const std::string& deleteRefused) {
    return {
        {"CreateFile m", messageRefused, "m=old"}, {"CreateFile _m", siblingRefused, "m=old"},
        {"ReadFile", "m=old", "_m=empty m=old"},   {"ReadFile", "m=old", "_m=empty m=old"},
        {"WriteFile", "m=old", "_m=empty m=old"},  {"CloseHandle", "m=new", "_m=new m=old"},
        {"CloseHandle", "m=old", "_m=new m=old"},  {"DeleteFile m", deleteRefused, "_m=new m=old"},
        {"MoveFile _m -> m", "_m=new", "_m=new"},
    };
}

const std::string kLeftover = "_m=new m=old";

std::vector<Operation> Operations() {
    return {
        {"SetMessageTempFlags",
         [](const std::string& folder, const std::string&) {
             SetMessageTempFlags(folder, "m", "new", true);
         },
         SwappingCalls("m=old", "m=old", kLeftover)},
        {"SetMessageUid",
         [](const std::string& folder, const std::string&) {
             SetMessageUid(folder, "m", 1, 2, std::nullopt);
         },
         SwappingCalls("m=old", "", kLeftover)},
        {"StripMessageUidAndFlags",
         [](const std::string& folder, const std::string&) {
             StripMessageUidAndFlags(folder, "m", 1, 2);
         },
         SwappingCalls("m=old", "m=old", kLeftover)},
        {"SetMessageHeaderField",
         [](const std::string&, const std::string& message) {
             SetMessageHeaderField(message, "A", "1", true);
         },
         SwappingCalls("m=old", "m=old", "m=old")},
        {"AddAttachmentToMessage",
         [](const std::string&, const std::string& message) {
             AddAttachmentToMessage(message, {}, {"foo", 3});
         },
         SwappingCalls("m=empty", "m=old", kLeftover)},
        {"HasMessageTempFlags",
         [](const std::string& folder, const std::string&) { HasMessageTempFlags(folder, "m"); },
         {{"CreateFile m", "m=old", "m=old"}, {"ReadFile", "m=old", "m=old"}}},
    };
}

// A process's settings for the operations.
struct Settings {
    Settings() {
        ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "UID Branding Enabled", 1);
        SetGuidSource([] { return Guid{}; });
    }
    ScratchRegistry registry;
    ReportRecorder reports;
};

std::string NewContent(const Operation& operation) {
    const ScratchFolder folder;
    WriteBytesTo(folder.Path("m"), kOld);
    operation.Run(folder.Path());
    return ReadBytesOf(folder.Path("m"));
}

// "m=old", "_m=new m=old" and so on.
std::string StateOf(const ScratchFolder& folder, const std::string& newContent) {
    std::string state;
    for (const std::string& name : folder.Names()) {
        const std::string bytes = ReadBytesOf(folder.Path(name));
        const char* content = bytes == kOld         ? "old"
                              : bytes == newContent ? "new"
                              : bytes.empty()       ? "empty"
                                                    : "other";
        state += (state.empty() ? "" : " ") + name + "=" + content;
    }
    return state;
}

// In the child: one operation that dies at one call.
TEST(MessageFaults, Child) {
    const std::string folder = Environment("TARNWICK_FAULT_FOLDER");
    if (folder.empty()) return;
    const Settings settings;
    CallRecorder calls;
    calls.DieAtCall(std::stoi(Environment("TARNWICK_FAULT_CALL")));
    for (const Operation& operation : Operations()) {
        if (operation.name == Environment("TARNWICK_FAULT_OPERATION")) operation.Run(folder);
    }
}

// A failed call leaves what is allowed; a process that dies there the old or the new message whole.
TEST(MessageFaults, AtEachCall) {
    const Settings settings;
    for (const Operation& operation : Operations()) {
        const std::string newContent = NewContent(operation);
        for (std::size_t at = 0; at <= operation.calls.size(); ++at) {
            const ScratchFolder folder;
            WriteBytesTo(folder.Path("m"), kOld);
            CallRecorder calls;
            calls.FailCall(static_cast<int>(at) + 1, ERROR_ACCESS_DENIED);
            operation.Run(folder.Path());
            if (at == operation.calls.size()) {
                EXPECT_EQ(calls.Calls().size(), at) << operation.name << " made more calls";
                continue;
            }
            const Operation::Call& call = operation.calls[at];
            const std::string where =
                operation.name + ", call " + std::to_string(at + 1) + ", " + call.name;
            EXPECT_EQ(calls.Calls()[at], call.name) << where;
            EXPECT_EQ(StateOf(folder, newContent), call.failed) << where;

            const ScratchFolder leftByTheDead;
            WriteBytesTo(leftByTheDead.Path("m"), kOld);
            EXPECT_EQ(testing::RunSelf("MessageFaults.Child",
                                       {"TARNWICK_FAULT_FOLDER=" + leftByTheDead.Path(),
                                        "TARNWICK_FAULT_CALL=" + std::to_string(at + 1),
                                        "TARNWICK_FAULT_OPERATION=" + operation.name}),
                      testing::kDiedAtCall);
            EXPECT_EQ(StateOf(leftByTheDead, newContent), call.died) << where << ", dead";
        }
    }
}

// Reports nothing, which needs no memory.
struct NoReports : ReportSink {
    NoReports() { SetReportSink(this); }
    ~NoReports() override { SetReportSink(nullptr); }
    void Report(ReportChannel, std::string_view) override {}
};

TEST(MessageFaults, AtEachAllocation) {
    const Settings settings;
    const NoReports none;
    for (const Operation& operation : Operations()) {
        const std::string newContent = NewContent(operation);
        testing::FailEachAllocation([&](int number, bool andAllAfter) {
            const ScratchFolder folder;
            const std::string message = folder.Path("m");
            WriteBytesTo(message, kOld);
            {
                const FailingAllocations failing(number, andAllAfter);
                operation.run(folder.Path(), message);
            }
            EXPECT_EQ(StateOf(folder, newContent),
                      FailingAllocations::Any() || newContent == kOld ? "m=old" : "m=new")
                << operation.name << " " << number;
            return FailingAllocations::Any();
        });
    }
}

}  // namespace
}  // namespace tarnwick
