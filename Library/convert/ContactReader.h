// Reads contacts out of vCard text: 2.1, 3.0 (RFC 2426) and 4.0 (RFC 6350).
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "Library/convert/ItemProperties.h"
#include "Library/convert/Remarks.h"

namespace tarnwick {

struct ContactReading {
    // One for each card, in the order of the text; none after a failure.
    std::vector<ItemPropertyContainer> contacts;
    // What of the text was not understood and left out.
    std::vector<ReadProblem> notes;
    // Why the text cannot be read.
    std::optional<ReadProblem> failure;
};

// Reads a text of one or more cards into the contact properties of PropertyNames.h. Takes time and
// memory in proportion to its length and throws nothing but std::bad_alloc, whatever the text is.
// docs/vcard.md says what becomes what.
ContactReading ReadContactText(std::string_view text);

}  // namespace tarnwick
