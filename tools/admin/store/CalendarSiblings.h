// The companions of a calendar that can stand in for it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tools/admin/store/FolderListing.h"

namespace tarnwick::admin {

struct SiblingChoice {
    const StoredFile* file = nullptr;
    bool whole = false;
    // Whether the new calendar is empty and this one is not: its entries may have been removed.
    bool mayBeRemoved = false;
    std::string why = {};  // what there was to choose from
};

// Which of ".TMP", ".BAK" and ".OLD" stands in for a calendar that has gone: ".TMP" when it is
// whole, has entries and is not older than ".BAK"; else the first with entries of ".BAK", ".TMP"
// and ".OLD", which may be older by any number of changes; else ".TMP". No value without a ".TMP"
// that can be read: then no swap broke off, or what it holds is not known.
std::optional<SiblingChoice> ChooseSibling(const FolderListing& listing, std::string_view calendar,
                                           SharedReader& reader);

}  // namespace tarnwick::admin
