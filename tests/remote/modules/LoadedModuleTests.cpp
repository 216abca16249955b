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
class EntryHider : public CallObserver {
  public:
    explicit EntryHider(std::set<std::string> hidden = {}) : hidden_(std::move(hidden)) {
        SetCallObserver(this);
    }
    ~EntryHider() override { SetCallObserver(nullptr); }
    std::uint32_t BeforeCall(const SystemCall& call) override {
        if (call.name != "GetProcAddress" && call.name != "LoadLibrary") return 0;
        lookedUp_.emplace_back(call.path);
        return hidden_.contains(std::string(call.path)) ? ERROR_PROC_NOT_FOUND : 0;
    }
    const std::vector<std::string>& LookedUp() const { return lookedUp_; }

  private:
    std::set<std::string> hidden_;
    std::vector<std::string> lookedUp_;
};

using Names = std::vector<std::string>;

TEST(ProgramDirectory, GetsTheDigitsRightBehindTheRegistryText) {
    testing::ScratchRegistry registry;
    EXPECT_EQ("64", ProgramDirectory64());
    const struct {
        const char* value;
        const char* directory;
    } rows[] = {{"C:\\Tarnwick\\Bin", "C:\\Tarnwick\\Bin64"}, {"C:\\Bin\\", "C:\\Bin\\64"}};
    for (const auto& row : rows) {
        registry.SetString(HKEY_LOCAL_MACHINE, kProductKey, "Application Directory", row.value);
        EXPECT_EQ(row.directory, ProgramDirectory64()) << row.value;
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
    const struct {
        const char* hidden;
        int result;
    } rows[] = {{"GetOption", 0}, {"GetOption_Ex", 1}, {"SetOption", 0}};
    StandIns modules;
    for (const auto& row : rows) {
        EntryHider hider({row.hidden});
        EXPECT_EQ(row.result, LoadOptionModule()) << row.hidden;
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

TEST(StoreProvider, IsLookedForBesideTheProgramsAndBoundInOrder) {
    StandIns modules;
    EntryHider hider;
    EXPECT_EQ(1, LoadStoreProvider(providerModule));
    Names expected = {StandIns::Directory() + "\\TWAISP.DLL"};
    expected.insert(expected.end(), kEntryNames.begin(), kEntryNames.end());
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
#define ROW(operation) check(operation, #operation)
    ROW(StoreLibrary_Init);
    ROW(StoreFolder_Save);
    ROW(StoreFolder_OpenItem);
    ROW(StoreFolder_SelectItemByField_Ex);
    ROW(StoreFolder_Lock);
    ROW(StoreFolder_UnLock);
    ROW(StoreFolder_DeleteItem);
    ROW(StoreFolder_CreateItem);
    ROW(StoreItem_SetProperty);
    ROW(StoreIndex_GetItemPropertyItem);
    ROW(StoreIndex_SetItemPropertyItem);
    ROW(StoreItem_FreeProperty);
    ROW(StoreItem_SaveToStore);
    ROW(Store_Save);
    ROW(StoreFolder_FindFirstItem);
    ROW(StoreFolder_FindNextItem);
    ROW(StoreFolder_FindClose);
    ROW(GetMailboxSize);
    ROW(GetMailboxSize_Ex);
    ROW(StoreFolderAdd);
    ROW(StoreFolderGet);
    ROW(StoreFolderGet_Ex);
    ROW(StoreFolderRemove);
    ROW(StoreFolderEdit);
    ROW(StoreFolderCopy);
    ROW(StoreFolderFindNext);
    ROW(StoreFolderFindFirst);
    ROW(StoreFolderFindClose);
    ROW(StoreItemProperty_GetType);
    ROW(Memory_Allocate);
    ROW(Memory_Free);
    ROW(StoreFolder_GetHierarchyModificationDate);
    ROW(StoreFolder_GetContentsModificationDate);
    ROW(StoreIndex_SetPaths);
    ROW(StoreIndexItem_Clear);
    ROW(StoreIndex_Open);
    ROW(StoreIndex_Init);
    ROW(StoreIndex_Close);
    ROW(StoreIndex_Release);
    ROW(StoreIndex_Get);
    ROW(StoreIndex_Save);
    ROW(GetStoreItemByMessageID);
    ROW(Direct_StoreIndex_UpdateItem);
    ROW(Direct_StoreIndex_InsertItem);
    ROW(Direct_StoreIndex_InsertItemEx);
    ROW(Direct_StoreIndex_RemoveItem);
    ROW(StoreIndex_UpdateItem);
    ROW(StoreIndex_InsertItem);
    ROW(StoreIndex_RemoveItem);
    ROW(RemoveMailboxShares);
#undef ROW
}

TEST(StoreProvider, FolderAndItemOperationsHaveTheirOwnArguments) {
    StandIns modules;
    void* returned = nullptr;
    EXPECT_EQ(1, StoreFolder_Open(11, 12, 13, 2, 1));
    EXPECT_EQ(1, StoreFolder_SelectItem("id"));
    EXPECT_EQ(1, StoreFolder_SelectItemByField("FIELD", "id"));
    EXPECT_EQ(0, StoreItem_GetProperty("PR_BODY", 1, &returned));
    EXPECT_EQ(1, StoreFolder_Close());
    EXPECT_EQ(
        "StoreFolder_Open 11 12 13 2 1\nStoreFolder_SelectItem 'id'\n"
        "StoreFolder_SelectItemByField 'FIELD' 'id'\nStoreItem_GetProperty 'PR_BODY' 1\n"
        "StoreFolder_Close\n",
        StandIns::Calls("TWAISP.DLL"));
}

TEST(StoreProvider, LoadedOnlyOperationsNeverLoad) {
    StandIns modules;
    const std::uint64_t first = 7;
    const std::uint64_t second = 9;
    EXPECT_EQ(0, StoreLibrary_ThreadInit(first, second));
    EXPECT_EQ(0, StoreLibrary_ThreadRelease(first, second));
    EXPECT_EQ(0, StoreLibrary_SetAffinity(first, second));
    EXPECT_EQ(nullptr, GetModuleHandleA("TWAISP.DLL"));
    EXPECT_EQ(1, LoadStoreProvider(providerModule));
    EXPECT_EQ(kNarrow, StoreLibrary_ThreadInit(first, second));
    EXPECT_EQ(kNarrow, StoreLibrary_ThreadRelease(first, second));
    EXPECT_EQ(kNarrow, StoreLibrary_SetAffinity(first, second));
    EXPECT_EQ(
        "StoreLibrary_ThreadInit 7 9\nStoreLibrary_ThreadRelease 7 9\n"
        "StoreLibrary_SetAffinity 7 9\n",
        StandIns::Calls("TWAISP.DLL"));
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

}  // namespace
}  // namespace tarnwick
