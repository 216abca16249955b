// The control messages of the administration protocol, and the decisions of the client that touch
// no socket. Messages are plain text without a length in front and without a terminating NUL.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tarnwick {

inline constexpr std::uint16_t kAdminPort = 8081;

// Host names, library names and registry texts are kept in buffers of 1024 bytes; what a host
// setting contributes to a message is cut to 255 characters.
inline constexpr std::size_t kSessionTextCapacity = 1024;
inline constexpr std::size_t kHostSettingLimit = 255;

// A control message is assembled in a buffer of this size, terminator included; a reply is read
// with one receive of at most this many bytes.
inline constexpr std::size_t kControlCapacity = 2048;

inline constexpr std::uint32_t kReceiveTimeoutMilliseconds = 60000;

inline constexpr std::string_view kPingMessage = "<DATA><METHOD>PING</METHOD></DATA>";
inline constexpr std::string_view kQuitMessage = "<DATA><METHOD>QUIT</METHOD></DATA>";
inline constexpr std::string_view kSuccessReply = "<DATA><STATUS>SUCCESS</STATUS></DATA>";
inline constexpr std::string_view kFailureReply = "<DATA><STATUS>FAILURE</STATUS></DATA>";

// The texts go in as they stand: nothing is escaped.
std::string AuthMessage(std::string_view protocol, std::string_view credentials);
std::string LoadMessage(std::string_view library);

// Whether an answer to AUTH or LOAD accepts it. Only what lies before the first NUL counts.
bool IsSuccessReply(std::string_view reply);

// Whether a process with this executable is one of the server's own programs, which always work on
// local files: the path begins with "TW" and is ".EXE" from its first "." on, both without regard
// to case. The whole path is looked at, not the file name.
bool IsOwnProgram(std::string_view executablePath);

}  // namespace tarnwick
