// How a command of the tool ends when it cannot do what was asked.
#pragma once

#include <stdexcept>
#include <string>

namespace tarnwick::admin {

// The exit statuses of the tool.
enum class ExitStatus { Done = 0, Refused = 1, WrongUsage = 2, LeftOut = 4 };

// Ends a command: the text goes to standard error and says what to do about it.
class Failure : public std::runtime_error {
  public:
    Failure(ExitStatus status, const std::string& text)
        : std::runtime_error(text), status_(status) {}
    ExitStatus Status() const { return status_; }

  private:
    ExitStatus status_;
};

inline Failure Refusal(const std::string& text) {
    return {ExitStatus::Refused, text};
}

inline Failure WrongUsage(const std::string& text) {
    return {ExitStatus::WrongUsage, text};
}

}  // namespace tarnwick::admin
