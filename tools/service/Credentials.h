// The one secret that clients must know.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarnwick::service {

// The first line of a credentials file (or the whole of a setting). No value when it cannot be what
// a client sends: it is empty, longer than 255 characters, or holds a "<" or a control character.
std::optional<std::string> UsableCredentials(std::string_view text);

}  // namespace tarnwick::service
