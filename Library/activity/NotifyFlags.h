// Files that tell of a change to whoever looks into a directory: "_NOTIFY.NFY" in a changed folder
// and numbered "_%d.NEW" markers in a mailbox. They are written without a lock. Nothing here
// throws.
#pragma once

#include <span>
#include <string_view>

namespace tarnwick {

// Writes the flag of a mailbox folder or, while public folders are enabled, of a public one, and
// says so on standard output, also when the file could not be written. 1 always.
int FlagFolderChanged(std::string_view postoffice, std::string_view mailbox,
                      std::string_view folder);

// Removes the flags of a mailbox folder; before each it waits a second, dispatching the thread's
// window messages. 1 when at least one was there and could be removed, else 0.
int ConsumeFolderChangeFlags(std::string_view postoffice, std::string_view mailbox,
                             std::string_view folder);

// Writes the marker that follows the highest number present, holding `text`. 1 always.
int WriteNewMailMarker(std::string_view postoffice, std::string_view mailbox,
                       std::string_view text);

// The highest marker number present, 0 when none. The other markers are deleted. The lines of the
// one that stays are appended to the text in `text` as long as they fit whole, in it and into 2047
// characters; an empty span wants none.
int GetNewMessageCount(std::string_view postoffice, std::string_view mailbox, std::span<char> text);

}  // namespace tarnwick
