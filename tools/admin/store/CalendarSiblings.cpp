#include "tools/admin/store/CalendarSiblings.h"

#include "tools/admin/store/CalendarInspection.h"

namespace tarnwick::admin {
namespace {

// A torn file has less than a whole one, and an empty one stands for no entry at all.
enum class Worth { Unreadable, Empty, Torn, Whole };

Worth WorthOf(const std::optional<std::string_view>& bytes) {
    if (!bytes) return Worth::Unreadable;
    if (bytes->empty()) return Worth::Empty;
    if (IsWholeCalendar(*bytes)) return Worth::Whole;
    return WholeLines(*bytes).empty() ? Worth::Empty : Worth::Torn;
}

std::string_view TextOf(Worth worth) {
    constexpr std::string_view kTexts[] = {" cannot be read", " has no entries", " is torn",
                                           " is whole"};
    return kTexts[static_cast<std::size_t>(worth)];
}

}  // namespace

std::optional<SiblingChoice> ChooseSibling(const FolderListing& listing, std::string_view calendar,
                                           SharedReader& reader) {
    SiblingChoice choice{};
    Worth best = Worth::Unreadable;
    for (const char* extension : {".TMP", ".BAK", ".OLD"}) {
        const StoredFile* file = listing.Find(std::string(calendar) + extension);
        if (file == nullptr) continue;
        const Worth worth = WorthOf(reader.Read(listing.PathOf(file->name), file->size));
        choice.why += (choice.why.empty() ? "" : ", ") + std::string(extension);
        choice.why += TextOf(worth);
        const bool isBetter = worth > best || (worth == best && choice.file != nullptr &&
                                               file->lastWrite > choice.file->lastWrite);
        if (worth == Worth::Unreadable || !isBetter) continue;
        best = worth;
        choice.file = file;
    }
    if (choice.file == nullptr) return std::nullopt;
    choice.whole = best == Worth::Whole;
    return choice;
}

}  // namespace tarnwick::admin
