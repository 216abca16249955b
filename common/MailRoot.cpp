#include "common/MailRoot.h"

#include "common/Registry.h"
#include "common/Text.h"

namespace tarnwick {

void ReadMailRoot(std::span<char> root) {
    // A value that is there and empty is the mail root: kept for compatibility.
    if (ReadRegistryString(RegistryRoot::LocalMachine, kProductKey, "Mail Root", root)) return;
    if (!ReadRegistryString(RegistryRoot::LocalMachine, kProductKey, "Data Directory", root)) {
        return;
    }
    StoreField(root.subspan(FieldText(root).size()), "\\Postoffices");
}

}  // namespace tarnwick
