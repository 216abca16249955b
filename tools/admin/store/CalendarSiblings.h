// The companions of a calendar that can stand in for it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tools/admin/store/FolderListing.h"

namespace tarnwick::admin {

struct SiblingChoice {
    const StoredFile* file;
    bool whole;
    std::string why;  // what there was to choose from
};

// Which of ".TMP", ".BAK" and ".OLD" stands in for a calendar that has gone: the newest that is
// whole and has entries; else the newest that has some; else one that is empty. No value when there
// is none of them.
std::optional<SiblingChoice> ChooseSibling(const FolderListing& listing, std::string_view calendar,
                                           SharedReader& reader);

}  // namespace tarnwick::admin
