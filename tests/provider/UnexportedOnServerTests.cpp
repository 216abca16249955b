// The operations that no export calls, with a server chosen.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "provider/AppointmentItems.h"
#include "provider/ListItems.h"
#include "provider/ModuleState.h"
#include "remote/Envelope.h"
#include "remote/RemoteSession.h"
#include "tests/remote/SessionWorld.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using Bytes = std::span<std::byte>;

std::string Element(int number, std::span<const std::byte> bytes) {
    std::vector<char> text(kRemoteTextSize);
    EncodeParameter(bytes, text);
    const std::string name = "PARAMETER" + std::to_string(number);
    return "<" + name + " SIZE=" + std::to_string(bytes.size()) + ">" + text.data() + "</" + name +
           ">";
}

// Kept so for servers and callers alike: each has its own name there, sends its record whole and
// takes the result alone.
TEST(UnexportedOnServer, EachSendsItsRecordAndTakesTheResultAlone) {
    testing::SessionWorld world;
    const testing::ReportRecorder reports;
    SetCurrentHost("A");
    std::int32_t position = 0x01010101;
    static ListRecord list;
    static AppointmentItemRecord item;
    const struct {
        const char* name;
        Bytes record;
        std::function<std::uint32_t()> call;
    } rows[] = {
        {"AppointmentListItemListSetPosition", std::as_writable_bytes(std::span(&position, 1)),
         [&] { return AppointmentListItemListSetPosition(position); }},
        {"AppointmentListItemListGetLength", list,
         [] { return AppointmentListItemListGetLength(list); }},
        {"AppointmentItemWriteFirstChunk", std::as_writable_bytes(std::span(&item, 1)),
         [] { return RewriteItem(item); }},
    };
    for (const auto& row : rows) {
        const std::int32_t result = 7;
        const std::vector<std::byte> other(row.record.size(), std::byte{2});
        std::fill(row.record.begin(), row.record.end(), std::byte{1});
        const std::string sent = std::string("<FUNCTION>") + row.name + "</FUNCTION><PARAMETERS>" +
                                 Element(1, row.record) + "</PARAMETERS>";
        world.a.SetScript([&](const std::string& request) -> testing::PeerAnswer {
            if (!testing::NameOfRequest(request).starts_with("EXEC")) {
                return testing::AcceptingAnswer(request);
            }
            return {"<DATA>" + Element(0, std::as_bytes(std::span(&result, 1))) +
                    Element(1, other) + "</DATA>"};
        });
        EXPECT_EQ(row.call(), 7U) << row.name;
        EXPECT_NE(world.a.Received().find(sent), std::string::npos) << row.name;
        EXPECT_EQ(std::count(row.record.begin(), row.record.end(), std::byte{1}),
                  static_cast<std::ptrdiff_t>(row.record.size()))
            << row.name;
    }
    world.a.CloseAll();
}

}  // namespace
}  // namespace tarnwick
