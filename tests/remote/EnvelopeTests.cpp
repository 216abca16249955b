#include <gtest/gtest.h>

#include "remote/Envelope.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

TEST(Envelope, RoundTrip) {
    testing::ReportRecorder reports;
    std::vector<char> request(kRemoteTextSize);
    BuildExecRequest(request, "AppointmentAdd");
    std::vector<std::byte> record(648);
    ASSERT_TRUE(AddRequestParameter(request, 1, record));
    std::vector<std::byte> back(648, std::byte{1});
    ASSERT_TRUE(GetResponseParameter(std::string_view(request.data(), request.size()), 1, back));
    EXPECT_EQ(back, record);
}

}  // namespace
}  // namespace tarnwick
