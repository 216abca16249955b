#include <set>

#include <gtest/gtest.h>

#include "remote/shared/OptionsModule.h"
#include "remote/shared/StoreProviderCalls.h"
#include "tests/remote/modules/StandIns.h"

namespace tarnwick {
namespace {

using namespace store_provider;
using testing::StandIns;
using Names = std::vector<std::string>;

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
    Names lookedUp;
    std::function<void()> onLookUp;
};

TEST(LoadedModules, LieInTheFolderWithTheDigitsRightBehindIt) {
    testing::ScratchRegistry registry;
    EXPECT_EQ("64", ProgramDirectory64());
    registry.SetString(HKEY_LOCAL_MACHINE, kProductKey, "Application Directory", "C:\\Bin\\");
    EXPECT_EQ("C:\\Bin\\64", ProgramDirectory64());
    EXPECT_EQ(0, LoadOptionModule());
    EXPECT_EQ(std::nullopt, MailboxTimeZone("post", "box"));
    EXPECT_EQ(0, StoreLibrary_Init(1, 2));
}

TEST(OptionsModule, AnswersAsFarAsItsEntriesGo) {
    StandIns modules;
    {
        // Loaded by a lookup, which fails when an entry is missing; the next one is answered.
        EntryHider hider({"SetOption"});
        EXPECT_EQ(std::nullopt, MailboxTimeZone("post", "box"));
        EXPECT_EQ(hider.lookedUp, (Names{StandIns::Directory() + "\\TWAISO.DLL", "GetOption",
                                         "GetOption_Ex", "SetOption"}));
        EXPECT_EQ("extended answer", MailboxTimeZone("post", "box"));
    }
    // Each row is a module of its own: hidden entries are those that it lacks.
    const std::tuple<std::set<std::string>, int, std::optional<std::string>, std::string> rows[] = {
        {{}, 1, "extended answer", "GetOption_Ex 2 'post/box' 'TimeZone' 1024\n"},
        {{"GetOption_Ex"}, 1, "plain answer", "GetOption 2 'post/box' 'TimeZone'\n"},
        {{"SetOption"}, 0, "extended answer", "GetOption_Ex 2 'post/box' 'TimeZone' 1024\n"},
        {{"GetOption"}, 0, "extended answer", "GetOption_Ex 2 'post/box' 'TimeZone' 1024\n"},
        {{"GetOption", "GetOption_Ex"}, 0, std::nullopt, ""},
    };
    std::string& calls = StandIns::State("TWAISO.DLL").calls;
    for (const auto& [hidden, loads, answer, call] : rows) {
        EntryHider hider(hidden);
        calls.clear();
        EXPECT_EQ(loads, LoadOptionModule());
        EXPECT_EQ(answer, MailboxTimeZone("post", "box"));
        EXPECT_EQ(call, calls);
    }
    EXPECT_EQ(1, LoadOptionModule());
    EXPECT_EQ(std::nullopt, MailboxTimeZone("unknown", "box"));
    // The postoffice's root is asked for only while the switch is one.
    calls.clear();
    for (const std::uint32_t number : {0U, 2U}) {
        postofficeRootSwitch = number;
        EXPECT_EQ("C:\\Mail\\post", PostofficeRoot("C:\\Mail", "post"));
    }
    EXPECT_EQ(calls, "");
    postofficeRootSwitch = 1;
    EXPECT_EQ("extended answer", PostofficeRoot("C:\\Mail", "post"));
    EXPECT_EQ("C:\\Mail\\unknown", PostofficeRoot("C:\\Mail", "unknown"));
    EXPECT_EQ(calls,
              "GetOption_Ex 1 'post' 'PostofficeRoot' 1024\n"
              "GetOption_Ex 1 'unknown' 'PostofficeRoot' 1024\n");
}

// Names, forms and order of the entries are what providers have: whoever changes one changes this.
TEST(StoreProvider, ItsEntriesAreBoundInOrderAndGivenTheirArguments) {
    std::uint64_t digest = 0xCBF29CE484222325;
#define FORM(name, form) #name " " #form "\n"
    for (const char letter : TARNWICK_STORE_PROVIDER_ENTRIES(FORM, FORM)) {
        digest = (digest ^ static_cast<unsigned char>(letter)) * 0x100000001B3;
    }
    EXPECT_EQ(digest, 16020537199207094662U);
    StandIns modules;
    EntryHider hider({"StoreFolder_Save"});
    // What never loads, and a release without a module.
    EXPECT_EQ(0, StoreLibrary_SetAffinity(7, 9));
    EXPECT_EQ(0, StoreLibrary_UnInit());
    EXPECT_TRUE(hider.lookedUp.empty());
#define NAME(name, form) #name,
    EXPECT_EQ(0x3456'7890, StoreLibrary_Init(7, 9)) << "loads it";
    EXPECT_EQ(1, LoadStoreProvider(providerModule)) << "loaded before";
    EXPECT_EQ((Names{StandIns::Directory() + "\\TWAISP.DLL",
                     TARNWICK_STORE_PROVIDER_ENTRIES(NAME, NAME)}),
              hider.lookedUp);
    EXPECT_EQ(0x3456'7890, StoreLibrary_SetAffinity(7, 9));
    EXPECT_EQ(0x12'3456'7890U, GetMailboxSize(7, 9));
    EXPECT_EQ(reinterpret_cast<void*>(0x12'3456'7890), Memory_Allocate(7, 9));
    EXPECT_EQ(0, StoreFolder_Save(7, 9)) << "not bound";
    EXPECT_EQ(1, StoreFolder_Close());
    EXPECT_EQ(StandIns::Calls("TWAISP.DLL"),
              "StoreLibrary_Init 7 9\nStoreLibrary_SetAffinity 7 9\nGetMailboxSize 7 9\n"
              "Memory_Allocate 7 9\nStoreFolder_Close\n");
    StandIns::SetResult("StoreLibrary_UnInit", 77);
    EXPECT_EQ(77, StoreLibrary_UnInit());
    EXPECT_EQ(nullptr, GetModuleHandleA("TWAISP.DLL"));
    EXPECT_EQ(nullptr, providerModule.load());
    EXPECT_EQ(0, StoreLibrary_UnInit()) << "released before";
    // Between the handle and the entries of a second load nobody calls the module that is gone.
    hider.lookedUp.clear();
    hider.onLookUp = [&] { EXPECT_TRUE(hider.lookedUp.size() != 2 || StoreFolder_Close() == 0); };
    EXPECT_EQ(1, StoreFolder_Close());
    EXPECT_EQ("StoreFolder_Close\n", StandIns::Calls("TWAISP.DLL"));
    StoreLibrary_UnInit();
}

}  // namespace
}  // namespace tarnwick
