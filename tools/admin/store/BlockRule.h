// The rules by which the store's block files are waited for and broken. docs/locking.md has them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/admin/store/FolderListing.h"

namespace tarnwick::admin {

struct BlockRule {
    std::string guards;             // what the block file guards
    std::uint32_t waiterSeconds;    // how long a waiter waits before it breaks the block
    std::uint32_t patienceSeconds;  // when nobody waits for its holder any more
    std::string breaks;             // who breaks it, and when
};

// The rule of a file of the folder; no value when it is no block file.
std::optional<BlockRule> RuleOf(const std::string& folder, const std::string& name);

// The time since the file was written, in seconds; 0 for one of the future.
std::int64_t AgeSeconds(std::uint64_t lastWrite);

// Whether a block file's holder has ended: it is older than its rule's waits and nobody has it
// open.
bool IsStale(const BlockRule& rule, const std::string& path, std::uint64_t lastWrite);

// A block file as it stands now.
struct BlockState {
    std::string path;
    BlockRule rule;
    std::int64_t ageSeconds = 0;
    bool isStale = false;
    bool isHeldOpen = false;
};
std::vector<BlockState> BlocksOf(const FolderListing& listing);
// What follows its age: "; its holder has ended", or nothing where it may be at work.
std::string StateText(const BlockState& block);

}  // namespace tarnwick::admin
