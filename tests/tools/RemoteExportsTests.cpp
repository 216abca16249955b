// The library's exports with a host chosen, carried out by the service on its own files.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/tools/ServiceWorld.h"
#include "twaicp.h"

namespace tarnwick {
namespace {

using testing::Appointment;
using testing::ReadBytesOf;
using testing::ServiceWorld;

// The host is chosen for the whole of a test.
struct RemoteWorld : ServiceWorld {
    RemoteWorld() {
        CalendarPath("");
        SetCurrentHost("S");
    }
    ~RemoteWorld() { SetCurrentHost(""); }
};

AppointmentItemRecord Item(const std::string& data) {
    AppointmentItemRecord record{};
    std::strcpy(record.mailbox, "ann");
    std::strcpy(record.postoffice, "PO");
    std::strcpy(record.itemFileName, "item.txt");
    data.copy(record.data, sizeof record.data);
    return record;
}

// Every byte that a compressor and an encoder might lose, over the whole of the data field.
std::string Chunk(std::size_t size) {
    std::string text;
    for (std::size_t at = 0; at < size; ++at) text += static_cast<char>(1 + at * at % 255);
    return text;
}

TEST(RemoteExports, AppointmentsAreThoseOfTheService) {
    RemoteWorld world;
    AppointmentRecord record = Appointment("first", -5, 2147483647);
    EXPECT_EQ(AppointmentAdd(&record), 1U);
    EXPECT_EQ(AppointmentAdd(&record), 0U) << "the same ID";
    record = Appointment("second");
    EXPECT_EQ(AppointmentAdd(&record), 1U);
    EXPECT_EQ(ReadBytesOf(world.CalendarPath("Y11M08.CAL")),
              "-5\t2147483647\tfirst\r\n10\t20\tsecond");

    AppointmentRecord replacement = Appointment("third", 30, 40);
    record = Appointment("SECOND");
    EXPECT_EQ(AppointmentEdit(&record, &replacement), 1U);

    record = Appointment("THIRD", 0, 0);
    EXPECT_EQ(AppointmentGet(&record), 1U);
    EXPECT_STREQ(record.appointmentId, "third");
    EXPECT_EQ(record.start, 30);
    EXPECT_EQ(record.end, 40);
    record = Appointment("no such");
    EXPECT_EQ(AppointmentGet(&record), 0U);

    record = Appointment("");
    EXPECT_EQ(AppointmentFindFirst(&record), 1U);
    EXPECT_STREQ(record.appointmentId, "first");
    record = Appointment("");
    EXPECT_EQ(AppointmentFindNext(&record), 1U);
    EXPECT_STREQ(record.appointmentId, "third");
    record = Appointment("");
    EXPECT_EQ(AppointmentFindNext(&record), 0U);

    EXPECT_EQ(AppointmentRemove(&record), 1U) << "an empty ID removes all";
    EXPECT_FALSE(testing::PathExists(world.CalendarPath("Y11M08.CAL")));
}

// The first chunk goes over the wire under the name of the next one, so it does not replace.
TEST(RemoteExports, TheFirstItemChunkIsAppendedLikeTheNext) {
    RemoteWorld world;
    AppointmentRecord folder = Appointment("x");
    AppointmentAdd(&folder);
    const std::string chunk = Chunk(8191);
    AppointmentItemRecord record = Item(chunk);
    EXPECT_EQ(AppointmentItemWriteFirstChunk(&record), 1U);
    EXPECT_EQ(AppointmentItemWriteFirstChunk(&record), 1U);
    record = Item("end");
    EXPECT_EQ(AppointmentItemWriteNextChunk(&record), 1U);
    EXPECT_EQ(ReadBytesOf(world.CalendarPath("item.txt")), chunk + chunk + "end");
    EXPECT_EQ(world.log.Count("EXEC AppointmentItemWriteFirstChunk 1"), 0);
}

TEST(RemoteExports, ItemsAreReadFromTheService) {
    RemoteWorld world;
    AppointmentRecord folder = Appointment("x");
    AppointmentAdd(&folder);
    const std::string content = Chunk(9000);
    testing::WriteBytesTo(world.CalendarPath("item.txt"), content);
    AppointmentItemRecord record = Item("");
    EXPECT_EQ(AppointmentItemGetFirstChunk(&record), 1U);
    EXPECT_EQ(record.length, 8192);
    EXPECT_EQ(std::string(record.data, 8192), content.substr(0, 8192));
    EXPECT_EQ(AppointmentItemGetNextChunk(&record), 1U);
    EXPECT_EQ(std::string(record.data, 807), content.substr(8193)) << "one byte is skipped";
    EXPECT_EQ(record.length, 807);
    EXPECT_EQ(AppointmentItemGetNextChunk(&record), 0U);
    record.length = 0;
    EXPECT_EQ(AppointmentItemGetSize(&record), 0U);
    EXPECT_NE(record.length, 0) << "the time of the last access";
    std::strcpy(record.itemFileName, "none");
    EXPECT_EQ(AppointmentItemGetSize(&record), 0U);
    EXPECT_EQ(record.length, 0);
}

TEST(RemoteExports, LocalFunctionsStayLocal) {
    RemoteWorld world;
    AppointmentItemRecord item = Item("");
    FreeBusyRecord freeBusy{};
    EXPECT_EQ(AppointmentItemDelete(&item), 1U);
    EXPECT_EQ(GetFreeBusyData(&freeBusy), 1U);
    AppointmentItemGetCurrentOffset();
    AppointmentGetLastError();
    AppointmentListItemFindFirst(&item, &item);
    EXPECT_TRUE(world.log.Lines().empty());
}

TEST(RemoteExports, AServiceThatWasStartedAnewIsFoundByTheNextCall) {
    RemoteWorld world;
    AppointmentRecord record = Appointment("a");
    EXPECT_EQ(AppointmentAdd(&record), 1U);
    world.Stop();
    const AppointmentRecord before = record;
    EXPECT_EQ(AppointmentGet(&record), 0U);
    EXPECT_EQ(std::memcmp(&record, &before, sizeof record), 0);
    world.Start(world.Port());
    EXPECT_EQ(AppointmentGet(&record), 1U);
}

TEST(RemoteExports, RefusedCallsGiveZeroAndLeaveTheRecord) {
    RemoteWorld world;
    world.RegisterHost("wrong", "ann:guess");
    AppointmentRecord unsafe = Appointment("a");
    std::strcpy(unsafe.calendarName, "..\\x");
    const struct {
        const char* host;
        AppointmentRecord record;
    } cases[] = {{"wrong", Appointment("a")}, {"S", unsafe}, {"unknown", Appointment("a")}};
    for (const auto& row : cases) {
        SetCurrentHost(row.host);
        AppointmentRecord record = row.record;
        EXPECT_EQ(AppointmentAdd(&record), 0U) << row.host;
        EXPECT_EQ(std::memcmp(&record, &row.record, sizeof record), 0) << row.host;
    }
    EXPECT_FALSE(testing::PathExists(world.CalendarPath("")));
    SetCurrentHost("S");
    AppointmentRecord record = Appointment("a");
    EXPECT_EQ(AppointmentAdd(&record), 1U);
}

}  // namespace
}  // namespace tarnwick
