// The calendars into which entries fall by their dates.
#pragma once

#include <chrono>
#include <set>
#include <string>
#include <vector>

#include "tools/admin/MailboxStore.h"
#include "tools/admin/Times.h"

namespace tarnwick::admin {

// The smallest bucket (day, month, year or all years) that holds the whole period.
std::string BucketName(const Period& period);

// The days of the month that have a calendar of their own.
std::set<unsigned> BusyDaysOf(const MailboxStore& store, std::chrono::year_month month);

// The date buckets with entries, the larger period before those within it: of one month, of one
// year, and of the whole mailbox.
std::vector<std::string> BucketsOfMonth(const MailboxStore& store, std::chrono::year_month month);
std::vector<std::string> BucketsOfYear(const MailboxStore& store, std::chrono::year year);
std::vector<std::string> AllBuckets(const MailboxStore& store);

}  // namespace tarnwick::admin
