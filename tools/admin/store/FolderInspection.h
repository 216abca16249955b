// What is wrong with one folder of the store: its calendars and items, its index, its activity
// file, the files that should have gone.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tools/admin/store/ActivityInspection.h"
#include "tools/admin/store/CalendarInspection.h"
#include "tools/admin/store/FolderListing.h"
#include "tools/admin/store/IndexInspection.h"
#include "tools/admin/store/Problem.h"

namespace tarnwick::admin {

// What belongs together in a folder: a calendar with its companions, the index, ... by a name.
using Units = std::set<std::string>;

// Looks at one folder after another; reads only, and holds no file open for longer than its
// reading.
class FolderInspection {
  public:
    // `root` is the mail root: a folder below it is named by its mailbox in the findings.
    explicit FolderInspection(std::string root) : root_(std::move(root)) {}

    // All that is wrong with the folder; with `units`, with those alone.
    std::vector<Finding> Run(const FolderListing& listing, const Units* units = nullptr);

  private:
    bool Wants(const std::string& unit) const {
        return units_ == nullptr || units_->contains(unit);
    }
    std::string StampsOf(std::initializer_list<std::string> names) const;
    bool IsBusy(const std::string& blockName) const;
    Finding& Add(Problem problem, std::string_view fileName, const std::string& unit,
                 std::string state, std::string detail = {});
    std::optional<std::string_view> Read(const StoredFile& file, const std::string& unit);

    void TakeCalendar(const StoredFile& file);
    void TakeCalendarLines(const StoredFile& file, const std::string& unit, std::string_view bytes);
    void TakeCompanion(const StoredFile& file);
    void TakeEntry(const StoredFile& file, const CalendarInspection::SeenEntry& entry);
    void CollectItems();
    void ReportItems();

    void TakeIndexes();
    void TakeIndex(const StoredFile& file, const std::string& unit);
    void CompareWithFiles(const StoredFile& index, const std::string& unit);
    bool IsMessageOf(const StoredFile& index, const StoredFile& file);
    void TakeBackup(const StoredFile& backup, const StoredFile& index);
    void TakeActivity();
    void TakeOther(const StoredFile& file);

    std::string root_;
    SharedReader reader_;
    CalendarInspection calendar_;
    IndexInspection index_;

    const FolderListing* listing_ = nullptr;
    const Units* units_ = nullptr;
    bool hasCalendars_ = false;
    Place place_;
    std::vector<Finding> findings_;
    // Items by their names in lower case, and whether an entry of theirs was met.
    std::map<std::string, bool> items_;
    // What became of an ID that was met before: whether its item is there.
    std::map<std::string, bool> itemOfId_;
    bool entriesHidden_ = false;
};

// A flag that is older waits for nobody.
inline constexpr std::int64_t kUnconsumedSeconds = 30LL * 24 * 60 * 60;

// Whether the name is one that messages have, other than groups.
bool HasMessageExtension(std::string_view name);

// Size and time of a file; null: that there is none.
std::string StampOf(const StoredFile* file);

}  // namespace tarnwick::admin
