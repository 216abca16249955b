#include "tools/service/Credentials.h"

#include <algorithm>

#include "common/Scan.h"
#include "remote/AdminProtocol.h"

namespace tarnwick::service {

std::optional<std::string> UsableCredentials(std::string_view text) {
    const std::string_view line = text.substr(0, FindEither(text, '\r', '\n'));
    const bool usable = !line.empty() && line.size() <= kHostSettingLimit &&
                        std::all_of(line.begin(), line.end(), [](char character) {
                            return static_cast<unsigned char>(character) >= ' ' && character != '<';
                        });
    if (!usable) return std::nullopt;
    return std::string(line);
}

}  // namespace tarnwick::service
