// Lets a test's process find the stand-ins for the two modules that are loaded at run time, and
// speaks with them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "common/Registry.h"
#include "common/WindowsApi.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick::testing {

// What a stand-in shows besides the entries it stands in for: its calls, and what they find.
struct StandInState {
    std::string calls;                            // a line each: the entry's name, its arguments
    std::map<std::string, std::int32_t> results;  // of the entries that do not give 1
    struct Property {
        std::uint32_t kind;
        std::int32_t code;
        std::optional<std::string> bytes;
    };
    std::map<std::string, Property> properties;
};

class StandIns {
  public:
    StandIns() {
        const std::string directory = Directory();
        ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Application Directory",
                                   directory.substr(0, directory.size() - 2));
    }

    // Where the stand-ins lie; the name ends in the "64" that the loader appends.
    static std::string Directory() {
        std::string directory = "Z:" TARNWICK_BINARY_DIR "/modules64";
        std::replace(directory.begin(), directory.end(), '/', '\\');
        return directory;
    }

    // What a loaded module shows.
    static StandInState& State(const char* module = "TWAISP.DLL") {
        const FARPROC entry = GetProcAddress(GetModuleHandleA(module), "StandIn_State");
        return *reinterpret_cast<StandInState* (*)()>(reinterpret_cast<void (*)()>(entry))();
    }
    static std::string Calls(const char* module) { return State(module).calls; }

    // What the store provider's next calls find. It must be loaded.
    static void ClearCalls() { State().calls.clear(); }
    static void SetResult(const char* name, std::int32_t result) { State().results[name] = result; }
    // Kind and code are the provider's numbers; null `bytes` make a property without a value.
    static void SetProperty(const char* name, std::uint32_t kind, std::int32_t code,
                            const void* bytes, std::size_t size) {
        auto& property = State().properties[name] = {kind, code, std::nullopt};
        if (bytes != nullptr) property.bytes.emplace(static_cast<const char*>(bytes), size);
    }

  private:
    ScratchRegistry registry_;
};

}  // namespace tarnwick::testing
