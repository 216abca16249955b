#include <gtest/gtest.h>

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
        {"plain\n", {}, "plain\n"},
        {"[%ld] %s (%d)\n", {-1, text, 2147483647}, "[-1] x (2147483647)\n"},
        {"%s%s", {"%ld", "b"}, "%ldb"},
        {"100%, %x, %s", {"y"}, "100%, %x, y"},
        {"%s and %s", {"one"}, "one and %s"},
        {"%", {"unused"}, "%"},
        {"%l", {1}, "%l"},
        {"%ld", {4294967295U}, "-1"},
        {"%ld", {std::int64_t{-2147483648}}, "-2147483648"},
    };
    for (const Case& row : cases) {
        ReportRecorder reports;
        LogMessage(row.format, row.arguments);
        EXPECT_EQ(reports.Joined(ReportChannel::Trace), row.text) << row.format;
    }
}

TEST(ModuleLog, CutsToItsBuffer) {
    struct Case {
        std::size_t argumentLength;
        std::size_t textLength;
    };
    for (const Case& row :
         {Case{1021, 1022}, Case{1022, 1023}, Case{1023, 1023}, Case{5000, 1023}}) {
        ReportRecorder reports;
        LogMessage("%s\n", {std::string(row.argumentLength, 'a')});
        EXPECT_EQ(reports.Joined(ReportChannel::Trace).size(), row.textLength);
    }
}

TEST(ModuleLog, GoesToTheTraceAndToTheEventLogByItsCode) {
    struct Case {
        std::string text;
        ReportChannel channel;
    };
    const Case cases[] = {
        {"TW-IXXXX: Information: a\n", ReportChannel::EventLogInformation},
        {"TW-WXXXX: b\n", ReportChannel::EventLogWarning},
        {"TW-EXXXX: Error: c\n", ReportChannel::EventLogError},
        {"[1] TW-EXXXX: d\n", ReportChannel::EventLogInformation},
        {"no code", ReportChannel::EventLogInformation},
        {"", ReportChannel::EventLogInformation},
        {"TW-", ReportChannel::EventLogInformation},
    };
    for (const Case& row : cases) {
        ReportRecorder reports;
        LogMessage(row.text);
        EXPECT_EQ(reports.Take(),
                  (Reported{{ReportChannel::Trace, row.text}, {row.channel, row.text}}))
            << row.text;
    }
}

}  // namespace
}  // namespace tarnwick
