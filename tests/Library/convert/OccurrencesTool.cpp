// Answers each W and P line of standard input (OccurrenceScript.h) with a line: shows a reader that
// was not written here the occurrences that this one finds.
#include <iostream>

#include "tests/Library/convert/OccurrenceScript.h"

int main() {
    tarnwick::testing::OccurrenceScript script;
    for (std::string line; std::getline(std::cin, line);) {
        const std::string answer = script.Take(line);
        if (line[0] == 'W' || line[0] == 'P') std::cout << answer << '\n';
    }
    return 0;
}
