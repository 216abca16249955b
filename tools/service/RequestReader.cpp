#include "tools/service/RequestReader.h"

#include <algorithm>

#include "common/Scan.h"

namespace tarnwick::service {
namespace {

constexpr std::string_view kRequestBegin = "<DATA>";
constexpr std::string_view kRequestEnd = "</DATA>";

}  // namespace

bool RequestReader::BeginsRight() const {
    const std::size_t compared = std::min(buffer_.size(), kRequestBegin.size());
    return buffer_.compare(0, compared, kRequestBegin, 0, compared) == 0;
}

std::optional<std::string> RequestReader::Next() {
    if (!BeginsRight()) return std::nullopt;
    const std::string_view inLimit = std::string_view(buffer_).substr(0, kRequestLimit);
    const std::size_t at = FindText(inLimit, kRequestEnd, scanned_);
    if (at == kNotFound) {
        // The end may have arrived in part.
        scanned_ = inLimit.size() - std::min(inLimit.size(), kRequestEnd.size() - 1);
        return std::nullopt;
    }
    const std::size_t length = at + kRequestEnd.size();
    std::string request = buffer_.substr(0, length);
    buffer_.erase(0, length);
    scanned_ = 0;
    return request;
}

bool RequestReader::IsBroken() const {
    return !BeginsRight() || buffer_.size() > kRequestLimit;
}

}  // namespace tarnwick::service
