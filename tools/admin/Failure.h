// How a command of the tool ends when it cannot do what was asked.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace tarnwick::admin {

// The exit statuses of the tool, the same for all commands.
enum class ExitStatus {
    Done = 0,           // nothing was found wrong
    Refused = 1,        // or not found
    WrongUsage = 2,     // nothing was done
    ProblemsFound = 3,  // by a command that looks for them
    PartlyDone = 4,     // some of what was asked, not all
    Busy = 5,           // another program holds the lock or the file
    NotAllowed = 6,     // rights are missing
    NotReached = 7,     // the server does not answer or refuses the login
};

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
