// Where a folder of a postoffice lies on disk, by its name.
#pragma once

#include <string>
#include <string_view>

namespace tarnwick {

// Whether the name is one of the public folders: "Public" at its first or second character,
// followed by the end or a slash of either kind. The same of the file store's "$FILEROOT".
bool IsPublicFolderName(std::string_view folder);
bool IsFileStoreName(std::string_view folder);

// The directory of a public folder. Only a name that begins with "Public" and a slash lies below
// the root; any other public name, one that begins with a slash too, is the root itself.
std::string PublicFolderDirectory(std::string_view postofficeDirectory, std::string_view folder);

// The directory of a folder of the file store: what follows "$FILEROOT" and a slash, below the
// directory of that name.
std::string FileStoreDirectory(std::string_view postofficeDirectory, std::string_view folder);

// The directory of a mailbox, and of a folder in it.
std::string MailboxDirectory(std::string_view postofficeDirectory, std::string_view mailbox);
std::string MailboxFolderDirectory(std::string_view postofficeDirectory, std::string_view mailbox,
                                   std::string_view folder);

}  // namespace tarnwick
