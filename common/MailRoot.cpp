#include "common/MailRoot.h"

#include "common/Registry.h"
#include "common/Text.h"

namespace tarnwick {

std::string ReadMailRoot() {
    char text[kPathCapacity];
    if (ReadRegistryString(RegistryRoot::LocalMachine, kProductKey, "Mail Root", text)) {
        return text;
    }
    if (ReadRegistryString(RegistryRoot::LocalMachine, kProductKey, "Data Directory", text)) {
        return FormatPath("%s\\Postoffices", {text});
    }
    return {};
}

}  // namespace tarnwick
