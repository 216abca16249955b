#include "tests/remote/modules/PassThroughs.h"
#include "tests/remote/modules/StandIns.h"

#include <functional>
#include <iterator>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "remote/shared/OptionsModule.h"
#include "remote/shared/StoreProviderCalls.h"

namespace tarnwick {
namespace {

using namespace store_provider;
using testing::StandIns;

// Lets the named entries seem to be missing, and records what was looked up.
class EntryHider : public CallObserver {
  public:
    explicit EntryHider(std::set<std::string> hidden = {}) : hidden_(std::move(hidden)) {
        SetCallObserver(this);
    }
    ~EntryHider() override { SetCallObserver(nullptr); }
    std::uint32_t BeforeCall(const SystemCall& call) override {
        if (call.name != "GetProcAddress" && call.name != "LoadLibrary") return 0;
        lookedUp_.emplace_back(call.path);
        if (onLookUp) onLookUp();
        return hidden_.contains(std::string(call.path)) ? ERROR_PROC_NOT_FOUND : 0;
    }
    const std::vector<std::string>& LookedUp() const { return lookedUp_; }
    std::function<void()> onLookUp;

  private:
    std::set<std::string> hidden_;
    std::vector<std::string> lookedUp_;
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

TEST(OptionsModule, IsLookedForBesideTheProgramsAndBoundInOrder) {
    StandIns modules;
    EntryHider hider;
    EXPECT_EQ(1, LoadOptionModule());
    const Names expected = {StandIns::Directory() + "\\TWAISO.DLL", "GetOption", "GetOption_Ex",
                            "SetOption"};
    EXPECT_EQ(expected, hider.LookedUp());
}

TEST(OptionsModule, NeedsGetOptionAndSetOptionButNotTheExtendedForm) {
    StandIns modules;
    for (const std::string hidden : {"GetOption", "GetOption_Ex", "SetOption"}) {
        EntryHider hider({hidden});
        EXPECT_EQ(hidden == "GetOption_Ex" ? 1 : 0, LoadOptionModule()) << hidden;
    }
}

TEST(OptionsModule, MissingFileFailsLookups) {
    testing::ScratchRegistry registry;
    EXPECT_EQ(0, LoadOptionModule());
    EXPECT_EQ(std::nullopt, MailboxTimeZone("post", "box"));
}

TEST(OptionsModule, AnswersTimeZoneThroughTheExtendedForm) {
    StandIns modules;
    EXPECT_EQ("extended answer", MailboxTimeZone("post", "box"));
    EXPECT_EQ(std::nullopt, MailboxTimeZone("unknown", "box"));
    EXPECT_EQ(
        "GetOption_Ex 2 'post/box' 'TimeZone' 1024\nGetOption_Ex 2 'unknown/box' 'TimeZone' 1024\n",
        StandIns::Calls("TWAISO.DLL"));
}

TEST(OptionsModule, FallsBackToThePlainForm) {
    StandIns modules;
    EntryHider hider({"GetOption_Ex"});
    EXPECT_EQ("plain answer", MailboxTimeZone("post", "box"));
    EXPECT_EQ("GetOption 2 'post/box' 'TimeZone'\n", StandIns::Calls("TWAISO.DLL"));
}

TEST(OptionsModule, WithoutSetOptionFailsTheLookupThatLoadsItAlone) {
    StandIns modules;
    EntryHider hider({"SetOption"});
    EXPECT_EQ(std::nullopt, MailboxTimeZone("post", "box"));
    EXPECT_EQ("extended answer", MailboxTimeZone("post", "box"));
}

TEST(OptionsModule, WithoutAnyGetterFailsEveryLookup) {
    StandIns modules;
    EntryHider hider({"GetOption", "GetOption_Ex"});
    EXPECT_EQ(std::nullopt, MailboxTimeZone("post", "box"));
    EXPECT_EQ(std::nullopt, MailboxTimeZone("post", "box"));
}

TEST(PostofficeRoot, AsksTheOptionsModuleOnlyWhileTheSwitchIsOne) {
    StandIns modules;
    EXPECT_EQ("C:\\Mail\\post", PostofficeRoot("C:\\Mail", "post"));
    postofficeRootSwitch = 2;
    EXPECT_EQ("C:\\Mail\\post", PostofficeRoot("C:\\Mail", "post"));
    EXPECT_EQ(nullptr, GetModuleHandleA("TWAISO.DLL"));
    postofficeRootSwitch = 1;
    EXPECT_EQ("extended answer", PostofficeRoot("C:\\Mail", "post"));
    EXPECT_EQ("C:\\Mail\\unknown", PostofficeRoot("C:\\Mail", "unknown"));
    EXPECT_EQ(
        "GetOption_Ex 1 'post' 'PostofficeRoot' 1024\nGetOption_Ex 1 'unknown' 'PostofficeRoot' "
        "1024\n",
        StandIns::Calls("TWAISO.DLL"));
}

// In the order of binding, written down apart from the table that the product goes by.
constexpr const char* kBindingOrder =
    "StoreLibrary_Init StoreLibrary_UnInit StoreLibrary_ThreadInit "
    "StoreLibrary_ThreadRelease StoreFolder_Open StoreFolder_Close StoreFolder_Save "
    "StoreFolder_OpenItem StoreFolder_SelectItem StoreFolder_SelectItemByField "
    "StoreFolder_SelectItemByField_Ex StoreFolder_Lock StoreFolder_UnLock "
    "StoreFolder_DeleteItem StoreFolder_CreateItem StoreItem_GetProperty "
    "StoreItem_SetProperty StoreIndex_GetItemPropertyItem StoreIndex_SetItemPropertyItem "
    "StoreItem_FreeProperty StoreItem_SaveToStore Store_Save StoreFolder_FindFirstItem "
    "StoreFolder_FindNextItem StoreFolder_FindClose GetMailboxSize GetMailboxSize_Ex "
    "StoreFolderAdd StoreFolderGet StoreFolderGet_Ex StoreFolderRemove StoreFolderEdit "
    "StoreFolderCopy StoreFolderFindNext StoreFolderFindFirst StoreFolderFindClose "
    "StoreLibrary_SetAffinity StoreItemProperty_GetType Memory_Allocate Memory_Free "
    "StoreFolder_GetHierarchyModificationDate StoreFolder_GetContentsModificationDate "
    "StoreIndex_SetPaths StoreIndexItem_Clear StoreIndex_Open StoreIndex_Init "
    "StoreIndex_Close StoreIndex_Release StoreIndex_Get StoreIndex_Save "
    "GetStoreItemByMessageID Direct_StoreIndex_UpdateItem Direct_StoreIndex_InsertItem "
    "Direct_StoreIndex_InsertItemEx Direct_StoreIndex_RemoveItem StoreIndex_UpdateItem "
    "StoreIndex_InsertItem StoreIndex_RemoveItem RemoveMailboxShares";

TEST(StoreProvider, IsLookedForBesideTheProgramsAndBoundInOrder) {
    StandIns modules;
    EntryHider hider;
    EXPECT_EQ(1, LoadStoreProvider(providerModule));
    std::istringstream names(kBindingOrder);
    Names expected = {StandIns::Directory() + "\\TWAISP.DLL"};
    expected.insert(expected.end(), std::istream_iterator<std::string>(names), {});
    EXPECT_EQ(expected, hider.LookedUp());
    EXPECT_EQ(1, LoadStoreProvider(providerModule)) << "loaded before";
    EXPECT_EQ(expected.size(), hider.LookedUp().size());
}

TEST(StoreProvider, MissingFileFailsLoadingAndEveryForwarding) {
    testing::ScratchRegistry registry;
    EXPECT_EQ(0, LoadStoreProvider(providerModule));
    EXPECT_EQ(0, StoreLibrary_Init(1, 2));
    EXPECT_EQ(0, StoreLibrary_ThreadInit(1, 2));
    EXPECT_EQ(nullptr, Memory_Allocate(8));
    EXPECT_EQ(0, StoreLibrary_UnInit());
}

constexpr std::int32_t kNarrow = 0x3456'7890;
constexpr std::uint64_t kWide = 0x12'3456'7890;

// A row for each operation: loads a fresh provider, forwards the arguments, gives the whole result.
TEST(StoreProvider, LoadingOperationsLoadItAndForwardTheirArguments) {
    StandIns modules;
    const auto check = [](const auto& operation, const std::string& name) {
        if (providerModule != nullptr) StoreLibrary_UnInit();
        const auto result = operation(std::uint64_t{7}, std::uint64_t{9});
        using Result = std::remove_const_t<decltype(result)>;
        if constexpr (std::is_pointer_v<Result>) {
            EXPECT_EQ(reinterpret_cast<Result>(kWide), result) << name;
        } else if constexpr (sizeof(Result) == sizeof kWide) {
            EXPECT_EQ(kWide, result) << name;
        } else {
            EXPECT_EQ(kNarrow, result) << name;
        }
        EXPECT_EQ(name + " 7 9\n", StandIns::Calls("TWAISP.DLL")) << name;
    };
#define CHECK_ROW(operation) check(operation, #operation);
    LOADING_PASS_THROUGHS(CHECK_ROW)
#undef CHECK_ROW
}

TEST(StoreProvider, LoadedOnlyOperationsNeverLoad) {
    StandIns modules;
    const std::uint64_t first = 7;
    const std::uint64_t second = 9;
    std::string calls;
#define CHECK_ROW(operation) EXPECT_EQ(0, operation(first, second)) << #operation;
    LOADED_ONLY_PASS_THROUGHS(CHECK_ROW)
#undef CHECK_ROW
    EXPECT_EQ(nullptr, GetModuleHandleA("TWAISP.DLL"));
    EXPECT_EQ(1, LoadStoreProvider(providerModule));
#define CHECK_ROW(operation)                                    \
    EXPECT_EQ(kNarrow, operation(first, second)) << #operation; \
    EXPECT_EQ(calls += #operation " 7 9\n", StandIns::Calls("TWAISP.DLL"));
    LOADED_ONLY_PASS_THROUGHS(CHECK_ROW)
#undef CHECK_ROW
}

TEST(StoreProvider, MissingEntriesGiveZeroAndLeaveTheOthersBound) {
    StandIns modules;
    EntryHider hider({"StoreFolder_Save", "StoreLibrary_SetAffinity", "GetMailboxSize"});
    EXPECT_EQ(1, LoadStoreProvider(providerModule));
    EXPECT_EQ(0, StoreFolder_Save(7, 9));
    EXPECT_EQ(0, StoreLibrary_SetAffinity(7, 9));
    EXPECT_EQ(0U, GetMailboxSize(7, 9));
    EXPECT_EQ("", StandIns::Calls("TWAISP.DLL"));
    EXPECT_EQ(1, StoreFolder_Close());
}

TEST(StoreProvider, ReleaseUnloadsAndTheNextUseLoadsAgain) {
    StandIns modules;
    EXPECT_EQ(0, StoreLibrary_UnInit()) << "never loaded";
    EXPECT_EQ(1, StoreFolder_Close());
    EXPECT_EQ(77, StoreLibrary_UnInit());
    EXPECT_EQ(nullptr, GetModuleHandleA("TWAISP.DLL"));
    EXPECT_EQ(nullptr, providerModule.load());
    EXPECT_EQ(0, StoreLibrary_UnInit()) << "released before";
    EXPECT_EQ(1, StoreFolder_Close());
    EXPECT_NE(nullptr, GetModuleHandleA("TWAISP.DLL"));
}

// What another thread finds between the handle and the entries of a second load.
TEST(StoreProvider, NoEntryOfAReleasedModuleIsCalled) {
    StandIns modules;
    EXPECT_EQ(1, StoreFolder_Close());
    StoreLibrary_UnInit();
    EntryHider hider;
    hider.onLookUp = [&] {
        if (hider.LookedUp().back() != "StoreLibrary_Init") return;
        EXPECT_EQ(0, StoreFolder_Close());
    };
    EXPECT_EQ(1, StoreFolder_Close());
    EXPECT_EQ("StoreFolder_Close\n", StandIns::Calls("TWAISP.DLL"));
}

}  // namespace
}  // namespace tarnwick
