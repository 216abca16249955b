// Any bytes as a calendar: the reader agrees with the plain one, and so does the writer.
#include "fuzz/Fuzz.h"
#include "tests/provider/NaiveLines.h"

void tarnwick::fuzz::Check(std::string_view input) {
    const std::string bytes(input);
    const auto lines = testing::NaiveLines(bytes);
    const std::string id = lines.empty() ? "N" : lines[lines.size() / 2].id;
    Require(testing::ReaderDifference(bytes, id, lines.size() / 2).empty());
}
