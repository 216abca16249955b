// What there is in each mailbox of a store, counted without its locks.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "tools/admin/DayCounts.h"
#include "tools/admin/store/FolderListing.h"

namespace tarnwick::admin {

struct MailboxCensus {
    explicit MailboxCensus(std::chrono::year year) : days(year) {}
    // All numbers but those of days.
    void Add(const MailboxCensus& other);

    std::uint64_t calendars = 0;
    std::uint64_t calendarBytes = 0;
    std::uint64_t entries = 0;  // as lists show them
    std::uint64_t items = 0;
    std::uint64_t itemBytes = 0;
    std::uint64_t indexBytes = 0;
    DayCounts days;
};

// How commands name a mailbox; the order does not regard the case of letters.
struct MailboxName {
    std::string place;  // empty: what is in no mailbox
    std::string root;   // the folder of postoffices when that is not the mail root
    bool operator<(const MailboxName& other) const;
};
using StoreCensus = std::map<MailboxName, MailboxCensus>;

// Counts one folder after another.
class CensusTaker {
  public:
    CensusTaker(std::string root, std::chrono::year year) : root_(std::move(root)), year_(year) {}

    void Take(const FolderListing& listing);
    const StoreCensus& Counted() const { return census_; }

  private:
    void TakeCalendar(const std::string& path, const StoredFile& file, MailboxCensus& mailbox);

    std::string root_;
    std::chrono::year year_;
    SharedReader reader_;
    StoreCensus census_;
};

}  // namespace tarnwick::admin
