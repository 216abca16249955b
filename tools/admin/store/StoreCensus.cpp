#include "tools/admin/store/StoreCensus.h"

#include <algorithm>

#include "common/Text.h"
#include "provider/CalendarReader.h"
#include "tools/admin/archive/Manifest.h"
#include "tools/admin/store/StoreNames.h"

namespace tarnwick::admin {
namespace {

bool IsIndexFile(std::string_view name) {
    return EqualsIgnoreCase(name, kIndexName) || EqualsIgnoreCase(name, kGroupsName);
}

bool Precedes(const std::string& left, const std::string& right) {
    return std::ranges::lexicographical_compare(left, right, {}, LowerAscii, LowerAscii);
}

}  // namespace

bool MailboxName::operator<(const MailboxName& other) const {
    if (Precedes(place, other.place) || Precedes(other.place, place)) {
        return Precedes(place, other.place);
    }
    return Precedes(root, other.root);
}

void MailboxCensus::Add(const MailboxCensus& other) {
    calendars += other.calendars;
    calendarBytes += other.calendarBytes;
    entries += other.entries;
    items += other.items;
    itemBytes += other.itemBytes;
    indexBytes += other.indexBytes;
}

void CensusTaker::Take(const FolderListing& listing) {
    const Place place = PlaceOf(listing.Folder(), root_);
    const bool isInMailbox = place.text != listing.Folder();
    const MailboxName name = isInMailbox ? MailboxName{place.text, place.root} : MailboxName();
    MailboxCensus& mailbox = census_.try_emplace(name, year_).first->second;
    const bool hasCalendars = IsCalendarFolder(listing.Folder());
    for (const StoredFile& file : listing.Files()) {
        if (IsIndexFile(file.name)) {
            mailbox.indexBytes += file.size;
        } else if (hasCalendars && HasExtension(file.name, "CAL")) {
            TakeCalendar(listing.PathOf(file.name), file, mailbox);
        } else if (hasCalendars && RoleOf(file.name) == FileRole::Item) {
            ++mailbox.items;
            mailbox.itemBytes += file.size;
        }
    }
}

void CensusTaker::TakeCalendar(const std::string& path, const StoredFile& file,
                               MailboxCensus& mailbox) {
    const auto bytes = reader_.Read(path, file.size);
    // In a folder with an index a message may have the extension too.
    if (!bytes || bytes->starts_with(kMessageCalendarStart)) return;
    ++mailbox.calendars;
    mailbox.calendarBytes += bytes->size();
    CalendarReader reader(*bytes);
    while (reader.NextMatch({})) {
        ++mailbox.entries;
        mailbox.days.Take(ParseInt32(reader.Line().start), ParseInt32(reader.Line().end));
    }
}

}  // namespace tarnwick::admin
