#include "tools/admin/store/CalendarSiblings.h"

#include "tools/admin/store/CalendarInspection.h"

namespace tarnwick::admin {
namespace {

// A torn file has whole lines and others.
enum class Worth { Gone, Unreadable, Empty, Torn, Whole };

struct Candidate {
    const StoredFile* file = nullptr;
    Worth worth = Worth::Gone;
    bool HasEntries() const { return worth >= Worth::Torn; }
};

Worth WorthOf(const std::optional<std::string_view>& bytes) {
    if (!bytes) return Worth::Unreadable;
    if (WholeLines(*bytes).empty()) return Worth::Empty;
    return IsWholeCalendar(*bytes) ? Worth::Whole : Worth::Torn;
}

std::string_view TextOf(Worth worth) {
    constexpr std::string_view kTexts[] = {"", " cannot be read", " has no entries", " is torn",
                                           " is whole"};
    return kTexts[static_cast<std::size_t>(worth)];
}

}  // namespace

std::optional<SiblingChoice> ChooseSibling(const FolderListing& listing, std::string_view calendar,
                                           SharedReader& reader) {
    SiblingChoice choice;
    const auto candidate = [&](const char* extension) -> Candidate {
        const StoredFile* file = listing.Find(std::string(calendar) + extension);
        if (file == nullptr) return {};
        const Worth worth = WorthOf(reader.Read(listing.PathOf(file->name), file->size));
        choice.why += (choice.why.empty() ? "" : ", ") + std::string(extension);
        choice.why += TextOf(worth);
        return {file, worth};
    };
    const Candidate replacement = candidate(".TMP");
    const Candidate backup = candidate(".BAK");
    const Candidate oldBackup = candidate(".OLD");
    if (replacement.worth <= Worth::Unreadable) return std::nullopt;
    const bool isNewest =
        replacement.worth == Worth::Whole &&
        (!backup.HasEntries() || replacement.file->lastWrite >= backup.file->lastWrite);
    const Candidate* chosen = &replacement;
    for (const Candidate* next : {&oldBackup, &replacement, &backup}) {
        if (next->HasEntries() && !isNewest) chosen = next;
    }
    choice.file = chosen->file;
    choice.whole = chosen->worth == Worth::Whole || chosen->file->size == 0;
    choice.mayBeRemoved = chosen != &replacement && replacement.file->size == 0;
    return choice;
}

}  // namespace tarnwick::admin
