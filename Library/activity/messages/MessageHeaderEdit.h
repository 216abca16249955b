// Copying a message while its header fields are edited: the one loop that every header operation
// runs, told by small rules what to do with which lines.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "Library/activity/messages/MessageStream.h"

namespace tarnwick {

enum class FieldFate { Keep, Replace, Drop };

// What becomes of the lines of one header field.
struct FieldRule {
    std::vector<std::string> keys;  // beginnings of its lines, compared without regard to case
    FieldFate fate;                 // of each of its lines; duplicates all meet the same
    std::string line;  // takes the place of a replaced line, and is added before the empty line
                       // when the header had none; empty: nothing is added
    bool seen = false;
};

// What an edit does beyond its fields.
struct CopyRules {
    std::size_t lineBufferSize;  // header lines are read as by fgets with a buffer of this size
    bool addWithoutEmptyLine;    // a missing field still goes to the end of a file without one
    bool onlyWhenSeen;           // the copy is not wanted when the header had none of the fields
};

enum class CopyResult { Complete, NotWanted, Failed };

// Whether a line ends the header: its first character is CR or LF.
bool IsEmptyLine(std::string_view line);

// Copies header lines by `rules` up to the empty line, which is written behind what was missing.
// False when the lines ended before. Marks the rules whose lines were seen.
bool CopyHeader(PieceReader& lines, std::span<FieldRule> rules, BlockWriter& copy);

// Copies a whole message: header lines by `fields`, the rest byte for byte. What is not Complete
// must not take the message's place.
CopyResult CopyMessage(ByteSource& message, const CopyRules& rules, std::span<FieldRule> fields,
                       ByteSink& sink);

}  // namespace tarnwick
