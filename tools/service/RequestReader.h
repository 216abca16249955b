// Cuts the bytes of a connection into requests.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "remote/Envelope.h"

namespace tarnwick::service {

// The longest request that a client assembles.
inline constexpr std::size_t kRequestLimit = kRemoteTextSize - 1;

// A request goes from "<DATA>" through the first "</DATA>"; nothing else tells where it ends.
class RequestReader {
  public:
    void Append(std::string_view bytes) { buffer_ += bytes; }

    // The next whole request; no value when there is none yet, or none will ever come.
    std::optional<std::string> Next();

    // Whether what is left can never become a request: it begins with something else, or is longer
    // than any request. To be asked when Next gave no value.
    bool IsBroken() const;

  private:
    bool BeginsRight() const;

    std::string buffer_;
    std::size_t scanned_ = 0;  // of buffer_, without the end of a request
};

}  // namespace tarnwick::service
