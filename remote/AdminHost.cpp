#include "remote/AdminHost.h"

#include "common/Registry.h"
#include "common/Text.h"
#include "common/WindowsApi.h"
#include "remote/AdminProtocol.h"

namespace tarnwick {
namespace {

std::optional<std::string> ReadHostText(std::string_view host, const char* value) {
    char text[kSessionTextCapacity];
    if (!ReadRegistryString(RegistryRoot::CurrentUser, HostKey(host).c_str(), value, text)) {
        return std::nullopt;
    }
    return std::string(FieldText(text).substr(0, kHostSettingLimit));
}

bool SendAndExpectSuccess(SOCKET socket, const std::string& message) {
    char reply[kControlCapacity];
    if (!SendOnce(socket, message)) return false;
    const auto received = ReceiveOnce(socket, reply);
    return received && IsSuccessReply(*received);
}

}  // namespace

std::string HostKey(std::string_view host) {
    return FormatPath("%s\\%s", {kHostsKey, host});
}

std::optional<std::string> ReadHostAddress(std::string_view host) {
    return ReadHostText(host, kAddressValue);
}

std::uint16_t ReadHostPort(std::string_view host) {
    std::uint32_t port = kAdminPort;
    ReadRegistryDword(RegistryRoot::CurrentUser, HostKey(host).c_str(), kPortValue, port);
    return static_cast<std::uint16_t>(port & 0xFFFF);
}

std::string ReadHostCredentials(std::string_view host) {
    return ReadHostText(host, kCredentialsValue).value_or("");
}

std::string ReadHostProtocol(std::string_view host) {
    return ReadHostText(host, kProtocolValue).value_or("");
}

std::uint32_t IsDefaultHostForced(std::string_view executablePath) {
    std::uint32_t forced = 0;
    // They always work on local files, for the gate and for the service, which asks here too.
    if (IsOwnProgram(executablePath)) return 0;
    ReadRegistryDword(RegistryRoot::CurrentUser, kAdministrationKey, "ForceDefaultHost", forced);
    return forced;
}

std::string ExecutablePath() {
    char path[MAX_PATH];
    const DWORD length = GetModuleFileNameA(nullptr, path, sizeof path);
    return std::string(UpToNul({path, length}));
}

bool SendAuth(SOCKET socket, std::string_view host) {
    return SendAndExpectSuccess(socket,
                                AuthMessage(ReadHostProtocol(host), ReadHostCredentials(host)));
}

bool SendLoad(SOCKET socket, std::string_view library) {
    return SendAndExpectSuccess(socket, LoadMessage(library));
}

bool SendPing(SOCKET socket) {
    // What the answer says is not looked at: that somebody answers is all that is asked.
    char reply[kControlCapacity];
    return SendOnce(socket, kPingMessage) && ReceiveOnce(socket, reply).has_value();
}

}  // namespace tarnwick
