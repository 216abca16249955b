// The command line as it was given, before it was taken apart.
#pragma once

#include <string_view>

namespace tarnwick::admin {

// What stands behind the first argument "--", quotes and all, without the blanks in front; empty
// when there is no such argument or nothing behind it. The result is a view into the line.
std::wstring_view BehindDashes(std::wstring_view commandLine);

}  // namespace tarnwick::admin
