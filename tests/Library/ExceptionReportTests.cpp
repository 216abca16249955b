#include "common/WindowsApi.h"

#include <comdef.h>

#include "Library/ExceptionReport.h"

#include <gtest/gtest.h>

#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

template <typename Thrown>
std::vector<std::pair<ReportChannel, std::string>> ReportsOf(const Thrown& thrown) {
    testing::ReportRecorder reports;
    try {
        throw thrown;
    } catch (...) {
        ReportCaughtException("Operation");
    }
    return reports.Take();
}

TEST(ExceptionReport, HasOneTextForEachKind) {
    const auto com = ReportsOf(_com_error(E_OUTOFMEMORY));
    ASSERT_EQ(com.size(), 1U);
    EXPECT_EQ(com[0].first, ReportChannel::Trace);
    EXPECT_TRUE(com[0].second.starts_with(
        "Operation handled a COM error.\nCode = 0x8007000e\nCode meaning = "))
        << com[0].second;
    EXPECT_TRUE(com[0].second.ends_with("\nSource = \nEror Description = \n")) << com[0].second;

    const std::string text =
        "Operation handled an exception; session will be dropped.\nThe exception was: broken\n";
    const auto standard = ReportsOf(std::runtime_error("broken"));
    ASSERT_EQ(standard.size(), 2U);
    EXPECT_EQ(standard[0], std::pair(ReportChannel::Trace, text));
    EXPECT_EQ(standard[1], std::pair(ReportChannel::EventLogError, text));

    const auto other = ReportsOf(7);
    ASSERT_EQ(other.size(), 1U);
    EXPECT_EQ(other[0],
              std::pair(ReportChannel::Trace, std::string("Operation raised an exception")));
}

}  // namespace
}  // namespace tarnwick
