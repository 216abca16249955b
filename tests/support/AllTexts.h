// Every short text, for tests against a naive version.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::testing {

// All texts of up to `length` letters over `alphabet`, the shorter ones first.
inline std::vector<std::string> AllTexts(std::string_view alphabet, std::size_t length) {
    std::vector<std::string> texts{""};
    for (std::size_t begin = 0; length > 0; --length) {
        const std::size_t end = texts.size();
        for (; begin < end; ++begin) {
            for (const char letter : alphabet) texts.push_back(texts[begin] + letter);
        }
    }
    return texts;
}

}  // namespace tarnwick::testing
