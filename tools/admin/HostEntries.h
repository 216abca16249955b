// The servers in the registry on which calendar operations may run.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::admin {

struct HostEntry {
    std::string name;
    std::string address;
    std::uint16_t port = 0;
    std::string credentials;
    std::string protocol;
};

// Names of all hosts, sorted.
std::vector<std::string> HostNames();
// The host's entry; no value when there is none of that name. A port that is missing is the
// protocol's own, other texts that are missing are empty.
std::optional<HostEntry> ReadHostEntry(const std::string& name);
// Creates or replaces the entry. Throws Failure when the registry cannot be written.
void WriteHostEntry(const HostEntry& entry);
// Throws Failure when the entry cannot be deleted.
void RemoveHostEntry(const std::string& name);

// The entry of a host that must be there: throws Failure otherwise.
HostEntry RequireHost(const std::string& name);

// Lets the library, which is loaded, make this process's calls on the host. Throws Failure when
// there is no such host (Refused), or when its service does not take calls (NotReached).
void UseHost(const std::string& name);

// A step of the way to a service that would run this tool's calls.
struct TestStep {
    const char* name;   // "address", "connect", "AUTH", "LOAD" or "PING"
    std::string fault;  // empty: it went well
};

// The steps in their order, up to the first that failed. With a limit (milliseconds) connection and
// each answer take no longer; 0: as long as the calls themselves would wait.
std::vector<TestStep> TestHost(const HostEntry& entry, std::uint32_t limit = 0);

// Throws Failure (WrongUsage) when the text cannot be a host's name: a registry key's name of 1 to
// 255 characters.
void CheckHostName(std::string_view name);

}  // namespace tarnwick::admin
