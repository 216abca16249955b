// Stands in for the options module: answers every known option with its call's name.
#include <cstdint>
#include <cstring>

#include "tests/remote/modules/CallLog.h"

using tarnwick::testing::CallLog;
using tarnwick::testing::LogCall;

namespace {

std::int32_t Answer(const char* objectName, char* value, const char* text) {
    if (std::strncmp(objectName, "unknown", 7) == 0) return 0;
    std::strcpy(value, text);
    return 1;
}

}  // namespace

STAND_IN_EXPORT std::int32_t GetOption(std::int32_t scope, const char* objectName,
                                       const char* optionName, char* value) {
    LogCall("GetOption", scope, objectName, optionName);
    return Answer(objectName, value, "plain answer");
}

STAND_IN_EXPORT std::int32_t GetOption_Ex(std::int32_t scope, const char* objectName,
                                          const char* optionName, char* value,
                                          std::uint32_t valueCapacity) {
    LogCall("GetOption_Ex", scope, objectName, optionName, valueCapacity);
    return Answer(objectName, value, "extended answer");
}

STAND_IN_EXPORT std::int32_t SetOption() {
    LogCall("SetOption");
    return 1;
}

STAND_IN_EXPORT const char* StandIn_Calls() {
    return CallLog().c_str();
}
