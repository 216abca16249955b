#include "Library/activity/StoreSettings.h"

#include "common/Registry.h"
#include "common/Text.h"

namespace tarnwick {
namespace {

// Plain bytes, so that nothing has to be destroyed when the module goes.
struct PathText {
    char text[kPathCapacity];
};

PathText MailRootText() {
    PathText path{};
    ReadMailRoot(path.text);
    return path;
}

}  // namespace

std::string PostofficeDirectory(std::string_view postoffice) {
    static const PathText mailRoot = MailRootText();
    return FormatPath("%s\\%s", {mailRoot.text, postoffice});
}

bool ArePublicFoldersEnabled() {
    static const bool enabled = RegistryDwordOr(kProductKey, "Public Folders Enabled", 1) != 0;
    return enabled;
}

}  // namespace tarnwick
