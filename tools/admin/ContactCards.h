// Contacts of card files (.vcf) as a table for people, as JSON for programs, and as the store's own
// cards.
#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "Library/convert/ContactReader.h"
#include "tools/admin/TextTable.h"

namespace tarnwick::admin {

// Name, e-mail address and nickname in columns under a heading, one line a contact, in the system
// code page; a character that it lacks is a question mark.
std::string ContactTable(const std::vector<ItemPropertyContainer>& contacts,
                         const ToCodePage& toCodePage);

// An object of the properties that the contact has, in UTF-8. Values that are not UTF-8 are taken
// for Windows-1252.
nlohmann::ordered_json ContactJson(const ItemPropertyContainer& contact);

// The store's card of a contact.
struct StoreCard {
    // A property whose value is not written as it was read, and what it reads back as.
    struct Change {
        const char* property;  // as ContactJson names it
        std::string value;
    };
    std::string text;
    std::vector<Change> changes;
};

// Reads back as the name parts, nickname and address of the contact, but for what `changes` tells:
// line breaks become blanks, other control characters are dropped, and so is a backslash that would
// belong to the semicolon behind it.
StoreCard ToStoreCard(const ItemPropertyContainer& contact);

struct ConvertedContacts {
    std::string text;  // the cards one after another
    // Those of the reading, and for each card what of it is left out or changed; in the order of
    // lines, texts in the system code page.
    std::vector<ReadProblem> notes;
};

// Converts what was read of `text` without a failure.
ConvertedContacts ConvertContacts(std::string_view text, const ContactReading& reading,
                                  const ToCodePage& toCodePage);

}  // namespace tarnwick::admin
