#include <gtest/gtest.h>

#include "Library/activity/ModuleLog.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

TEST(ModuleLog, GoesToTheTraceAndToTheEventLogByItsCode) {
    struct Case {
        std::string text;
        ReportChannel channel;
    };
    const Case cases[] = {
        {"TW-IXXXX: Information: a\n", ReportChannel::EventLogInformation},
        {"TW-WXXXX: b\n", ReportChannel::EventLogWarning},
        {"TW-EXXXX: Error: c\n", ReportChannel::EventLogError},
        {"no code", ReportChannel::EventLogInformation},
        {"", ReportChannel::EventLogInformation},
        {"TW-", ReportChannel::EventLogInformation},
    };
    for (const Case& row : cases) {
        testing::ReportRecorder reports;
        LogMessage(row.text);
        using Reports = std::vector<std::pair<ReportChannel, std::string>>;
        EXPECT_EQ(reports.Take(),
                  (Reports{{ReportChannel::Trace, row.text}, {row.channel, row.text}}))
            << row.text;
    }
}

TEST(ModuleLog, CutsWhatItsBufferCannotHold) {
    for (const std::size_t length : {1022U, 1023U, 1024U, 5000U}) {
        testing::ReportRecorder reports;
        LogMessage(std::string(length, 'x'));
        EXPECT_EQ(reports.Joined(ReportChannel::Trace).size(), std::min<std::size_t>(length, 1023));
    }
}

}  // namespace
}  // namespace tarnwick
