// What a snapshot says of itself, in the archive's "tarnwick-snapshot.json", and where its files
// lie there: as in the mailbox, below "Calendar/". Texts are UTF-8.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::admin {

inline constexpr const char* kManifestName = "tarnwick-snapshot.json";
inline constexpr const char* kCalendarFolder = "Calendar/";

// A restore holds one whole.
inline constexpr std::uint64_t kLargestCalendar = 256U << 20;

struct SnapshotFile {
    std::string name;  // in the mailbox's Calendar folder
    std::uint64_t bytes = 0;
    std::optional<std::uint64_t> lines = {};  // of a calendar; of an item there is none
    bool operator==(const SnapshotFile&) const = default;
};

struct Manifest {
    std::string mailbox;
    std::string taken;  // "2025-03-01T09:30:00Z"
    std::vector<SnapshotFile> files;
};

std::string ManifestText(const Manifest& manifest);
// Throws Failure (Refused) when the text is none, or that of a later version.
Manifest ParseManifest(std::string_view text);

// Whether a file of a Calendar folder goes into a snapshot, and as what. Files that belong to the
// store's swaps, flags and indexes do not, nor what repairs and restores have put aside.
enum class FileRole {
    Calendar,
    SwapSign,  // tells of a calendar that its writer has taken away for a moment
    Item,
    Other,
};
FileRole RoleOf(std::string_view name);

// What stands behind the name of a file that is not written to its end.
inline constexpr const char* kUnfinished = ".unfinished";

}  // namespace tarnwick::admin
