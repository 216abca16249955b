// One administration service as the registry describes it, and the conversation with it over a
// socket. No state of its own; the session (RemoteSession.h) and the host test of the
// administration tool put these steps together.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "remote/Socket.h"

namespace tarnwick {

// Both under HKEY_CURRENT_USER; each host is a subkey of the Hosts key.
inline constexpr const char* kAdministrationKey =
    "SOFTWARE\\Wow6432Node\\Tarnwick\\Tarnwick\\Administration";
inline constexpr const char* kHostsKey =
    "SOFTWARE\\Wow6432Node\\Tarnwick\\Tarnwick\\Administration\\Hosts";

// The values of a host's subkey.
inline constexpr const char* kAddressValue = "Address";
inline constexpr const char* kPortValue = "Port";
inline constexpr const char* kCredentialsValue = "Credentials";
inline constexpr const char* kProtocolValue = "Authentication Protocol";

std::string HostKey(std::string_view host);

// The "Address" of a host; no value when its key or the value is missing.
std::optional<std::string> ReadHostAddress(std::string_view host);
// The low 16 bits of its "Port"; 8081 when missing.
std::uint16_t ReadHostPort(std::string_view host);

// Its "Credentials" and "Authentication Protocol"; empty when missing.
std::string ReadHostCredentials(std::string_view host);
std::string ReadHostProtocol(std::string_view host);

// The value of the switch "ForceDefaultHost"; 0 when missing, and for the server's own programs.
std::uint32_t IsDefaultHostForced(std::string_view executablePath);

// Full path of the running process's executable, at most 260 characters.
std::string ExecutablePath();

// The messages, each one send and one receive. AUTH takes the host's credentials and protocol from
// the registry.
bool SendAuth(SOCKET socket, std::string_view host);
bool SendLoad(SOCKET socket, std::string_view library);
bool SendPing(SOCKET socket);

}  // namespace tarnwick
