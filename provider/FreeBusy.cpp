#include <optional>

#include "common/Files.h"
#include "common/Text.h"
#include "provider/CalendarPaths.h"
#include "provider/Operations.h"

namespace tarnwick {
namespace {

constexpr std::size_t kDayCapacity = 128;

std::string ScanPattern(const FreeBusyRecord& record) {
    return FileInCalendarFolder(FieldText(record.postoffice), FieldText(record.mailbox),
                                std::string(FieldText(record.namePrefix)) + "*.CAL");
}

// Appends the day in a file name to the list; false when the list has no room for it.
bool AppendDay(std::string& days, const std::string& fileName) {
    char day[kDayCapacity];
    if (GetTextBetween(fileName, "D", ".", day) == 0) return true;
    const std::string_view text = FieldText(day);
    const std::size_t separator = days.empty() ? 0 : 1;
    if (separator + text.size() > TWAICP_CHUNK_SIZE - 1 - days.size()) return false;
    days.append(separator, ',').append(text);
    return true;
}

// The days of all matching calendars; no value when nothing matches.
std::optional<std::string> DaysOf(const std::string& pattern) {
    DirectoryScan scan(pattern);
    auto found = scan.Next();
    if (!found) return std::nullopt;
    std::string days;
    while (found && AppendDay(days, found->name)) found = scan.Next();
    return days;
}

}  // namespace

void ScanFreeBusy(FreeBusyRecord& record) {
    const auto days = DaysOf(ScanPattern(record));
    StoreField(record.result, days ? std::string_view(*days) : "");
    // Nothing found leaves the length beside the empty text: kept for compatibility.
    if (days) record.resultLength = static_cast<std::int32_t>(days->size());
}

}  // namespace tarnwick
