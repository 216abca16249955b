// Any bytes as a calendar: the reader agrees with the plain one, and so does the writer.
#include <cstdint>
#include <cstdlib>

#include "provider/CalendarText.h"
#include "tests/provider/NaiveCalendar.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tarnwick;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const auto lines = testing::NaiveLines(bytes);
    if (testing::ReadLines(bytes) != lines) std::abort();
    const auto half = static_cast<std::int32_t>(lines.size() / 2);
    if (testing::ReadLines(bytes, half).size() != lines.size() - lines.size() / 2) std::abort();
    const std::string id = lines.empty() ? "N" : std::get<2>(lines[lines.size() / 2]);
    if (testing::ReadMatches(bytes, id) != testing::MatchesAmong(lines, id)) std::abort();

    const CalendarChange none{"no entry has this", MatchAction::Drop, {}};
    const ChangedCalendar changed = ChangeCalendar(bytes, none);
    if (!changed.matched && changed.bytes != testing::WrittenAnew(lines)) std::abort();
    return 0;
}
