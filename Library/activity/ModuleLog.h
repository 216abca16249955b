// The store library's log: each message goes to the debug trace and to the event log, as an error
// or a warning when it begins with "TW-E" or "TW-W", as information otherwise. The level that gates
// the less important messages is that of common/Reports.h.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace tarnwick {

// The buffer of the formatter, terminator included: a longer message is cut.
inline constexpr std::size_t kLogCapacity = 1024;

// One argument of a message: a text for "%s", a number for "%d" and "%ld". All numbers of the log
// are signed 32-bit ones; a larger or unsigned one is printed as its low 32 bits.
class LogArgument {
  public:
    LogArgument(std::string_view text) : text_(text) {}
    LogArgument(const std::string& text) : text_(text) {}
    LogArgument(const char* text) : text_(text) {}
    template <std::integral Number>
    LogArgument(Number number) : number_(static_cast<std::int32_t>(number)), isNumber_(true) {}

    bool IsNumber() const { return isNumber_; }
    std::string_view Text() const { return text_; }
    std::int32_t Number() const { return number_; }

  private:
    std::string_view text_;
    std::int32_t number_ = 0;
    bool isNumber_ = false;
};

// Logs `format` with its "%s", "%d" and "%ld" replaced by the arguments in order. Neither allocates
// nor throws, so that it may run while an exception is handled; keeps the thread's last error.
void LogMessage(std::string_view format,
                std::initializer_list<LogArgument> arguments = {}) noexcept;

}  // namespace tarnwick
