// What the two kinds of import have in common: entries from lines, and from calendar files.
#pragma once

#include <cstddef>
#include <string>

#include "tools/admin/Commands.h"

namespace tarnwick::admin {

struct ImportOptions {
    std::string mailbox;
    std::string file = "-";
    std::string calendar;
    std::string from;
    std::string until;
    bool ics = false;
    bool replace = false;
    bool strict = false;
    bool quiet = false;
};

struct ImportCounts {
    std::size_t added = 0;
    std::size_t replaced = 0;
    std::size_t refused = 0;
};

// What became of an entry.
enum class Imported { Added, Replaced, Refused };

// Adds an entry, or changes the one that is there with --replace. Throws Failure (Refused) when
// nothing can be written; the text counts what was imported before.
Imported ImportEntry(const MailboxStore& store, const PlacedEntry& placed, std::size_t line,
                     bool replace, ImportCounts& counts);

// "line 3: "
std::string AtLine(std::size_t line);
// ". 12 entries were imported before it"
std::string ImportedBefore(const ImportCounts& counts);

// Imports a calendar file.
void ImportEvents(const ImportOptions& options, const Context& context);

// The entries as a calendar file for other programs. `unread` becomes the number of items that
// could not be read; each has been named.
std::string ExportedEvents(const MailboxStore& store, const std::vector<PlacedEntry>& entries,
                           std::size_t& unread);

}  // namespace tarnwick::admin
