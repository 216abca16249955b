// Stands in for the store provider module: records every call; its one item has the properties that
// the test gives it.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "tests/remote/modules/CallLog.h"
#include "tests/remote/modules/PassThroughs.h"

using tarnwick::testing::CallLog;
using tarnwick::testing::LogCall;

namespace {

struct StoredProperty {
    std::uint32_t kind;
    std::int32_t code;
    std::string bytes;
    bool absent;
};

std::map<std::string, StoredProperty>& Properties() {
    static std::map<std::string, StoredProperty> properties;
    return properties;
}

std::map<std::string, std::int32_t>& Results() {
    static std::map<std::string, std::int32_t> results;
    return results;
}

std::int32_t ResultOf(const char* name) {
    const auto found = Results().find(name);
    return found == Results().end() ? 1 : found->second;
}

// Wider than 32 bits, so that a test sees how wide a result is taken.
constexpr std::uint64_t kPassThroughResult = 0x12'3456'7890;

std::uint64_t PassThrough(const char* name, std::uint64_t first, std::uint64_t second) {
    LogCall(name, first, second);
    return kPassThroughResult;
}

}  // namespace

STAND_IN_EXPORT const char* StandIn_Calls() {
    return CallLog().c_str();
}
STAND_IN_EXPORT void StandIn_ClearCalls() {
    CallLog().clear();
}
STAND_IN_EXPORT void StandIn_SetResult(const char* name, std::int32_t result) {
    Results()[name] = result;
}
// `bytes` null: the property is found without a value.
STAND_IN_EXPORT void StandIn_SetProperty(const char* name, std::uint32_t kind, std::int32_t code,
                                         const void* bytes, std::size_t size) {
    std::string copy;
    if (bytes != nullptr) copy.assign(static_cast<const char*>(bytes), size);
    Properties()[name] = {kind, code, copy, bytes == nullptr};
}

STAND_IN_EXPORT std::int32_t StoreFolder_Open(std::uint64_t first, std::uint64_t second,
                                              std::uint64_t third, std::int32_t firstMode,
                                              std::int32_t secondMode) {
    LogCall("StoreFolder_Open", first, second, third, firstMode, secondMode);
    return ResultOf("StoreFolder_Open");
}
STAND_IN_EXPORT std::int32_t StoreFolder_Close() {
    LogCall("StoreFolder_Close");
    return ResultOf("StoreFolder_Close");
}
STAND_IN_EXPORT std::int32_t StoreFolder_SelectItem(const char* identifier) {
    LogCall("StoreFolder_SelectItem", identifier);
    return ResultOf("StoreFolder_SelectItem");
}
STAND_IN_EXPORT std::int32_t StoreFolder_SelectItemByField(const char* field, const char* value) {
    LogCall("StoreFolder_SelectItemByField", field, value);
    return ResultOf("StoreFolder_SelectItemByField");
}
STAND_IN_EXPORT std::int32_t StoreItem_GetProperty(const char* name, std::uint32_t kind,
                                                   void** value) {
    LogCall("StoreItem_GetProperty", name, kind);
    const auto found = Properties().find(name);
    if (found == Properties().end() || found->second.kind != kind) return 0;
    const StoredProperty& property = found->second;
    *value = nullptr;
    if (!property.absent) {
        *value = std::malloc(property.bytes.size() + 1);
        std::memcpy(*value, property.bytes.c_str(), property.bytes.size() + 1);
    }
    return property.code;
}
STAND_IN_EXPORT std::int32_t StoreLibrary_UnInit() {
    LogCall("StoreLibrary_UnInit");
    return 77;
}

#define PASS_THROUGH(name)                                                          \
    STAND_IN_EXPORT std::uint64_t name(std::uint64_t first, std::uint64_t second) { \
        return PassThrough(#name, first, second);                                   \
    }

LOADING_PASS_THROUGHS(PASS_THROUGH)
LOADED_ONLY_PASS_THROUGHS(PASS_THROUGH)
