#include "tools/admin/HostEntries.h"

#include <algorithm>

#include "common/Handle.h"
#include "common/Scan.h"
#include "remote/AdminHost.h"
#include "remote/Socket.h"
#include "tools/admin/CalendarLibrary.h"
#include "tools/admin/Console.h"

namespace tarnwick::admin {
namespace {

constexpr std::size_t kKeyNameLimit = 255;

RegistryKey OpenHostKey(const std::string& key) {
    HKEY native = nullptr;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, key.c_str(), 0, KEY_READ, &native) != ERROR_SUCCESS) {
        return {};
    }
    return RegistryKey(native);
}

Failure RegistryFailure(const std::string& text, LSTATUS status) {
    return {StatusOfError(static_cast<std::uint32_t>(status)),
            text + ": error " + std::to_string(status)};
}

void WriteValue(const RegistryKey& key, const char* name, DWORD type, const void* bytes,
                std::size_t size) {
    const LSTATUS status = RegSetValueExA(key.Get(), name, 0, type, static_cast<const BYTE*>(bytes),
                                          static_cast<DWORD>(size));
    if (status != ERROR_SUCCESS) {
        throw RegistryFailure(std::string("the registry value ") + name + " cannot be written",
                              status);
    }
}

// A call that does not reach a service finds nothing, which would look like an empty calendar.
void RequireService(const HostEntry& entry) {
    const TestStep last = TestHost(entry).back();
    if (last.fault.empty()) return;
    throw Failure(ExitStatus::NotReached, "nothing was called on host " + entry.name + ": " +
                                              last.name + ": " + last.fault + "; hosts test " +
                                              entry.name + " tries again");
}

void WriteText(const RegistryKey& key, const char* name, const std::string& text) {
    WriteValue(key, name, REG_SZ, text.c_str(), text.size() + 1);
}

}  // namespace

std::vector<std::string> HostNames() {
    std::vector<std::string> names;
    const RegistryKey hosts = OpenHostKey(kHostsKey);
    char name[kKeyNameLimit + 1];
    for (DWORD at = 0; hosts.IsValid(); ++at) {
        DWORD size = sizeof name;
        if (RegEnumKeyExA(hosts.Get(), at, name, &size, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS) {
            break;
        }
        names.emplace_back(name, size);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::optional<HostEntry> ReadHostEntry(const std::string& name) {
    if (!OpenHostKey(HostKey(name)).IsValid()) return std::nullopt;
    return HostEntry{name, ReadHostAddress(name).value_or(""), ReadHostPort(name),
                     ReadHostCredentials(name), ReadHostProtocol(name)};
}

void WriteHostEntry(const HostEntry& entry) {
    HKEY native = nullptr;
    const LSTATUS status = RegCreateKeyExA(HKEY_CURRENT_USER, HostKey(entry.name).c_str(), 0,
                                           nullptr, 0, KEY_SET_VALUE, nullptr, &native, nullptr);
    const RegistryKey key(status == ERROR_SUCCESS ? native : nullptr);
    if (!key.IsValid()) {
        throw RegistryFailure("the registry key of the host cannot be created", status);
    }
    const std::uint32_t port = entry.port;
    WriteText(key, kAddressValue, entry.address);
    WriteValue(key, kPortValue, REG_DWORD, &port, sizeof port);
    WriteText(key, kCredentialsValue, entry.credentials);
    WriteText(key, kProtocolValue, entry.protocol);
}

void RemoveHostEntry(const std::string& name) {
    const LSTATUS status = RegDeleteKeyA(HKEY_CURRENT_USER, HostKey(name).c_str());
    if (status == ERROR_SUCCESS) return;
    throw RegistryFailure("the registry key of the host cannot be deleted", status);
}

HostEntry RequireHost(const std::string& name) {
    CheckHostName(name);
    if (auto entry = ReadHostEntry(name)) return std::move(*entry);
    throw Refusal("there is no host \"" + name + "\"; hosts list shows those there are");
}

void UseHost(const std::string& name) {
    const HostEntry entry = RequireHost(name);
    // The library does not start Winsock; it is the program's, to its end.
    static const StartedWinsock winsock;
    RequireService(entry);
    Library().setCurrentHost(name.c_str());
}

void CheckHostName(std::string_view name) {
    if (!name.empty() && name.size() <= kKeyNameLimit && FindByte(name, '\\') == kNotFound) return;
    throw WrongUsage("\"" + std::string(name) +
                     "\" is no host name: 1 to 255 characters without a backslash");
}

}  // namespace tarnwick::admin
