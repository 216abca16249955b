#include <gtest/gtest.h>

#include "Library/activity/ModuleLog.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::ReportRecorder;
using Reported = std::vector<std::pair<ReportChannel, std::string>>;

std::string Logged(std::string_view format, std::initializer_list<LogArgument> arguments) {
    ReportRecorder reports;
    LogMessage(format, arguments);
    return reports.Joined(ReportChannel::Trace);
}

TEST(ModuleLog, ReplacesPlaceholdersInOrderAndCutsToItsBuffer) {
    const std::string text = "x", many(5000, 'a'), most(1022, 'a');
    EXPECT_EQ(Logged("[%ld] %s (%d)\n", {-1, text, 2147483647}), "[-1] x (2147483647)\n");
    EXPECT_EQ(Logged("%s%s", {"%ld", "b"}), "%ldb");
    EXPECT_EQ(Logged("100%, %x, %s", {"y"}), "100%, %x, y");
    EXPECT_EQ(Logged("%s and %s", {"one"}), "one and %s");
    EXPECT_EQ(Logged("%", {"unused"}), "%");
    EXPECT_EQ(Logged("%ld", {4294967295U}), "-1");
    EXPECT_EQ(Logged("%s\n", {most}), most + "\n");
    EXPECT_EQ(Logged("%s\n", {most + "a"}), most + "a");
    EXPECT_EQ(Logged("%s\n", {many}), most + "a");
}

TEST(ModuleLog, GoesToTheTraceAndToTheEventLogByItsCode) {
    const std::pair<std::string, ReportChannel> cases[] = {
        {"TW-IXXXX: Information: a\n", ReportChannel::EventLogInformation},
        {"TW-WXXXX: b\n", ReportChannel::EventLogWarning},
        {"TW-EXXXX: Error: c\n", ReportChannel::EventLogError},
        {"[1] TW-EXXXX: d\n", ReportChannel::EventLogInformation},
        {"TW-", ReportChannel::EventLogInformation},
        {"", ReportChannel::EventLogInformation},
    };
    for (const auto& [text, channel] : cases) {
        ReportRecorder reports;
        LogMessage(text);
        EXPECT_EQ(reports.Take(), (Reported{{ReportChannel::Trace, text}, {channel, text}}))
            << text;
    }
}

}  // namespace
}  // namespace tarnwick
