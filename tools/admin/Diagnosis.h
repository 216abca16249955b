// Why the library refused. It gives no reasons, so the tool looks at the registry and at the folder
// of a local mailbox to tell a person what to do.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/admin/Failure.h"
#include "tools/admin/Names.h"

namespace tarnwick::admin {

// Throws Failure when the mail root is not set or the mailbox has no folder: the library
// would find nothing there, which looks like an empty mailbox.
void RequireMailboxFolder(const Mailbox& mailbox);

// Throws Failure when the mailbox has a Calendar folder that cannot be listed, or a calendar that
// this account may not read: the library finds nothing there, which looks like free days.
void RequireReadableCalendars(const Mailbox& mailbox);
void RequireReadableCalendar(const Mailbox& mailbox, const std::string& calendar);
// Throws Failure when this account cannot make files in the Calendar folder: the library would wait
// for the block file that it cannot make as if another program held it.
void RequireWritableCalendars(const Mailbox& mailbox);

// Names of the mailboxes that have a folder in the postoffice, sorted. Throws Failure when there
// is none.
std::vector<std::string> MailboxNames(const std::string& postoffice);

// "calendar X is blocked: FILE has been there for 3 min 20 s"; no value when it is not.
std::optional<std::string> BlockNotice(const Mailbox& mailbox, const std::string& calendar);

// Why a change to the calendar was refused, and what to do: Busy, NotAllowed, NotReached, or
// Refused when nothing else is seen.
Failure RefusedChange(const Mailbox& mailbox, const std::string& calendar);

// What keeps a file from being written or deleted: Busy, NotAllowed, or Refused for neither.
ExitStatus StatusOfFile(const Mailbox& mailbox, const std::string& name);

// Whether the mailbox has its Calendar folder; the first call for an entry makes it.
bool HasCalendarFolder(const Mailbox& mailbox);

// Full path of the item's file.
std::string ItemPath(const Mailbox& mailbox, const std::string& name);

// Names of the calendar files in the mailbox's folder, without extension, sorted.
std::vector<std::string> CalendarFileNames(const Mailbox& mailbox);

}  // namespace tarnwick::admin
