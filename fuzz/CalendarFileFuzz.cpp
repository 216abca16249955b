// Any bytes as a calendar: the reader agrees with the plain one, and so does the writer.
#include <cstdint>
#include <cstdlib>

#include "tests/provider/NaiveLines.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tarnwick::testing;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const auto lines = NaiveLines(bytes);
    const std::string id = lines.empty() ? "N" : lines[lines.size() / 2].id;
    if (!ReaderDifference(bytes, id, lines.size() / 2).empty()) std::abort();
    return 0;
}
