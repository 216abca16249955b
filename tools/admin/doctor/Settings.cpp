#include "tools/admin/doctor/Settings.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include "common/Handle.h"
#include "common/Text.h"
#include "remote/AdminHost.h"
#include "remote/AdminProtocol.h"

namespace tarnwick::admin {
namespace {

constexpr RegistryRoot kMachine = RegistryRoot::LocalMachine;
constexpr RegistryRoot kUser = RegistryRoot::CurrentUser;

// When the product reads a value.
constexpr const char* kWhenLoaded = "when the library is loaded";
constexpr const char* kFirstUse = "once a process, at first use";
constexpr const char* kEachWait = "at each second of a wait";
constexpr const char* kEachCall = "at each call";
constexpr const char* kEachConnect = "at each connection";

constexpr std::uint32_t kOff = 0;

constexpr const char* kStoreProviderKey =
    "SOFTWARE\\Wow6432Node\\Tarnwick\\Tarnwick\\Providers\\Store";

constexpr RegistrySetting kSettings[] = {
    {kMachine, kProductKey, "Mail Root", ValueType::Text, 0, "'Postoffices' in the data directory",
     "", kWhenLoaded, "the folder of the postoffices; a value that is there and empty counts"},
    {kMachine, kProductKey, "Data Directory", ValueType::Text, 0, "no mail root", "", kWhenLoaded,
     "only looked at when 'Mail Root' cannot be read"},
    {kMachine, kProductKey, "Application Directory", ValueType::Text, 0,
     "the folder '64' of the current directory", "", "when a module is loaded",
     "with '64' behind it the folder of the options and store provider modules"},
    {kMachine, kProductKey, "Store Event Notification Mode", ValueType::Number, 0, "", "",
     kWhenLoaded, "kept for the store's index services; calendars do not use it"},
    {kMachine, kProductKey, "Public Folders Enabled", ValueType::Switch, 1, "", "", kFirstUse,
     "whether notifications of public folders lie in those folders and not in a mailbox"},
    {kMachine, kProductKey, "Activity Locking Mode", ValueType::ExactSwitch, kOff, "", "",
     kFirstUse, "for hosts that ask; nothing in the product does"},
    {kMachine, kProductKey, "UID Branding Enabled", ValueType::Switch, kOff, "", "", kFirstUse,
     "whether UIDs and flags are written into the headers of message files"},
    {kMachine, kProductKey, "Calendar ReIndex Mode", ValueType::Switch, kOff, "", "", kFirstUse,
     "whether every load of a calendar folder's index looks through its files"},
    {kMachine, kProductKey, "Index Garbage Collection Threshold", ValueType::Number, 500, "",
     "entries", kFirstUse, "the blanked entries after which an index is written anew"},
    {kMachine, kProductKey, "Maximum Index Rows", ValueType::Number, 100000, "", "message files",
     kFirstUse, "the most that an ordered scan of a folder lists"},
    {kMachine, kProductKey, "Backup Index", ValueType::ExactSwitch, kOff, "", "", kFirstUse,
     "whether a backup of each index is kept and stands in for a damaged one"},
    {kMachine, kProductKey, "Backup Index Interval", ValueType::Number, 370, "", "minutes",
     kFirstUse, "the age beyond which a backup is replaced"},
    {kMachine, kProductKey, "Use XML Stream Index Serialisation", ValueType::ExactSwitch, kOff, "",
     "", kFirstUse, "whether the stream class saves indexes; otherwise the DOM does"},
    {kMachine, kProductKey, "Use XML Stream Index Deserialisation", ValueType::ExactSwitch, kOff,
     "", "", kFirstUse, "whether the stream class loads indexes; otherwise the DOM does"},
    {kMachine, kProductKey, "MSXML Index Serialisation Produces Old Format", ValueType::ExactSwitch,
     1, "", "", kFirstUse, "whether the DOM writes the older header"},
    {kMachine, kProductKey, "Index Notification Timeout", ValueType::Number, INFINITE, "",
     "milliseconds", "at each notified save",
     "how long such a save waits for its folder's mutex; 4294967295: without end"},
    {kMachine, kProductProvidersKey, "Store Notification Wait Timeout", ValueType::Number, 100, "",
     "seconds", kFirstUse, "a waiter for the activity file then deletes its block file"},
    {kMachine, kProductProvidersKey, "Index Unblock Mode", ValueType::Switch, kOff, "", "",
     kFirstUse, "whether '_index.blk' is deleted after the first second of a wait"},
    {kMachine, kStoreProviderKey, "XML Version", ValueType::Text, 0, "3", "", kFirstUse,
     "the DOM's version by its first character: 4, 6, and any other 3"},
    {kMachine, kProvidersKey, "Read Wait Timeout", ValueType::Number, 60, "", "seconds", kEachWait,
     "a reader that has waited for longer deletes the block file"},
    {kMachine, kProvidersKey, "Write Wait Timeout", ValueType::Number, 80, "", "seconds", kEachWait,
     "a writer that has waited for longer gives up"},
    {kMachine, kProvidersKey, "UnBlock Timeout", ValueType::Number, 80, "", "seconds", kEachWait,
     "how long deleting a block file is tried again, also the name that a writer asks to delete "
     "when it gives up"},
    {kMachine, kProvidersKey, "Apply Timeout", ValueType::Number, 20, "", "seconds", kEachWait,
     "how long each of the two steps of replacing a calendar is tried again"},
    {kUser, kAdministrationKey, "ForceDefaultHost", ValueType::Switch, kOff, "", "", kEachCall,
     "whether calls without a chosen host go to the host 'Default'; the server's own programs pass "
     "it over"},
    {kUser, kHostsKey, kAddressValue, ValueType::Text, 0, "none: calls on the host fail", "",
     kEachConnect, "host name or dotted address"},
    {kUser, kHostsKey, kPortValue, ValueType::Number, kAdminPort, "", "", kEachConnect,
     "TCP port; its low 16 bits count"},
    {kUser, kHostsKey, kCredentialsValue, ValueType::Text, 0, "empty", "", kEachConnect,
     "what the service wants to see, its first 255 characters"},
    {kUser, kHostsKey, kProtocolValue, ValueType::Text, 0, "empty", "", kEachConnect,
     "sent along with the credentials"},
};

std::optional<StoredValue> ReadStored(RegistryRoot root, const std::string& path,
                                      const char* name) {
    HKEY native = nullptr;
    const HKEY parent = root == kMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
    RegOpenKeyExA(parent, path.c_str(), 0, KEY_QUERY_VALUE, &native);
    const RegistryKey key(native);
    StoredValue stored;
    DWORD type = 0;
    DWORD size = 0;
    if (!key.IsValid() ||
        RegQueryValueExA(key.Get(), name, nullptr, &type, nullptr, &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    stored.type = type;
    stored.bytes.resize(size);
    RegQueryValueExA(key.Get(), name, nullptr, nullptr,
                     reinterpret_cast<BYTE*>(stored.bytes.data()), &size);
    stored.bytes.resize(std::min<std::size_t>(size, stored.bytes.size()));
    if (type != REG_SZ && type != REG_EXPAND_SZ) return stored;
    // Once more in Unicode: the first form has lost what the code page lacks.
    std::wstring wide(stored.bytes.size() + 1, L'\0');
    const std::wstring wideName(name, name + std::char_traits<char>::length(name));
    size = static_cast<DWORD>(wide.size() * sizeof(wchar_t));
    RegQueryValueExW(key.Get(), wideName.c_str(), nullptr, nullptr,
                     reinterpret_cast<BYTE*>(wide.data()), &size);
    BOOL replaced = FALSE;
    if (GetACP() != CP_UTF8) {
        WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, wide.c_str(), -1, nullptr, 0, nullptr,
                            &replaced);
    }
    stored.isCut = replaced != FALSE;
    return stored;
}

}  // namespace

std::span<const RegistrySetting> AllSettings() {
    return kSettings;
}

const RegistrySetting& SettingNamed(std::string_view name) {
    for (const RegistrySetting& setting : kSettings) {
        if (name == setting.name) return setting;
    }
    throw std::out_of_range(std::string(name));
}

const char* RootText(RegistryRoot root) {
    return root == kMachine ? "HKLM" : "HKCU";
}

bool IsHostSetting(const RegistrySetting& setting) {
    return setting.key == std::string_view(kHostsKey);
}

std::string KeyText(const RegistrySetting& setting) {
    const std::string key = std::string(RootText(setting.root)) + "\\" + setting.key;
    return IsHostSetting(setting) ? key + "\\NAME" : key;
}

const char* TypeText(const RegistrySetting& setting) {
    switch (setting.type) {
        case ValueType::Text:
            return "text";
        case ValueType::Number:
            return "number";
        case ValueType::Switch:
            return "switch";
        case ValueType::ExactSwitch:
            break;
    }
    return "switch, on by 1 alone";
}

std::string MissingText(const RegistrySetting& setting) {
    return setting.type == ValueType::Text ? setting.missingText
                                           : std::to_string(setting.missingNumber);
}

EffectiveSetting ReadSetting(const RegistrySetting& setting, const std::string& key) {
    EffectiveSetting effective{&setting, key, ReadStored(setting.root, key, setting.name)};
    if (setting.type == ValueType::Text) {
        std::array<char, kPathCapacity> text{};
        effective.isTaken = ReadRegistryString(setting.root, key.c_str(), setting.name, text);
        effective.text = FieldText(text);
    } else {
        effective.number = setting.missingNumber;
        effective.isTaken =
            ReadRegistryDword(setting.root, key.c_str(), setting.name, effective.number);
    }
    return effective;
}

std::string EffectiveSetting::Place() const {
    return std::string(RootText(setting->root)) + "\\" + key + "\\" + setting->name;
}

std::string EffectiveSetting::Shown() const {
    if (setting->type != ValueType::Text) return std::to_string(number);
    if (!isTaken) return setting->missingText;
    return setting->name == std::string_view(kCredentialsValue) ? "(not shown)" : text;
}

std::uint32_t NumberOf(std::string_view name) {
    return ReadSetting(SettingNamed(name)).number;
}

}  // namespace tarnwick::admin
