#include "tools/admin/CalendarLibrary.h"

#include <array>
#include <optional>

#include "common/Handle.h"
#include "common/Registry.h"
#include "common/Text.h"
#include "Library/activity/StoreSettings.h"
#include "provider/ModuleState.h"
#include "remote/AdminHost.h"
#include "tools/admin/Console.h"
#include "tools/admin/Failure.h"

namespace tarnwick::admin {
namespace {

constexpr const char* kLibrary = "TWAICP.DLL";
// Below HKEY_CURRENT_USER; the process's number stands behind it.
constexpr const char* kLentSettings = "SOFTWARE\\Tarnwick Lent Settings ";

void RequireSuccess(LSTATUS status) {
    if (status == ERROR_SUCCESS) return;
    throw Failure(
        StatusOfError(static_cast<std::uint32_t>(status)),
        "the mail root cannot be lent to the library: registry error " + std::to_string(status));
}

RegistryKey CreateVolatile(HKEY parent, const char* path) {
    HKEY native = nullptr;
    RequireSuccess(RegCreateKeyExA(parent, path, 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS,
                                   nullptr, &native, nullptr));
    return RegistryKey(native);
}

// The values of the machine's key; none when there is no such key.
void CopyValues(const char* path, const RegistryKey& to) {
    HKEY native = nullptr;
    RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, KEY_QUERY_VALUE, &native);
    const RegistryKey from(native);
    std::array<char, 256> name{};
    std::array<BYTE, kPathCapacity> bytes{};
    for (DWORD at = 0; from.IsValid(); ++at) {
        DWORD nameSize = name.size();
        DWORD size = bytes.size();
        DWORD type = 0;
        const LSTATUS status = RegEnumValueA(from.Get(), at, name.data(), &nameSize, nullptr, &type,
                                             bytes.data(), &size);
        // The library reads none that is longer.
        if (status == ERROR_MORE_DATA) continue;
        if (status != ERROR_SUCCESS) return;
        RequireSuccess(RegSetValueExA(to.Get(), name.data(), 0, type, bytes.data(), size));
    }
}

// Lets a copy of the product's settings with another mail root stand for those of the machine.
class LentMailRoot {
  public:
    LentMailRoot() : path_(kLentSettings + std::to_string(GetCurrentProcessId())) { Delete(); }
    LentMailRoot(const LentMailRoot&) = delete;
    LentMailRoot& operator=(const LentMailRoot&) = delete;
    ~LentMailRoot() {
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
        Delete();
    }

    void Lend(const std::string& mailRoot) {
        const RegistryKey machine = CreateVolatile(HKEY_CURRENT_USER, path_.c_str());
        const RegistryKey product = CreateVolatile(machine.Get(), kProductKey);
        CopyValues(kProductKey, product);
        RequireSuccess(RegSetValueExA(product.Get(), "Mail Root", 0, REG_SZ,
                                      reinterpret_cast<const BYTE*>(mailRoot.c_str()),
                                      static_cast<DWORD>(mailRoot.size() + 1)));
        RequireSuccess(RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine.Get()));
    }

  private:
    // A process of the same number may have left its own when it was ended.
    void Delete() { RegDeleteTreeA(HKEY_CURRENT_USER, path_.c_str()); }

    std::string path_;
};

// The folder's whole path, without a separator at its end.
std::string WholePath(const std::string& folder) {
    char whole[MAX_PATH];
    const DWORD length = GetFullPathNameA(folder.c_str(), sizeof whole, whole, nullptr);
    const DWORD attributes =
        length == 0 || length >= sizeof whole ? INVALID_FILE_ATTRIBUTES : GetFileAttributesA(whole);
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        throw Refusal("there is no folder " + folder + " that could be the mail root (--root)");
    }
    std::string path(whole, length);
    if (path.ends_with('\\')) path.pop_back();
    return path;
}

template <typename Function>
void Bind(HMODULE module, const char* name, Function& function) {
    const FARPROC entry = GetProcAddress(module, name);
    if (entry == nullptr) throw Refusal(std::string(kLibrary) + " has no function " + name);
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(entry));
}

CalendarLibrary Load(const std::string& mailRoot) {
    std::optional<LentMailRoot> lent;
    if (!mailRoot.empty()) {
        if (IsDefaultHostForced(ExecutablePath()) != 0) {
            throw Refusal(
                "the registry switch ForceDefaultHost sends every call to the default host; "
                "--root does not go with it");
        }
        lent.emplace().Lend(WholePath(mailRoot));
    }
    HMODULE module = LoadLibraryA(kLibrary);
    if (module == nullptr) {
        throw Refusal(std::string(kLibrary) + " cannot be loaded: error " +
                      std::to_string(GetLastError()) + "; it lies beside this program");
    }
    // The copies read the registry now: the provider's when it is told that it is attached, the
    // store library's when it is first asked.
    if (!OnModuleNotification(DLL_PROCESS_ATTACH)) throw Refusal("no thread-local slot is left");
    PostofficeDirectory({});
    CalendarLibrary library{};
    Bind(module, "AppointmentAdd", library.add);
    Bind(module, "AppointmentEdit", library.edit);
    Bind(module, "AppointmentRemove", library.remove);
    Bind(module, "AppointmentGet", library.get);
    Bind(module, "AppointmentFindFirst", library.findFirst);
    Bind(module, "AppointmentFindNext", library.findNext);
    Bind(module, "AppointmentItemWriteFirstChunk", library.writeFirstChunk);
    Bind(module, "AppointmentItemWriteNextChunk", library.writeNextChunk);
    Bind(module, "AppointmentItemGetFirstChunk", library.readFirstChunk);
    Bind(module, "AppointmentItemGetNextChunk", library.readNextChunk);
    Bind(module, "AppointmentItemDelete", library.deleteItem);
    Bind(module, "GetFreeBusyData", library.getFreeBusyData);
    Bind(module, "SetCurrentHost", library.setCurrentHost);
    return library;
}

}  // namespace

const CalendarLibrary& LoadCalendarLibrary(const std::string& mailRoot) {
    static const CalendarLibrary library = Load(mailRoot);
    return library;
}

const CalendarLibrary& Library() {
    return LoadCalendarLibrary({});
}

}  // namespace tarnwick::admin
