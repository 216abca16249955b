#include "tools/admin/MailboxStore.h"

#include <utility>

#include "common/Text.h"
#include "tools/admin/Failure.h"
#include "twaicp.h"

namespace tarnwick::admin {
namespace {

// A chunk leaves room for a terminator: not every library stops at the end of the field.
constexpr std::size_t kWriteSize = TWAICP_CHUNK_SIZE - 1;
// Stands in a record's length as long as the library has not stored one.
constexpr std::int32_t kNotStored = -1;

Entry EntryOf(const AppointmentRecord& record) {
    return {record.start, record.end, std::string(FieldText(record.appointmentId))};
}

void StoreEntry(AppointmentRecord& record, const Entry& entry) {
    record.start = entry.start;
    record.end = entry.end;
    StoreField(record.appointmentId, entry.id);
}

AppointmentItemRecord ItemRecordFor(const Mailbox& mailbox, const std::string& name) {
    AppointmentItemRecord record{};
    StoreField(record.mailbox, mailbox.name);
    StoreField(record.postoffice, mailbox.postoffice);
    StoreField(record.itemFileName, name);
    record.length = kNotStored;
    return record;
}

std::vector<std::string> SplitAtCommas(std::string_view text) {
    std::vector<std::string> parts;
    while (!text.empty()) {
        const std::size_t comma = text.find(',');
        parts.emplace_back(text.substr(0, comma));
        text.remove_prefix(comma == text.npos ? text.size() : comma + 1);
    }
    return parts;
}

// The library never sends some of its functions to a server.
void RequireLocal(const Mailbox& mailbox, const char* what) {
    if (mailbox.host.empty()) return;
    throw WrongUsage(std::string(what) + " on this machine alone; leave --host away");
}

}  // namespace

MailboxStore::MailboxStore(Mailbox mailbox, Notice beforeCall)
    : mailbox_(std::move(mailbox)), beforeCall_(std::move(beforeCall)) {}

AppointmentRecord MailboxStore::RecordFor(const std::string& calendar, std::string_view id) const {
    if (beforeCall_) beforeCall_(calendar);
    AppointmentRecord record{};
    StoreField(record.mailbox, mailbox_.name);
    StoreField(record.postoffice, mailbox_.postoffice);
    StoreField(record.calendarName, calendar);
    StoreField(record.appointmentId, id);
    return record;
}

bool MailboxStore::Add(const std::string& calendar, const Entry& entry) const {
    AppointmentRecord record = RecordFor(calendar, {});
    StoreEntry(record, entry);
    return AppointmentAdd(&record) != 0 && Get(calendar, entry.id) == entry;
}

bool MailboxStore::Edit(const std::string& calendar, const std::string& id,
                        const Entry& replacement) const {
    AppointmentRecord key = RecordFor(calendar, id);
    AppointmentRecord record = key;
    StoreEntry(record, replacement);
    return AppointmentEdit(&key, &record) != 0 && Get(calendar, replacement.id) == replacement;
}

bool MailboxStore::Remove(const std::string& calendar, const std::string& id) const {
    AppointmentRecord record = RecordFor(calendar, id);
    return AppointmentRemove(&record) != 0 && !Get(calendar, id);
}

bool MailboxStore::RemoveAll(const std::string& calendar) const {
    return Remove(calendar, {});
}

std::optional<Entry> MailboxStore::Get(const std::string& calendar, const std::string& id) const {
    AppointmentRecord record = RecordFor(calendar, id);
    if (AppointmentGet(&record) == 0) return std::nullopt;
    return EntryOf(record);
}

std::vector<Entry> MailboxStore::Entries(const std::string& calendar) const {
    std::vector<Entry> entries;
    AppointmentRecord record = RecordFor(calendar, {});
    std::uint32_t found = AppointmentFindFirst(&record);
    while (found != 0) {
        entries.push_back(EntryOf(record));
        // A match leaves its ID in the record, and the next one would have to have it too.
        StoreField(record.appointmentId, {});
        found = AppointmentFindNext(&record);
    }
    return entries;
}

bool MailboxStore::HasEntries(const std::string& calendar) const {
    AppointmentRecord record = RecordFor(calendar, {});
    return AppointmentFindFirst(&record) != 0;
}

std::optional<std::vector<std::string>> MailboxStore::Scan(const std::string& prefix) const {
    RequireLocal(mailbox_,
                 "calendars are searched for (all, --month, --year; not --day, --calendar)");
    FreeBusyRecord record{};
    StoreField(record.mailbox, mailbox_.name);
    StoreField(record.postoffice, mailbox_.postoffice);
    StoreField(record.namePrefix, prefix);
    record.resultLength = kNotStored;
    GetFreeBusyData(&record);
    if (record.resultLength == kNotStored) return std::nullopt;
    return SplitAtCommas(FieldText(record.result));
}

void MailboxStore::WriteItem(const std::string& name, std::string_view file) const {
    // Only the calls for entries make the Calendar folder in which items lie too.
    HasEntries(name);
    AppointmentItemRecord record = ItemRecordFor(mailbox_, name);
    StoreField(record.data, file.substr(0, kWriteSize));
    AppointmentItemWriteFirstChunk(&record);
    for (std::size_t at = kWriteSize; at < file.size(); at += kWriteSize) {
        StoreField(record.data, file.substr(at, kWriteSize));
        AppointmentItemWriteNextChunk(&record);
    }
}

std::optional<std::string> MailboxStore::ReadItem(const std::string& name) const {
    AppointmentItemRecord record = ItemRecordFor(mailbox_, name);
    std::string content;
    std::uint32_t found = AppointmentItemGetFirstChunk(&record);
    // An empty file stores its length of 0, a missing one stores nothing.
    if (found == 0 && record.length == kNotStored) return std::nullopt;
    while (found != 0) {
        content.append(record.data, static_cast<std::size_t>(record.length));
        found = AppointmentItemGetNextChunk(&record);
    }
    return content;
}

void MailboxStore::DeleteItem(const std::string& name) const {
    RequireLocal(mailbox_, "items are deleted");
    AppointmentItemRecord record = ItemRecordFor(mailbox_, name);
    AppointmentItemDelete(&record);
}

}  // namespace tarnwick::admin
