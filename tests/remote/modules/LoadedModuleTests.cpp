#include "tests/remote/modules/StandIns.h"

#include <set>

#include <gtest/gtest.h>

#include "remote/shared/OptionsModule.h"
#include "remote/shared/StoreProviderCalls.h"

namespace tarnwick {
namespace {

using namespace store_provider;
using testing::StandIns;

// Lets the named entries seem to be missing, and records what was looked up.
struct EntryHider : testing::CallRecorder {
    explicit EntryHider(const std::set<std::string>& hidden = {}) {
        onCall = [this, hidden](const SystemCall& call) -> std::uint32_t {
            if (call.name != "GetProcAddress" && call.name != "LoadLibrary") return 0;
            lookedUp.emplace_back(call.path);
            if (onLookUp) onLookUp();
            return hidden.contains(lookedUp.back()) ? ERROR_PROC_NOT_FOUND : 0;
        };
    }
    std::vector<std::string> lookedUp;
    std::function<void()> onLookUp;
};

using Names = std::vector<std::string>;

TEST(ProgramDirectory, GetsTheDigitsRightBehindTheRegistryText) {
    testing::ScratchRegistry registry;
    EXPECT_EQ("64", ProgramDirectory64());
    for (const char* value : {"C:\\Tarnwick\\Bin", "C:\\Bin\\"}) {
        registry.SetString(HKEY_LOCAL_MACHINE, kProductKey, "Application Directory", value);
        EXPECT_EQ(value + std::string("64"), ProgramDirectory64());
    }
}

// What a load gives, then two lookups of a fresh process's first use. Each row is a module of its
// own: hidden entries are those that it lacks.
TEST(OptionsModule, AnswersAsFarAsItsEntriesGo) {
    constexpr const char* kPlain = "GetOption 2 'post/box' 'TimeZone'\n";
    constexpr const char* kExtended = "GetOption_Ex 2 'post/box' 'TimeZone' 1024\n";
    const std::tuple<std::set<std::string>, int, std::optional<std::string>, std::string> rows[] = {
        {{}, 1, "extended answer", kExtended},
        {{"GetOption_Ex"}, 1, "plain answer", kPlain},
        {{"SetOption"}, 0, "extended answer", kExtended},
        {{"GetOption"}, 0, "extended answer", kExtended},
        {{"GetOption", "GetOption_Ex"}, 0, std::nullopt, ""},
    };
    {
        // Without the file, and then loaded by a lookup, which fails when an entry is missing.
        testing::ScratchRegistry registry;
        EXPECT_EQ(0, LoadOptionModule());
        EXPECT_EQ(std::nullopt, MailboxTimeZone("post", "box"));
    }
    StandIns modules;
    {
        EntryHider hider({"SetOption"});
        EXPECT_EQ(std::nullopt, MailboxTimeZone("post", "box"));
        EXPECT_EQ(hider.lookedUp, (Names{StandIns::Directory() + "\\TWAISO.DLL", "GetOption",
                                         "GetOption_Ex", "SetOption"}));
        EXPECT_EQ("extended answer", MailboxTimeZone("post", "box")) << "loaded it is asked";
    }
    std::string calls = StandIns::Calls("TWAISO.DLL");
    for (const auto& [hidden, loads, answer, call] : rows) {
        EntryHider hider(hidden);
        EXPECT_EQ(loads, LoadOptionModule());
        EXPECT_EQ(answer, MailboxTimeZone("post", "box"));
        EXPECT_EQ(calls += call, StandIns::Calls("TWAISO.DLL"));
    }
    EXPECT_EQ(1, LoadOptionModule());
    EXPECT_EQ(std::nullopt, MailboxTimeZone("unknown", "box"));
    // The postoffice's root is asked for only while the switch is one.
    calls = StandIns::Calls("TWAISO.DLL");
    for (const std::uint32_t number : {0U, 2U}) {
        postofficeRootSwitch = number;
        EXPECT_EQ("C:\\Mail\\post", PostofficeRoot("C:\\Mail", "post"));
    }
    EXPECT_EQ(calls, StandIns::Calls("TWAISO.DLL"));
    postofficeRootSwitch = 1;
    EXPECT_EQ("extended answer", PostofficeRoot("C:\\Mail", "post"));
    EXPECT_EQ("C:\\Mail\\unknown", PostofficeRoot("C:\\Mail", "unknown"));
    EXPECT_EQ(calls +
                  "GetOption_Ex 1 'post' 'PostofficeRoot' 1024\n"
                  "GetOption_Ex 1 'unknown' 'PostofficeRoot' 1024\n",
              StandIns::Calls("TWAISO.DLL"));
}

TEST(StoreProvider, ItsEntriesAreBoundInOrderAndGivenTheirArguments) {
    StandIns modules;
    EntryHider hider;
    const std::uint64_t first = 7;
    const std::uint64_t second = 9;
    // Those that never load, and a release without a module.
#define NOTHING(operation)
#define IS_ZERO(operation) EXPECT_EQ(0, operation(first, second)) << #operation;
    STORE_ENTRIES(NOTHING, NOTHING, NOTHING, IS_ZERO, NOTHING)
    EXPECT_EQ(0, StoreLibrary_UnInit());
    EXPECT_TRUE(hider.lookedUp.empty());

#define NAME(operation) #operation,
    const Names expected = {StandIns::Directory() + "\\TWAISP.DLL",
                            STORE_ENTRIES(NAME, NAME, NAME, NAME, NAME)};
    EXPECT_EQ(1, LoadStoreProvider(providerModule));
    EXPECT_EQ(1, LoadStoreProvider(providerModule)) << "loaded before";
    EXPECT_EQ(expected, hider.lookedUp);
    std::string calls;
    const auto check = [&](const auto& operation, const char* name, auto result) {
        EXPECT_EQ(result, operation(first, second)) << name;
        EXPECT_EQ(calls += name + std::string(" 7 9\n"), StandIns::Calls("TWAISP.DLL"));
    };
#define IS_STATUS(operation) check(operation, #operation, std::int32_t{0x3456'7890});
#define IS_WIDE(operation) check(operation, #operation, std::uint64_t{0x12'3456'7890});
#define IS_POINTER(operation) check(operation, #operation, reinterpret_cast<void*>(0x12'3456'7890));
    STORE_ENTRIES(IS_STATUS, IS_WIDE, IS_POINTER, IS_STATUS, NOTHING)
    StoreLibrary_UnInit();
}

TEST(StoreProvider, WithoutTheFileOrAnEntryAForwardingGivesZero) {
    {
        testing::ScratchRegistry registry;
        EXPECT_EQ(0, StoreLibrary_Init(1, 2));
        EXPECT_EQ(nullptr, Memory_Allocate(8));
    }
    StandIns modules;
    EntryHider hider({"StoreFolder_Save", "StoreLibrary_SetAffinity", "GetMailboxSize"});
    EXPECT_EQ(0, StoreFolder_Save(7, 9)) << "loads it";
    EXPECT_EQ(0, StoreLibrary_SetAffinity(7, 9));
    EXPECT_EQ(0U, GetMailboxSize(7, 9));
    EXPECT_EQ("", StandIns::Calls("TWAISP.DLL"));
    EXPECT_EQ(1, StoreFolder_Close());
    StoreLibrary_UnInit();
}

TEST(StoreProvider, ReleaseUnloadsAndNoEntryOfTheReleasedModuleIsCalled) {
    StandIns modules;
    EXPECT_EQ(1, StoreFolder_Close());
    StandIns::SetResult("StoreLibrary_UnInit", 77);
    EXPECT_EQ(77, StoreLibrary_UnInit());
    EXPECT_EQ(nullptr, GetModuleHandleA("TWAISP.DLL"));
    EXPECT_EQ(nullptr, providerModule.load());
    EXPECT_EQ(0, StoreLibrary_UnInit()) << "released before";
    // What another thread finds between the handle and the entries of a second load.
    EntryHider hider;
    hider.onLookUp = [&] {
        if (hider.lookedUp.back() != "StoreLibrary_Init") return;
        EXPECT_EQ(0, StoreFolder_Close());
    };
    EXPECT_EQ(1, StoreFolder_Close());
    EXPECT_EQ("StoreFolder_Close\n", StandIns::Calls("TWAISP.DLL"));
    StoreLibrary_UnInit();
}

}  // namespace
}  // namespace tarnwick
