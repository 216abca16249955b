#include "remote/shared/OptionsModule.h"

#include <array>

#include "common/Text.h"
#include "remote/shared/LoadedModule.h"

namespace tarnwick {
namespace {

enum class OptionScope : std::int32_t { Postoffice = 1, Mailbox = 2 };

constexpr std::size_t kOptionCapacity = 1024;

using GetOptionCall = std::int32_t (*)(std::int32_t scope, const char* objectName,
                                       const char* optionName, char* value);
using GetOptionExCall = std::int32_t (*)(std::int32_t scope, const char* objectName,
                                         const char* optionName, char* value,
                                         std::uint32_t valueCapacity);

std::atomic<HMODULE> optionsModule = nullptr;
std::atomic<EntryPoint> getOption = nullptr;
std::atomic<EntryPoint> getOptionEx = nullptr;
// Bound because a module without it is not taken for the options module; nothing calls it.
std::atomic<EntryPoint> setOption = nullptr;

std::int32_t CallGetOption(OptionScope scope, const char* objectName, const char* optionName,
                           std::array<char, kOptionCapacity>& value) {
    const auto number = static_cast<std::int32_t>(scope);
    if (const EntryPoint entry = getOptionEx; entry != nullptr) {
        return reinterpret_cast<GetOptionExCall>(entry)(number, objectName, optionName,
                                                        value.data(), kOptionCapacity);
    }
    if (const EntryPoint entry = getOption; entry != nullptr) {
        return reinterpret_cast<GetOptionCall>(entry)(number, objectName, optionName, value.data());
    }
    return 0;
}

std::optional<std::string> LookUpOption(OptionScope scope, const std::string& objectName,
                                        const char* optionName) {
    // A module that lacks an entry fails the lookup that loads it; being loaded then, it is asked
    // by the lookups after that one as far as its entries go.
    if (optionsModule == nullptr && LoadOptionModule() == 0) return std::nullopt;
    std::array<char, kOptionCapacity> value{};
    if (CallGetOption(scope, objectName.c_str(), optionName, value) == 0) return std::nullopt;
    return std::string(FieldText(value));
}

}  // namespace

std::atomic<std::uint32_t> postofficeRootSwitch = 0;

int LoadOptionModule() {
    const HMODULE module = LoadProgramModule("TWAISO.DLL");
    if (module == nullptr) return 0;
    getOption = BindEntry(module, "GetOption");
    getOptionEx = BindEntry(module, "GetOption_Ex");
    setOption = BindEntry(module, "SetOption");
    optionsModule = module;
    return getOption != nullptr && setOption != nullptr ? 1 : 0;
}

std::optional<std::string> MailboxTimeZone(const std::string& postoffice,
                                           const std::string& mailbox) {
    return LookUpOption(OptionScope::Mailbox, postoffice + "/" + mailbox, "TimeZone");
}

std::string PostofficeRoot(std::string_view mailRoot, const std::string& postoffice) {
    if (postofficeRootSwitch == 1) {
        const auto root = LookUpOption(OptionScope::Postoffice, postoffice, "PostofficeRoot");
        if (root) return *root;
    }
    return FormatPath("%s\\%s", {mailRoot, postoffice});
}

}  // namespace tarnwick
