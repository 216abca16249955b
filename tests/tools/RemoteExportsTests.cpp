// The library's exports with a service chosen, beside the same exports on files of this machine.
#include <gtest/gtest.h>

#include <random>

#include "common/Registry.h"
#include "common/Text.h"
#include "tests/tools/ServiceWorld.h"

namespace tarnwick {
namespace {

using testing::Appointment;
using testing::ReadBytesOf;
using testing::ServiceWorld;

// A copy of the library with mail files and a state of its own.
class LibraryCopy {
  public:
    LibraryCopy() {
        testing::ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root",
                                            folder_.Path());
        testing::MakePath(CalendarPath(""));
        const std::string copy = folder_.Path("HERE.DLL");
        CopyFileA((testing::ProgramFolder() + "\\TWAICP.DLL").c_str(), copy.c_str(), FALSE);
        library_ = ModuleHandle(LoadLibraryA(copy.c_str()));
    }
    ~LibraryCopy() { library_.Close(); }

    std::string CalendarPath(const std::string& name) const {
        return folder_.Path("PO\\MAILROOT\\ann\\Calendar\\" + name);
    }
    template <typename... Records>
    std::uint32_t Call(const char* name, Records*... records) const {
        const auto entry = reinterpret_cast<void (*)()>(GetProcAddress(library_.Get(), name));
        return reinterpret_cast<std::uint32_t (*)(Records * ...)>(entry)(records...);
    }

  private:
    testing::ScratchFolder folder_;
    ModuleHandle library_;
};

// An export with a remote way, and the one here that does the same to files.
const struct Operation {
    const char* name;
    bool takesFirstBack = true;
    const char* here = name;
} kOperations[] = {
    {"AppointmentAdd"},
    {"AppointmentRemove"},
    {"AppointmentEdit"},
    {"AppointmentGet"},
    {"AppointmentFindFirst"},
    {"AppointmentFindNext"},
    {"AppointmentItemGetFirstChunk"},
    {"AppointmentItemGetNextChunk"},
    {"AppointmentItemWriteNextChunk", false},
    // The first chunk goes over the wire under the name of the next one, so it does not replace.
    {"AppointmentItemWriteFirstChunk", false, "AppointmentItemWriteNextChunk"},
};

// Two sides run the same on records of their own: one here, the other on the server.
TEST(RemoteExports, DoOnTheServerWhatTheyDoHere) {
    ServiceWorld there;
    const LibraryCopy here;
    const LibraryCopy client;
    client.Call("SetCurrentHost", "S");
    testing::MakePath(there.CalendarPath(""));
    std::mt19937 random(1);
    for (int step = 0; step < 300; ++step) {
        const Operation& operation = kOperations[random() % std::size(kOperations)];
        const std::string name = operation.name;
        const bool isItem = name.find("Item") != std::string::npos;
        constexpr const char* kIds[] = {"", "first", "FIRST", "second", "third"};
        constexpr std::int32_t kNumbers[] = {10, -5, 2147483647};
        const AppointmentRecord entry =
            Appointment(kIds[random() % std::size(kIds)], kNumbers[random() % std::size(kNumbers)]);
        AppointmentItemRecord item{};
        StoreField(item.mailbox, "ann");
        StoreField(item.postoffice, "PO");
        StoreField(item.itemFileName, "item.txt");
        // Every byte that a compressor and an encoder might lose.
        for (std::size_t at = random() % 2 * 8191; at > 0; --at)
            item.data[at - 1] = static_cast<char>(1 + at * at % 255);
        AppointmentItemRecord items[2] = {item, item};
        AppointmentRecord entries[2] = {entry, entry};
        AppointmentRecord news[2] = {Appointment("third", 30, 40), Appointment("third", 30, 40)};
        const auto run = [&](const LibraryCopy& library, const char* function, int side) {
            void* const first = isItem ? static_cast<void*>(&items[side]) : &entries[side];
            return library.Call(function, first, &news[side]);
        };
        ASSERT_EQ(run(here, operation.here, 0), run(client, operation.name, 1)) << name << step;
        if (!operation.takesFirstBack) items[0] = item;
        ASSERT_EQ(std::memcmp(items, items + 1, sizeof item), 0) << name << step;
        ASSERT_EQ(std::memcmp(entries, entries + 1, sizeof entry), 0) << name << step;
        ASSERT_EQ(std::memcmp(news, news + 1, sizeof entry), 0) << name << step;
        for (const char* file : {"Y11M08.CAL", "Y11M08.BAK", "_CHANGE.DTY", "item.txt"}) {
            ASSERT_EQ(ReadBytesOf(here.CalendarPath(file)), ReadBytesOf(there.CalendarPath(file)))
                << name << step;
        }
    }
    EXPECT_EQ(there.log.Count("EXEC AppointmentItemWriteFirstChunk 1"), 0);
}

TEST(RemoteExports, AServiceThatIsGoneOrRefusesGivesZeroAndLeavesTheRecord) {
    ServiceWorld world;
    const LibraryCopy client;
    world.CalendarPath("");
    world.RegisterHost("wrong", "ann:guess");
    AppointmentRecord unsafe = Appointment("a");
    StoreField(unsafe.calendarName, "..\\x");
    const auto add = [&](const char* host, const AppointmentRecord& record) {
        AppointmentRecord sent = record;
        client.Call("SetCurrentHost", host);
        const std::uint32_t result = client.Call("AppointmentAdd", &sent);
        EXPECT_EQ(std::memcmp(&sent, &record, sizeof sent), 0) << host;
        return result;
    };
    EXPECT_EQ(add("wrong", Appointment("a")), 0U);
    EXPECT_EQ(add("unknown", Appointment("a")), 0U);
    EXPECT_EQ(add("S", unsafe), 0U);
    EXPECT_FALSE(testing::PathExists(world.CalendarPath("")));
    EXPECT_EQ(add("S", Appointment("a")), 1U);
    world.Stop();
    EXPECT_EQ(add("S", Appointment("b")), 0U);
    world.Start(world.Port());
    EXPECT_EQ(add("S", Appointment("b")), 1U) << "started anew it is found by the next call";
}

}  // namespace
}  // namespace tarnwick
