// The record that a stand-in module keeps of its calls.
#pragma once

#include <string>

#define STAND_IN_EXPORT extern "C" __declspec(dllexport)

namespace tarnwick::testing {

// A line for each call: the entry's name and its arguments, separated by blanks.
inline std::string& CallLog() {
    static std::string log;
    return log;
}

inline std::string ArgumentText(const char* text) {
    return text == nullptr ? "null" : "'" + std::string(text) + "'";
}
template <typename Number>
std::string ArgumentText(Number number) {
    return std::to_string(number);
}

template <typename... Arguments>
void LogCall(const char* name, Arguments... arguments) {
    CallLog() += name;
    ((CallLog() += " " + ArgumentText(arguments)), ...);
    CallLog() += "\n";
}

}  // namespace tarnwick::testing
