// Copying a message while its header fields are edited: the one loop that every header operation
// runs, told by small rules what to do with which lines.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "Library/activity/messages/MessageStream.h"

namespace tarnwick {

enum class FieldFate { Keep, Replace, Drop };

// What becomes of the lines of one header field.
struct FieldRule {
    std::string key;        // beginning of its lines, compared without regard to case
    FieldFate fate;         // of each of its lines; duplicates all meet the same
    std::string line = {};  // takes the place of a replaced line, and is added before the empty
                            // line when the header had none; empty: nothing is added
    bool seen = false;
};

// What an edit does beyond its fields.
struct CopyRules {
    std::size_t lineBufferSize = 2048;  // of the fgets that header lines are read as if by
    bool addWithoutEmptyLine =
        false;                  // a missing field still goes to the end of a file without one
    bool onlyWhenSeen = false;  // the copy is not wanted when the header had none of the fields
};

enum class CopyResult { Complete, NotWanted, Failed };

// Whether a line ends the header: its first character is CR or LF.
bool IsEmptyLine(std::string_view line);

// Whether a line of the header begins with `key`, in any case.
bool HasHeaderField(ByteSource& message, std::size_t lineBufferSize, std::string_view key);

// Copies a whole message: header lines by `fields`, the rest byte for byte. What is not Complete
// must not take the message's place.
CopyResult CopyMessage(ByteSource& message, const CopyRules& rules, std::span<FieldRule> fields,
                       ByteSink& sink);

}  // namespace tarnwick
