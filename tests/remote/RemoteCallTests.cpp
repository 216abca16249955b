// Whole operations against a peer that answers right, wrong, in part or not at all.
#include "remote/RemoteCall.h"

#include <gtest/gtest.h>

#include <winternl.h>

#include <array>
#include <atomic>
#include <future>
#include <optional>
#include <thread>

#include "remote/Envelope.h"
#include "remote/RemoteSession.h"
#include "tests/remote/SessionWorld.h"
#include "tests/support/FailingAllocations.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::Joined;
using testing::PeerAnswer;
using testing::ReportRecorder;

using Record = std::array<std::byte, 648>;

Record Filled(int value) {
    Record record;
    record.fill(static_cast<std::byte>(value));
    return record;
}

// One element of a reply, as a service writes it.
std::string Element(int number, std::span<const std::byte> bytes) {
    std::vector<char> encoded(kRemoteTextSize);
    EncodeParameter(bytes, encoded);
    const std::string name = "PARAMETER" + std::to_string(number);
    return "<" + name + " SIZE=" + std::to_string(bytes.size()) + ">" + encoded.data() + "</" +
           name + ">";
}

std::string ResultElement(std::int32_t result) {
    return Element(0, std::as_bytes(std::span(&result, 1)));
}

// Host A answers EXEC with `answer`, everything else with success.
struct CallWorld : testing::SessionWorld {
    ReportRecorder reports;
    PeerAnswer answer;

    CallWorld() {
        a.SetScript([this](const std::string& request) {
            const bool exec = testing::NameOfRequest(request).starts_with("EXEC");
            return exec ? answer : testing::AcceptingAnswer(request);
        });
        SetCurrentHost("A");
    }
    ~CallWorld() {
        SetCurrentHost("");
        CallRemotely("", {});
    }
};

std::size_t CountOf(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) ++count;
    return count;
}

// The answer of the next operation, and its records: as passed (1 and 3) or as the service sent
// (2).
struct Outcome {
    std::optional<std::int32_t> result;
    Record record = Filled(1), second = Filled(3);
};

Outcome Call() {
    Outcome outcome;
    outcome.result = CallRemotely(
        "F", {{outcome.record, Transfer::CopiedBack}, {outcome.second, Transfer::SentOnly}});
    return outcome;
}

TEST(RemoteCall, TakesWholeElementsAloneAndTheNextCallWorks) {
    CallWorld world;
    const std::string result = ResultElement(1);
    const std::string record = Element(1, Filled(2));
    const auto padded = [&](std::size_t size) {
        return std::string(size - record.size(), '.') + record;
    };
    // The answer, whether the connection is then closed; the result and what fills the record.
    const std::tuple<std::string, bool, int, int> rows[] = {
        {"<DATA>" + Element(2, Filled(6)) + record + result + "</DATA>", false, 1, 2},
        {result, false, 1, 1},
        {record, false, 0, 2},
        {"<METHOD>X</METHOD><FUNCTION>F</FUNCTION>" + result, false, 1, 1},
        {'\0' + result + record, false, 0, 1},
        {"", true, 0, 1},
        {result + record, true, 1, 2},
        {padded(32768), false, 0, 2},  // exactly the buffer
        {padded(32769), false, 0, 1},
        {result + std::string(40000, '.') + record, false, 1, 1}};
    for (const auto& [text, close, expected, filling] : rows) {
        SCOPED_TRACE(text.substr(0, 100));
        world.answer = {text, close};
        const Outcome outcome = Call();
        EXPECT_EQ(outcome.result, expected);
        EXPECT_EQ(outcome.record, Filled(filling));
        EXPECT_EQ(outcome.second, Filled(3));
        world.answer = {ResultElement(-42) + record};
        world.a.TakeRequests();
        const Outcome next = Call();
        EXPECT_EQ(next.result, -42);
        EXPECT_EQ(next.record, Filled(2));
        EXPECT_TRUE(world.a.TakeRequests().ends_with(
            "<DATA><METHOD>EXEC</METHOD><FUNCTION>F</FUNCTION><PARAMETERS>" +
            Element(1, Filled(1)) + Element(2, Filled(3)) + "</PARAMETERS></DATA>"));
    }
    SetCurrentHost("dead");
    world.reports.Take();
    EXPECT_EQ(Call().result, 0);
    EXPECT_TRUE(world.reports.Joined(ReportChannel::StandardOutput).starts_with("compressing...\n"))
        << "what cannot be sent is traced, too";
}

// The path of this process's program as the loader keeps it.
UNICODE_STRING& OwnPath() {
    const LIST_ENTRY* modules =
        &NtCurrentTeb()->ProcessEnvironmentBlock->Ldr->InMemoryOrderModuleList;
    return CONTAINING_RECORD(modules->Flink, LDR_DATA_TABLE_ENTRY, InMemoryOrderLinks)->FullDllName;
}

TEST(RemoteCall, OneOfTheServersOwnProgramsWorksLocallyWhateverIsChosen) {
    CallWorld world;
    world.answer.text = ResultElement(1);
    EXPECT_EQ(Call().result, 1);
    wchar_t name[] = L"TWSERV.EXE";
    const UNICODE_STRING real = OwnPath();
    OwnPath() = {sizeof name - sizeof *name, sizeof name, name};
    EXPECT_EQ(Call().result, std::nullopt);
    OwnPath() = real;
}

TEST(RemoteCall, NobodyWaitsWhileAReplyIsExpanded) {
    CallWorld world;
    world.answer.text = ResultElement(1);
    std::future<Outcome> other;
    bool isStarted = false;
    bool isDone = false;
    const testing::ReportWatcher watcher([&](std::string_view text) {
        if (!text.starts_with("decompressing") || std::exchange(isStarted, true)) return;
        other = std::async(std::launch::async, Call);
        isDone = other.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    });
    EXPECT_EQ(Call().result, 1);
    EXPECT_TRUE(isDone);
    EXPECT_EQ(other.get().result, 1);
}

TEST(RemoteCall, WithoutMemoryARequestIsSentWithAllItsArgumentsOrNotAtAll) {
    CallWorld world;
    const testing::ReportWatcher silence;
    world.answer.text = ResultElement(1) + Element(1, Filled(2));
    const int allocations = testing::FailEachAllocation([&](int number, bool andAllAfter) {
        try {
            const testing::FailingAllocations failing(number, andAllAfter);
            Call();
        } catch (const std::bad_alloc&) {
        }
        return testing::FailingAllocations::Any();
    });
    EXPECT_GE(allocations, 10);
    const std::string requests = world.a.TakeRequests();
    for (const char* part : {"</PARAMETER1>", "</PARAMETER2>"}) {
        EXPECT_EQ(CountOf(requests, part), CountOf(requests, "<METHOD>EXEC")) << part;
    }
}

// Each thread's reply carries back what that thread sent, whatever the others do meanwhile.
TEST(RemoteCall, ThreadsDoNotMixTheirRequests) {
    CallWorld world;
    world.a.SetScript([](const std::string& request) -> PeerAnswer {
        if (!testing::NameOfRequest(request).starts_with("EXEC")) {
            return testing::AcceptingAnswer(request);
        }
        std::int32_t number = 0;
        GetResponseParameter(request, 1, std::as_writable_bytes(std::span(&number, 1)));
        std::int32_t echoed = -number;
        return {ResultElement(number) + Element(1, std::as_bytes(std::span(&echoed, 1)))};
    });
    constexpr int kCalls = 25;
    std::atomic<int> right = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&right, thread] {
            for (std::int32_t sent = thread * 1000; sent < thread * 1000 + kCalls; ++sent) {
                std::int32_t record = sent;
                const auto bytes = std::as_writable_bytes(std::span(&record, 1));
                const auto result = CallRemotely("F", {{bytes, Transfer::CopiedBack}});
                right += result == sent && record == -sent ? 1 : 0;
                SetCurrentHost(sent % 2 == 0 ? "a" : "A");
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(right, 8 * kCalls);
    EXPECT_EQ(CountOf(Joined(world.a.TakeEvents()), "connect"), 1U);
}

}  // namespace
}  // namespace tarnwick
