// Lets a test's process find the stand-ins for the two modules that are loaded at run time, and
// speaks with them.
#pragma once

#include <cstdint>
#include <string>

#include "tests/support/WindowsFixtures.h"

#include "common/Registry.h"
#include "common/WindowsApi.h"

namespace tarnwick::testing {

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
        for (char& character : directory) {
            if (character == '/') character = '\\';
        }
        return directory;
    }

    // The calls of a loaded module so far, a line each.
    static std::string Calls(const char* module) {
        return Entry<const char*()>(module, "StandIn_Calls")();
    }

    // What the store provider's next calls find. It must be loaded.
    static void ClearCalls() { Store<void()>("StandIn_ClearCalls")(); }
    static void SetResult(const char* name, std::int32_t result) {
        Store<void(const char*, std::int32_t)>("StandIn_SetResult")(name, result);
    }
    // Kind and code are the provider's numbers; null `bytes` make a property without a value.
    static void SetProperty(const char* name, std::uint32_t kind, std::int32_t code,
                            const void* bytes, std::size_t size) {
        Store<void(const char*, std::uint32_t, std::int32_t, const void*, std::size_t)>(
            "StandIn_SetProperty")(name, kind, code, bytes, size);
    }

  private:
    template <typename Signature>
    static Signature* Entry(const char* module, const char* name) {
        const FARPROC entry = GetProcAddress(GetModuleHandleA(module), name);
        return reinterpret_cast<Signature*>(reinterpret_cast<void (*)()>(entry));
    }
    template <typename Signature>
    static Signature* Store(const char* name) {
        return Entry<Signature>("TWAISP.DLL", name);
    }

    ScratchRegistry registry_;
};

}  // namespace tarnwick::testing
