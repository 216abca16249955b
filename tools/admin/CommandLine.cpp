#include "tools/admin/CommandLine.h"

#include <cstddef>

namespace tarnwick::admin {
namespace {

constexpr std::wstring_view kBlanks = L" \t";

// Where the argument at the beginning ends: at the first blank outside of quotes. A quote behind an
// odd number of backslashes is a letter.
std::size_t EndOfArgument(std::wstring_view text) {
    bool isQuoted = false;
    bool isEscaped = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (!isQuoted && kBlanks.find(text[at]) != kBlanks.npos) return at;
        if (text[at] == L'"' && !isEscaped) isQuoted = !isQuoted;
        isEscaped = text[at] == L'\\' && !isEscaped;
    }
    return text.size();
}

}  // namespace

std::wstring_view BehindDashes(std::wstring_view commandLine) {
    bool isBehind = false;
    while (!isBehind && !commandLine.empty()) {
        const std::size_t end = EndOfArgument(commandLine);
        isBehind = commandLine.substr(0, end) == L"--";
        commandLine.remove_prefix(end);
        const std::size_t next = commandLine.find_first_not_of(kBlanks);
        commandLine.remove_prefix(next == commandLine.npos ? commandLine.size() : next);
    }
    return commandLine;
}

}  // namespace tarnwick::admin
