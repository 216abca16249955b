// Stands in for the options module and the store provider: records every call. Options are answered
// with their call's name; the one item has the properties that the test gives it.
#include <cstdlib>
#include <cstring>

#include "remote/shared/StoreProviderCalls.h"
#include "tests/remote/modules/StandIns.h"

#define ENTRY extern "C" __declspec(dllexport)

namespace {

tarnwick::testing::StandInState state;

std::string ArgumentText(const char* text) {
    return text == nullptr ? "null" : "'" + std::string(text) + "'";
}
template <typename Number>
std::string ArgumentText(Number number) {
    return std::to_string(number);
}

// Records the call and gives its result.
template <typename... Arguments>
std::int32_t Call(const char* name, Arguments... arguments) {
    state.calls += name;
    ((state.calls += " " + ArgumentText(arguments)), ...);
    state.calls += "\n";
    const auto found = state.results.find(name);
    return found == state.results.end() ? 1 : found->second;
}

std::int32_t Answer(const char* objectName, char* value, const char* text) {
    if (std::strncmp(objectName, "unknown", 7) == 0) return 0;
    std::strcpy(value, text);
    return 1;
}

}  // namespace

ENTRY void* StandIn_State() {
    return &state;
}

ENTRY int GetOption(int scope, const char* object, const char* option, char* value) {
    Call("GetOption", scope, object, option);
    return Answer(object, value, "plain answer");
}
ENTRY int GetOption_Ex(int scope, const char* object, const char* option, char* value,
                       unsigned size) {
    Call("GetOption_Ex", scope, object, option, size);
    return Answer(object, value, "extended answer");
}

// The provider's entries with arguments of this project: those that only note them.
#define NOTED(name, parameters, arguments) \
    ENTRY int name parameters {            \
        return Call arguments;             \
    }
NOTED(SetOption, (), ("SetOption"))
NOTED(StoreLibrary_UnInit, (), ("StoreLibrary_UnInit"))
NOTED(StoreFolder_Open, (std::uint64_t a, std::uint64_t b, std::uint64_t c, int d, int e),
      ("StoreFolder_Open", a, b, c, d, e))
NOTED(StoreFolder_Close, (), ("StoreFolder_Close"))
NOTED(StoreFolder_SelectItem, (const char* id), ("StoreFolder_SelectItem", id))
NOTED(StoreFolder_SelectItemByField, (const char* field, const char* value),
      ("StoreFolder_SelectItemByField", field, value))

ENTRY int StoreItem_GetProperty(const char* name, unsigned kind, void** value) {
    Call("StoreItem_GetProperty", name, kind);
    const auto found = state.properties.find(name);
    if (found == state.properties.end() || found->second.kind != kind) return 0;
    const auto& bytes = found->second.bytes;
    *value = bytes ? std::malloc(bytes->size() + 1) : nullptr;
    if (bytes) std::memcpy(*value, bytes->c_str(), bytes->size() + 1);
    return found->second.code;
}

// The result is wider than 32 bits, so that a test sees how wide it is taken.
#define NOTHING(name, form)
#define HANDED(name, form)                                           \
    ENTRY std::uint64_t name(std::uint64_t one, std::uint64_t two) { \
        Call(#name, one, two);                                       \
        return 0x12'3456'7890;                                       \
    }
TARNWICK_STORE_PROVIDER_ENTRIES(NOTHING, HANDED)
