#include "remote/shared/LoadedModule.h"

#include <array>

#include "common/CallObserver.h"
#include "common/Registry.h"
#include "common/Text.h"

namespace tarnwick {

std::string ProgramDirectory64() {
    std::array<char, kPathCapacity> directory{};
    ReadRegistryString(RegistryRoot::LocalMachine, kProductKey, "Application Directory", directory);
    return std::string(FieldText(directory)) + "64";
}

HMODULE LoadProgramModule(const char* fileName) {
    const std::string path = FormatPath("%s\\%s", {ProgramDirectory64(), fileName});
    if (!CallAllowed("LoadLibrary", path)) return nullptr;
    return LoadLibraryA(path.c_str());
}

EntryPoint BindEntry(HMODULE module, const char* name) {
    if (!CallAllowed("GetProcAddress", name)) return nullptr;
    return reinterpret_cast<EntryPoint>(GetProcAddress(module, name));
}

}  // namespace tarnwick
