// Registry settings of the store's client operations, each read once per process on first use.
#pragma once

#include <string>
#include <string_view>

namespace tarnwick {

// The directory of a postoffice: below the mail root, which is the data directory of the store.
std::string PostofficeDirectory(std::string_view postoffice);

// "Public Folders Enabled"; a missing value counts as enabled.
bool ArePublicFoldersEnabled();

}  // namespace tarnwick
