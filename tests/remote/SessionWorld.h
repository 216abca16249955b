// What the session tests share: two hosts, "A" and "B", that are scripted peers, and their entries
// in a scratch registry.
#pragma once

#include <string>
#include <vector>

#include "remote/AdminHost.h"
#include "tests/support/ScriptedPeer.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick::testing {

inline constexpr const char* kTestProgram = "C:\\Programs\\host.exe";

inline std::string Joined(const std::vector<std::string>& texts) {
    std::string joined;
    for (const std::string& text : texts) joined += (joined.empty() ? "" : ", ") + text;
    return joined;
}

inline void RegisterHost(const std::string& name, const std::string& address, unsigned port) {
    ScratchRegistry::SetString(HKEY_CURRENT_USER, HostKey(name), kAddressValue, address);
    ScratchRegistry::SetDword(HKEY_CURRENT_USER, HostKey(name), kPortValue, port);
}

inline void ForceDefaultHost(std::uint32_t value) {
    ScratchRegistry::SetDword(HKEY_CURRENT_USER, kAdministrationKey, "ForceDefaultHost", value);
}

struct SessionWorld {
    ScratchRegistry registry;
    ScriptedPeer a;
    ScriptedPeer b;

    SessionWorld() {
        RegisterHost("A", "127.0.0.1", a.Port());
        RegisterHost("B", "localhost", b.Port());
        RegisterHost("Default", "127.0.0.1", b.Port());
        RegisterHost("127.0.0.1", "127.0.0.1", b.Port());
        RegisterHost("127.0.0.10", "", 1);
        RegisterHost("dead", "127.0.0.1", UnusedPort());
        RegisterHost("nowhere", "no-such-host.invalid", 1);
        ScratchRegistry::SetDword(HKEY_CURRENT_USER, HostKey("addressless"), kPortValue, 1);
    }
};

}  // namespace tarnwick::testing
