#include "tools/admin/MailboxStore.h"

#include <algorithm>
#include <utility>

#include "common/Text.h"
#include "tools/admin/CalendarLibrary.h"
#include "tools/admin/Failure.h"
#include "tools/admin/ItemLayout.h"

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

AppointmentRecord MailboxStore::RecordFor(const std::string& calendar, std::string_view id,
                                          Access access) const {
    if (beforeCall_) beforeCall_(calendar, access);
    AppointmentRecord record{};
    StoreField(record.mailbox, mailbox_.name);
    StoreField(record.postoffice, mailbox_.postoffice);
    StoreField(record.calendarName, calendar);
    StoreField(record.appointmentId, id);
    return record;
}

void MailboxStore::BeginDryRun(bool isEmpty) {
    dryRun_ = std::make_shared<DryRun>();
    dryRun_->isEmpty = isEmpty;
}

void MailboxStore::Visit(const std::string& calendar,
                         const std::function<bool(const Entry&)>& visit) const {
    AppointmentRecord record = RecordFor(calendar, {});
    std::uint32_t found = Library().findFirst(&record);
    while (found != 0 && visit(EntryOf(record))) {
        // A match leaves its ID in the record, and the next one would have to have it too.
        StoreField(record.appointmentId, {});
        found = Library().findNext(&record);
    }
}

std::vector<Entry>& MailboxStore::Rehearsed(const std::string& calendar) const {
    const auto [at, isNew] = dryRun_->calendars.try_emplace(calendar);
    std::vector<Entry>& entries = at->second;
    if (isNew && !dryRun_->isEmpty) {
        Visit(calendar, [&entries](const Entry& entry) {
            entries.push_back(entry);
            return true;
        });
    }
    return entries;
}

bool MailboxStore::Add(const std::string& calendar, const Entry& entry) const {
    if (dryRun_) {
        if (Get(calendar, entry.id)) return false;
        Rehearsed(calendar).push_back(entry);
        return true;
    }
    AppointmentRecord record = RecordFor(calendar, {}, Access::Change);
    StoreEntry(record, entry);
    return Library().add(&record) != 0 && Get(calendar, entry.id) == entry;
}

bool MailboxStore::Edit(const std::string& calendar, const std::string& id,
                        const Entry& replacement) const {
    if (dryRun_) {
        for (Entry& entry : Rehearsed(calendar)) {
            if (EqualsIgnoreCase(entry.id, id)) entry = replacement;
        }
        return Get(calendar, replacement.id) == replacement;
    }
    AppointmentRecord key = RecordFor(calendar, id, Access::Change);
    AppointmentRecord record = key;
    StoreEntry(record, replacement);
    return Library().edit(&key, &record) != 0 && Get(calendar, replacement.id) == replacement;
}

bool MailboxStore::Remove(const std::string& calendar, const std::string& id) const {
    if (dryRun_) {
        return std::erase_if(Rehearsed(calendar), [&id](const Entry& entry) {
                   return id.empty() || EqualsIgnoreCase(entry.id, id);
               }) != 0;
    }
    AppointmentRecord record = RecordFor(calendar, id, Access::Change);
    return Library().remove(&record) != 0 && !Get(calendar, id);
}

bool MailboxStore::RemoveAll(const std::string& calendar) const {
    return Remove(calendar, {});
}

std::optional<Entry> MailboxStore::Get(const std::string& calendar, const std::string& id) const {
    if (dryRun_) {
        for (const Entry& entry : Rehearsed(calendar)) {
            if (EqualsIgnoreCase(entry.id, id)) return entry;
        }
        return std::nullopt;
    }
    AppointmentRecord record = RecordFor(calendar, id);
    if (Library().get(&record) == 0) return std::nullopt;
    return EntryOf(record);
}

std::vector<Entry> MailboxStore::Entries(const std::string& calendar) const {
    if (dryRun_) return Rehearsed(calendar);
    std::vector<Entry> entries;
    Visit(calendar, [&entries](const Entry& entry) {
        entries.push_back(entry);
        return true;
    });
    return entries;
}

bool MailboxStore::HasEntries(const std::string& calendar) const {
    return HasOthers(calendar, {});
}

bool MailboxStore::HasOthers(const std::string& calendar, const std::string& id) const {
    bool found = false;
    const auto isSame = [&found, &id](const Entry& entry) {
        found = !EqualsIgnoreCase(entry.id, id);
        return !found;
    };
    if (!dryRun_) {
        Visit(calendar, isSame);
    } else {
        found = !std::ranges::all_of(Rehearsed(calendar), isSame);
    }
    return found;
}

std::optional<std::vector<std::string>> MailboxStore::Scan(const std::string& prefix) const {
    RequireLocal(mailbox_,
                 "calendars are searched for (all, --month, --year; not --day, --calendar)");
    FreeBusyRecord record{};
    StoreField(record.mailbox, mailbox_.name);
    StoreField(record.postoffice, mailbox_.postoffice);
    StoreField(record.namePrefix, prefix);
    record.resultLength = kNotStored;
    Library().getFreeBusyData(&record);
    if (record.resultLength == kNotStored) return std::nullopt;
    return SplitAtCommas(FieldText(record.result));
}

void MailboxStore::WriteItem(const std::string& name, std::string_view file) const {
    if (dryRun_) {
        dryRun_->items[name] = ReadInChunks(file);
        return;
    }
    // Only the calls for entries make the Calendar folder in which items lie too.
    HasEntries(name);
    AppointmentItemRecord record = ItemRecordFor(mailbox_, name);
    StoreField(record.data, file.substr(0, kWriteSize));
    Library().writeFirstChunk(&record);
    for (std::size_t at = kWriteSize; at < file.size(); at += kWriteSize) {
        StoreField(record.data, file.substr(at, kWriteSize));
        Library().writeNextChunk(&record);
    }
}

std::optional<std::string> MailboxStore::ReadItem(const std::string& name) const {
    if (dryRun_) {
        const auto found = dryRun_->items.find(name);
        if (found != dryRun_->items.end()) return found->second;
    }
    AppointmentItemRecord record = ItemRecordFor(mailbox_, name);
    std::string content;
    std::uint32_t found = Library().readFirstChunk(&record);
    // An empty file stores its length of 0, a missing one stores nothing.
    if (found == 0 && record.length == kNotStored) return std::nullopt;
    while (found != 0) {
        content.append(record.data, static_cast<std::size_t>(record.length));
        found = Library().readNextChunk(&record);
    }
    return content;
}

void MailboxStore::DeleteItem(const std::string& name) const {
    RequireLocal(mailbox_, "items are deleted");
    if (dryRun_) {
        dryRun_->items[name] = std::nullopt;
        return;
    }
    AppointmentItemRecord record = ItemRecordFor(mailbox_, name);
    Library().deleteItem(&record);
}

}  // namespace tarnwick::admin
