// What the tool accepts as the names that become paths and lines of the store. Everything else is
// wrong usage, so that a slip of the keyboard never leaves the mailbox or breaks a calendar.
#pragma once

#include <string>
#include <string_view>

namespace tarnwick::admin {

struct Mailbox {
    std::string postoffice;
    std::string name;
    std::string host{};  // the server that has it; empty: this machine

    std::string Text() const { return postoffice + "/" + name; }
};

// "postoffice/mailbox".
Mailbox ParseMailbox(std::string_view text);

// Why an ID cannot be stored and found again; empty when it can. IDs are at most 63 characters
// without tabs, line breaks and other control characters, and never empty.
std::string ProblemWithId(std::string_view id);

// Each throws Failure (WrongUsage) when the name is not fit for its use.
void CheckId(std::string_view id);
void CheckCalendarName(std::string_view name);
void CheckFolderName(std::string_view name);
// Refuses the names of calendars and their companions too: an item of such a name would destroy
// one.
void CheckItemName(std::string_view name);

}  // namespace tarnwick::admin
