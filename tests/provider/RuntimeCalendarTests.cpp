#include <gtest/gtest.h>

#include <cstdio>

#include "tests/provider/NaiveCalendar.h"
#include "tests/support/AllTexts.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

std::vector<std::string> TextsOfTheRuntime(const std::string& path) {
    std::vector<std::string> texts;
    char line[1024];
    std::FILE* const file = std::fopen(path.c_str(), "r");
    while (std::fgets(line, sizeof line, file) != nullptr) {
        texts.emplace_back(line);
        if (texts.back().ends_with('\n')) texts.back().pop_back();
    }
    std::fclose(file);
    return texts;
}

// What the other tests take for the truth about lines.
TEST(NaiveCalendar, TakesLinesAsTheRuntimeDoes) {
    const testing::ScratchFolder folder;
    auto files = testing::AllTexts(std::string_view("7\n\r\x1a\0", 5), 4);
    for (std::size_t size = 1021; size < 1027; ++size) {
        for (const char* lineBreak : {"\n", "\r\n", "\r\r\n", "\r"}) {
            files.push_back(std::string(size, 'x') + lineBreak + "y");
        }
    }
    for (const std::string& bytes : files) {
        testing::WriteBytesTo(folder.Path("f"), bytes);
        EXPECT_EQ(testing::NaiveTexts(bytes), TextsOfTheRuntime(folder.Path("f")))
            << ::testing::PrintToString(bytes);
    }
}

}  // namespace
}  // namespace tarnwick
