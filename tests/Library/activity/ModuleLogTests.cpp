#include <gtest/gtest.h>

#include <algorithm>

#include "Library/activity/ModuleLog.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::ReportRecorder;
using Reported = std::vector<std::pair<ReportChannel, std::string>>;

TEST(ModuleLog, ReplacesPlaceholdersInOrder) {
    struct Case {
        const char* format;
        std::initializer_list<LogArgument> arguments;
        const char* text;
    };
    const std::string text = "x";
    const Case cases[] = {
        {"[%ld] %s (%d)\n", {-1, text, 2147483647}, "[-1] x (2147483647)\n"},
        {"%s%s", {"%ld", "b"}, "%ldb"},
        {"100%, %x, %s", {"y"}, "100%, %x, y"},
        {"%s and %s", {"one"}, "one and %s"},
        {"%", {"unused"}, "%"},
        {"%ld", {4294967295U}, "-1"},
    };
    for (const Case& row : cases) {
        ReportRecorder reports;
        LogMessage(row.format, row.arguments);
        EXPECT_EQ(reports.Joined(ReportChannel::Trace), row.text) << row.format;
    }
}

TEST(ModuleLog, CutsToItsBuffer) {
    for (const std::size_t length : {1021U, 1022U, 1023U, 5000U}) {
        ReportRecorder reports;
        LogMessage("%s\n", {std::string(length, 'a')});
        EXPECT_EQ(reports.Joined(ReportChannel::Trace).size(),
                  std::min<std::size_t>(length + 1, 1023));
    }
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
