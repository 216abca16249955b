#include "Library/activity/ModuleLog.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "common/Reports.h"
#include "common/Scan.h"

namespace tarnwick {
namespace {

// A text of at most kLogCapacity - 1 characters; what is appended beyond is dropped.
class BoundedText {
  public:
    void Append(std::string_view text) {
        const std::size_t count = std::min(text.size(), kLogCapacity - 1 - length_);
        if (count != 0) std::memcpy(bytes_ + length_, text.data(), count);
        length_ += count;
    }
    void Append(const LogArgument& argument) {
        if (!argument.IsNumber()) return Append(argument.Text());
        char digits[11];
        const auto end = std::to_chars(digits, digits + sizeof digits, argument.Number()).ptr;
        Append(std::string_view(digits, static_cast<std::size_t>(end - digits)));
    }
    std::string_view View() const { return {bytes_, length_}; }

  private:
    char bytes_[kLogCapacity];
    std::size_t length_ = 0;
};

// Length of the placeholder that `text` begins with: "%s", "%d" or "%ld"; 0 for anything else.
std::size_t PlaceholderLength(std::string_view text) {
    if (text.starts_with("%ld")) return 3;
    return text.starts_with("%s") || text.starts_with("%d") ? 2 : 0;
}

ReportChannel EventLogOf(std::string_view text) {
    if (text.starts_with("TW-E")) return ReportChannel::EventLogError;
    if (text.starts_with("TW-W")) return ReportChannel::EventLogWarning;
    return ReportChannel::EventLogInformation;
}

BoundedText Compose(std::string_view format, std::initializer_list<LogArgument> arguments) {
    BoundedText text;
    auto argument = arguments.begin();
    std::size_t copied = 0;
    for (std::size_t at = FindByte(format, '%'); at != kNotFound;
         at = FindByte(format, '%', at + 1)) {
        const std::size_t length = PlaceholderLength(format.substr(at));
        if (length == 0 || argument == arguments.end()) continue;
        text.Append(format.substr(copied, at - copied));
        text.Append(*argument++);
        copied = at + length;
    }
    text.Append(format.substr(copied));
    return text;
}

}  // namespace

void LogMessage(std::string_view format, std::initializer_list<LogArgument> arguments) noexcept {
    const BoundedText text = Compose(format, arguments);
    Trace(text.View());
    Report(EventLogOf(text.View()), text.View());
}

}  // namespace tarnwick
