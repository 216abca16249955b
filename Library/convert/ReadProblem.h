// What a reader has to say about its input.
#pragma once

#include <cstddef>
#include <string>
#include <utility>

namespace tarnwick {

// Why a text cannot be read, or what of it was left out, and where (lines count from 1).
struct ReadProblem {
    std::size_t line = 0;
    std::string reason;
    std::string uid{};  // of the item that it is about; empty when there is none
    bool operator==(const ReadProblem&) const = default;
};

// Ends the reading of a text; the readers catch it and put its problem into their result.
struct ReadFailure {
    ReadFailure(std::size_t line, std::string reason) : problem{line, std::move(reason)} {}
    ReadProblem problem;
};

}  // namespace tarnwick
