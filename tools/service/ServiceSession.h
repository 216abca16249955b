// What one connection to the service may do, and the answer to each of its requests.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/service/RemoteFunctions.h"

namespace tarnwick::service {

// Runs a function of the calendar library on this machine's files.
class FunctionRunner {
  public:
    virtual ~FunctionRunner() = default;
    // `records` are as many and as large as the function wants; it may change them.
    virtual std::int32_t Run(const RemoteFunction& function,
                             std::vector<std::vector<std::byte>>& records) = 0;
};

struct Answer {
    std::string text;    // sent at once; nothing is sent when it is empty
    bool close = false;  // the connection ends behind it
    std::string log;     // what was asked and what came of it, without secrets and line breaks
};

// The one secret that clients must know, from the first line of a credentials file (or the whole of
// a setting). No value when it cannot be what a client sends: it is empty, longer than 255
// characters, or holds a "<" or a control character.
std::optional<std::string> UsableCredentials(std::string_view text);

// Trusts nothing: credentials come first, then the one library that may be loaded, then its
// functions. Requests that are wrong in any way get the failure answer.
// Threads: one a connection, but IsAuthenticated may be asked on any; the runner is shared.
class ServiceSession {
  public:
    // Both outlive the session.
    ServiceSession(const std::string& credentials, FunctionRunner& runner)
        : credentials_(credentials), runner_(runner) {}

    Answer Handle(std::string_view request);

    bool IsAuthenticated() const { return authenticated_; }

  private:
    Answer Authenticate(std::string_view request);
    Answer Load(std::string_view request);
    Answer Execute(std::string_view request);

    const std::string& credentials_;
    FunctionRunner& runner_;
    std::atomic<bool> authenticated_{false};
    bool loaded_ = false;
    int refusedCredentials_ = 0;
};

// The answer to what is no request at all; the connection cannot go on behind it.
Answer AnswerToBrokenRequest();

}  // namespace tarnwick::service
