// Any bytes as a calendar: the reader in blocks agrees with the plain one, and a rewritten calendar
// reads as what was written.
#include <cstdint>
#include <cstdlib>

#include "provider/CalendarText.h"
#include "tests/provider/NaiveCalendar.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tarnwick;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const auto lines = testing::NaiveLines(bytes);
    if (testing::ReadLines(bytes, 0, CalendarReader::kLeastBlockSize) != lines) std::abort();
    const auto half = static_cast<std::int32_t>(lines.size() / 2);
    if (testing::ReadLines(bytes, half).size() != lines.size() - lines.size() / 2) std::abort();

    testing::MemorySource source(bytes);
    CalendarReader reader(source);
    const ChangedCalendar changed = ChangeCalendar(reader, size, {"N", MatchAction::Drop, {}});
    testing::MemorySource again(changed.content.Bytes());
    CalendarReader second(again);
    int count = 0;
    while (second.Next()) ++count;
    // A number that grew by normalising may push a line over the length of a piece.
    if (count < changed.content.Lines()) std::abort();
    return 0;
}
