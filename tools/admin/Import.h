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

// Adds an entry, or changes the one that is there with --replace. Throws what CutOff gives when
// nothing can be written.
Imported ImportEntry(const MailboxStore& store, const PlacedEntry& placed, std::size_t line,
                     bool replace, ImportCounts& counts);

// The failure that ends an import at a line; it counts what was imported before.
Failure CutOff(const Failure& reason, std::size_t line, const ImportCounts& counts);

// Ends the import with a Failure when entries were refused or events left out.
void RequireWhole(const ImportCounts& counts, std::size_t leftOut);

// Imports a calendar file.
void ImportEvents(const ImportOptions& options, const Context& context);

// The entries as a calendar file for other programs. `unread` becomes the number of items that
// could not be read; each has been named.
std::string ExportedEvents(const MailboxStore& store, const std::vector<PlacedEntry>& entries,
                           std::size_t& unread);

}  // namespace tarnwick::admin
