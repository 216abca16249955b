#include "tools/admin/store/BlockRule.h"

#include <algorithm>

#include "common/Clock.h"
#include "common/Registry.h"
#include "common/Text.h"

namespace tarnwick::admin {
namespace {

constexpr std::uint64_t kFileTimeUnitsPerSecond = 10'000'000;
// Every waiter counts one wait more than its limit says.
constexpr std::uint32_t kOneMore = 1;
constexpr std::uint32_t kIndexWaits = 60;

// As the waits do: a value beyond the sign is no patience.
std::uint32_t WaitsOf(const char* key, const char* value, std::uint32_t defaultSeconds) {
    const auto seconds = static_cast<std::int32_t>(RegistryDwordOr(key, value, defaultSeconds));
    return static_cast<std::uint32_t>(std::max(seconds, 0)) + kOneMore;
}

BlockRule CalendarRule(std::string_view calendar) {
    const std::uint32_t reader = WaitsOf(kProvidersKey, "Read Wait Timeout", 60);
    const std::uint32_t writer = WaitsOf(kProvidersKey, "Write Wait Timeout", 80);
    return {"the calendar " + std::string(calendar), reader, std::max(reader, writer),
            "by a reader that has waited " + std::to_string(reader) +
                " s for it; writers give up after " + std::to_string(writer) + " s"};
}

BlockRule IndexRule(bool ofGroups) {
    const bool atOnce =
        !ofGroups && RegistryDwordOr(kProductProvidersKey, "Index Unblock Mode", 0) != 0;
    const std::uint32_t waits = kIndexWaits + kOneMore;
    return {"the scan of the folder's index", waits, waits,
            "by a scan that has waited " + std::to_string(atOnce ? 1 : waits) + " s for it"};
}

BlockRule ActivityRule() {
    const std::uint32_t waits =
        WaitsOf(kProductProvidersKey, "Store Notification Wait Timeout", 100);
    return {"the activity file", waits, waits,
            "by a process that has waited " + std::to_string(waits) + " s for it"};
}

}  // namespace

std::optional<BlockRule> RuleOf(const std::string& folder, const std::string& name) {
    if (!HasExtension(name, "BLK")) return std::nullopt;
    if (EqualsIgnoreCase(name, "_index.blk")) return IndexRule(false);
    if (EqualsIgnoreCase(name, "_groups.blk")) return IndexRule(true);
    if (EqualsIgnoreCase(name, "_activity.blk")) return ActivityRule();
    if (IsCalendarFolder(folder)) return CalendarRule(StemOf(name));
    return std::nullopt;
}

std::int64_t AgeSeconds(std::uint64_t lastWrite) {
    const std::uint64_t now = CurrentFileTime();
    return now < lastWrite ? 0
                           : static_cast<std::int64_t>((now - lastWrite) / kFileTimeUnitsPerSecond);
}

bool IsStale(const BlockRule& rule, const std::string& path, std::uint64_t lastWrite) {
    return AgeSeconds(lastWrite) > rule.patienceSeconds && !IsHeldOpen(path);
}

std::vector<BlockState> BlocksOf(const FolderListing& listing) {
    std::vector<BlockState> blocks;
    for (const StoredFile& file : listing.Files()) {
        const auto rule = RuleOf(listing.Folder(), file.name);
        if (!rule) continue;
        const std::string path = listing.PathOf(file.name);
        const bool isStale = IsStale(*rule, path, file.lastWrite);
        blocks.push_back(
            {path, *rule, AgeSeconds(file.lastWrite), isStale, !isStale && IsHeldOpen(path)});
    }
    return blocks;
}

std::string StateText(const BlockState& block) {
    if (block.isHeldOpen) return "; a program has it open";
    return block.isStale ? "; its holder has ended" : "";
}

}  // namespace tarnwick::admin
