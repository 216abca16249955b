// What a reader has to say about its input.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Library/convert/TextEncoding.h"

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

// What the reading of one calendar text has to say, and what its parts share.
class Remarks {
  public:
    explicit Remarks(std::string_view text) : isUtf8_(IsUtf8Folded(text)) {}

    bool IsUtf8Text() const { return isUtf8_; }

    void Note(std::size_t line, std::string reason, std::string uid = {}) {
        notes.push_back({line, std::move(reason), std::move(uid)});
    }
    // What concerns the whole text is said once.
    void NoteEncoding(std::size_t line) {
        if (!hasNotedEncoding_) Note(line, "the text is not UTF-8; it is taken as Windows-1252");
        hasNotedEncoding_ = true;
    }
    void NoteFloating(std::size_t line) {
        if (!hasNotedFloating_) Note(line, "times without a zone are taken as UTC");
        hasNotedFloating_ = true;
    }

    std::vector<ReadProblem> notes;
    std::vector<ReadProblem> unheld;

  private:
    bool isUtf8_;
    bool hasNotedEncoding_ = false;
    bool hasNotedFloating_ = false;
};

// Gives problems from that one on the UID of their item.
inline void NameItem(std::vector<ReadProblem>& problems, std::size_t from, const std::string& uid) {
    for (; from < problems.size(); ++from) {
        if (problems[from].uid.empty()) problems[from].uid = uid;
    }
}

}  // namespace tarnwick
