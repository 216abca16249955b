// One mailbox, reached through the exported functions of TWAICP.DLL and by no other way.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/admin/EntryText.h"
#include "tools/admin/Names.h"

struct AppointmentRecord;

namespace tarnwick::admin {

class MailboxStore {
  public:
    // Called before each call that may wait for a calendar, with its name and what is done to it.
    enum class Access { Read, Change };
    using Notice = std::function<void(const std::string& calendar, Access access)>;

    explicit MailboxStore(Mailbox mailbox, Notice beforeCall = {});

    // From here on changes are kept in memory, where this object finds them again, and nothing is
    // written. An empty mailbox has no folder, which reading would make.
    void BeginDryRun(bool isEmpty);
    bool IsDryRun() const { return dryRun_ != nullptr; }

    const Mailbox& Owner() const { return mailbox_; }

    // Each is true when it was done. The library says yes also when the new calendar could not take
    // the place of the old one, so the outcome is looked at.
    bool Add(const std::string& calendar, const Entry& entry) const;
    bool Edit(const std::string& calendar, const std::string& id, const Entry& replacement) const;
    bool Remove(const std::string& calendar, const std::string& id) const;
    bool RemoveAll(const std::string& calendar) const;

    std::optional<Entry> Get(const std::string& calendar, const std::string& id) const;
    // All entries of the calendar in its order; none when there is no such calendar.
    std::vector<Entry> Entries(const std::string& calendar) const;
    bool HasEntries(const std::string& calendar) const;
    // Whether the calendar has an entry with another ID.
    bool HasOthers(const std::string& calendar, const std::string& id) const;

    // What the free/busy scan gives for the calendars whose names begin with `prefix`: the text
    // between "D" and the extension of each that has one. No value when no calendar begins so.
    std::optional<std::vector<std::string>> Scan(const std::string& prefix) const;

    // Replaces the item's file; bytes from the first NUL on cannot be written. The library does not
    // tell whether it could: read it back.
    void WriteItem(const std::string& name, std::string_view file) const;
    // The item as the chunk reader gives it; no value when there is no such file.
    std::optional<std::string> ReadItem(const std::string& name) const;
    void DeleteItem(const std::string& name) const;

  private:
    struct DryRun {
        bool isEmpty = false;
        std::map<std::string, std::vector<Entry>> calendars;
        std::map<std::string, std::optional<std::string>> items;
    };

    AppointmentRecord RecordFor(const std::string& calendar, std::string_view id,
                                Access access = Access::Read) const;
    // Calls `visit` with each entry until it gives false.
    void Visit(const std::string& calendar, const std::function<bool(const Entry&)>& visit) const;
    // The calendar as the dry run has made it.
    std::vector<Entry>& Rehearsed(const std::string& calendar) const;

    Mailbox mailbox_;
    Notice beforeCall_;
    std::shared_ptr<DryRun> dryRun_;
};

}  // namespace tarnwick::admin
