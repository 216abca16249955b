// What a restore finds in an archive, and where it goes in a mailbox.
#pragma once

#include <string>
#include <vector>

#include "tools/admin/archive/ZipReader.h"
#include "tools/admin/Names.h"

namespace tarnwick::admin {

// How what the archive has stands to what the mailbox has.
enum class Standing { New, Same, Differs };

struct PlannedFile {
    std::string name;
    std::string path;
    std::string calendar;  // empty: an item
    ZipMember member;
    Standing standing = Standing::New;
};

// The name as the system compares names; an archive may have each once.
std::string FoldedName(std::string name);

// What the archive holds, items first, so that an entry is there when its item is; `folder` is the
// mailbox's Calendar folder. Throws Failure at the first thing that no snapshot has.
std::vector<PlannedFile> PlanRestore(ByteRange& archive, const Mailbox& mailbox,
                                     const std::string& folder);

// Reads the member to its end, which proves that it is whole, and compares it with the file.
Standing StandingOf(ByteRange& archive, const PlannedFile& file);

}  // namespace tarnwick::admin
