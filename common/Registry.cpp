#include "common/Registry.h"

#include <new>
#include <string>

#include "common/Handle.h"
#include "common/Text.h"

namespace tarnwick {
namespace {

RegistryKey OpenKey(RegistryRoot root, const char* key) {
    HKEY native = nullptr;
    const HKEY parent = root == RegistryRoot::LocalMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
    if (RegOpenKeyExA(parent, key, 0, KEY_QUERY_VALUE, &native) != ERROR_SUCCESS) {
        return {};
    }
    return RegistryKey(native);
}

}  // namespace

bool ReadRegistryString(RegistryRoot root, const char* key, const char* value,
                        std::span<char> output) try {
    if (output.empty()) return false;
    output[0] = '\0';
    std::string work(output.size() + 1, '\0');
    const RegistryKey opened = OpenKey(root, key);
    if (!opened.IsValid()) return false;
    auto length = static_cast<DWORD>(output.size());
    const LSTATUS status = RegQueryValueExA(opened.Get(), value, nullptr, nullptr,
                                            reinterpret_cast<BYTE*>(work.data()), &length);
    if (status != ERROR_SUCCESS || length == 0) return false;
    StoreField(output, UpToNul(work));
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

bool ReadRegistryDword(RegistryRoot root, const char* key, const char* value,
                       std::uint32_t& number) {
    if (*key == '\0') return false;
    const RegistryKey opened = OpenKey(root, key);
    if (!opened.IsValid()) return false;
    std::uint32_t stored = 0;
    DWORD length = sizeof stored;
    const LSTATUS status = RegQueryValueExA(opened.Get(), value, nullptr, nullptr,
                                            reinterpret_cast<BYTE*>(&stored), &length);
    if (status != ERROR_SUCCESS || length != sizeof stored) return false;
    number = stored;
    return true;
}

std::uint32_t RegistryDwordOr(const char* key, const char* value, std::uint32_t defaultNumber) {
    std::uint32_t number = defaultNumber;
    ReadRegistryDword(RegistryRoot::LocalMachine, key, value, number);
    return number;
}

void ReadMailRoot(std::span<char> root) {
    // A value that is there and empty is the mail root: kept for compatibility.
    if (ReadRegistryString(RegistryRoot::LocalMachine, kProductKey, "Mail Root", root)) return;
    if (!ReadRegistryString(RegistryRoot::LocalMachine, kProductKey, "Data Directory", root)) {
        return;
    }
    StoreField(root.subspan(FieldText(root).size()), "\\Postoffices");
}

}  // namespace tarnwick
