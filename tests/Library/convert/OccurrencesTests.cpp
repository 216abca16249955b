#include <gtest/gtest.h>

#include <sstream>

#include "tests/Library/convert/OccurrenceScript.h"

namespace tarnwick {
namespace {

using testing::OccurrenceScript;

// Zones whose changes lie at the turn of the year, jump by a day, end, or come once.
TEST(TimeZones, KeepAnOffsetAsLongAsTheySay) {
    for (const char* observances :
         {"19991231T233000|-1200|+1200|FREQ=YEARLY\n20000101T000000|+1200|-1200|FREQ=YEARLY",
          "20000301T020000|+0100|+0200|FREQ=YEARLY;COUNT=3\n20001001T030000|+0200|+0100|FREQ="
          "YEARLY;"
          "UNTIL=20031001T010000Z",
          "20020702T120000|+0000|+2359|\n20030702T120000|+2359|-0330|",
          "20000229T000000|+0000|+0100|FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=29\n20000601T000000|+0100|"
          "+0000|FREQ=YEARLY;INTERVAL=3"}) {
        TimeZone zone;
        std::istringstream lines(observances);
        for (std::string line; std::getline(lines, line);) {
            zone.Add(OccurrenceScript::ObservanceOf(line));
        }
        zone.Sort();
        constexpr std::int64_t kFirst = 915'148'800;  // 1999
        std::int64_t until = kFirst;
        std::int64_t offset = 0;
        for (std::int64_t local = kFirst; local < kFirst + 8 * 366 * kSecondsPerDay;
             local += 1800) {
            if (local >= until) {
                until = zone.SameUntil(local);
                offset = local - zone.ToUtc(local);
                ASSERT_GT(until, local);
            }
            ASSERT_EQ(offset, local - zone.ToUtc(local)) << observances << ", " << local;
        }
    }
}

const std::string kBerlin =
    "Z\nO 19700329T020000|+0100|+0200|FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU\n"
    "O 19701025T030000|+0200|+0100|FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU\n";

// Lines of the script, and the answer.
const std::pair<std::string, const char*> kEvents[] = {
    // A skipped time takes the offset before the gap, a repeated one is the first.
    {kBerlin + "E\nS 20240330T023000\nL PT1H\nR FREQ=DAILY;COUNT=3\nW |20250101",
     "20240330T013000/20240330T023000/0 20240331T013000/20240331T023000/0 "
     "20240401T003000/20240401T013000/0 0"},
    {kBerlin + "E\nS 20241026T023000\nL P1D\nR FREQ=DAILY;COUNT=2\nW |20250101",
     "20241026T003000/20241027T003000/0 20241027T003000/20241028T013000/0 0"},
    // Two local times that are the same instant.
    {kBerlin + "E\nS 20240331T010000\nR FREQ=HOURLY;COUNT=4\nW |20250101",
     "20240331T000000/20240331T000000/0 20240331T010000/20240331T010000/0 "
     "20240331T020000/20240331T020000/0 0"},
    // The start counts, whether the rule gives it or not.
    {"E\nS 20240301T090000\nR FREQ=WEEKLY;BYDAY=MO;COUNT=2\nW |20250101",
     "20240301T090000/20240301T090000/0 20240304T090000/20240304T090000/0 0"},
    {"E\nS 20240301T090000\nR FREQ=DAILY;UNTIL=20240201\nR nonsense\nW |20250101",
     "20240301T090000/20240301T090000/0 0"},
    // A period lasts as long as it says, at the start too.
    {"E\nS 20240301T090000Z\nR FREQ=DAILY;COUNT=2\nA 20240301T090000Z/PT3H\n"
     "A 20240302T090000Z/20240302T100000Z\nW |20250101",
     "20240301T090000/20240301T120000/0 20240302T090000/20240302T100000/0 0"},
    // For whole days a time names its day.
    {"E\nS 20240301\nR FREQ=DAILY;COUNT=2\nN 20240301T120000Z\nW |20250101",
     "20240302T000000/20240303T000000/0 0"},
    // The window has its first second, and not its last; its ends in the wrong order hold nothing.
    {"E\nS 20240301\nR FREQ=DAILY;COUNT=9\nW 20240302|20240304",
     "20240302T000000/20240303T000000/0 20240303T000000/20240304T000000/0 6"},
    {"E\nS 20240301\nR FREQ=DAILY\nW 20240302|20240303",
     "20240302T000000/20240303T000000/0 0 endless"},
    {"E\nS 20240301\nR FREQ=DAILY;COUNT=9\nW 20240305|20240303", "7"},
    {"E\nS 20240301\nR FREQ=MINUTELY;COUNT=20000\nW |20240301", "10000 cut"},
    {"E\nS 20240301\nR FREQ=DAILY\nX FREQ=DAILY\nW |20240301", "0 cut"},
    {"E\nS 19700101\nR FREQ=SECONDLY;COUNT=999999999\nW 20240301|20240302", "0 cut"},
    {"E\nS 19700101\nR FREQ=SECONDLY\nW 20240301|20240301T000001",
     "20240301T000000/20240302T000000/0 0 endless"},
    {"E\nS 99991231\nR FREQ=DAILY\nW |999991231", "99991231T000000/100000101T000000/0 0"},
    {"E\nS 999991231T235959\nD 00010101\nR FREQ=DAILY;UNTIL=999991231\nW |00010101", "1"},
    {"E\nS 20240301\nL P999999999W999999999DT999999999H\nA 20240302/-P1D\nW |20240303",
     "20240301T000000/694801708556400/0 20240302T000000/20240302T000000/0 0"},
    // Cancelled, replaced, on its own, replaced twice.
    {"E\nS 20240301\nR FREQ=DAILY\nC\nE\nL P1D\nW |20250101", "0"},
    {"E\nS 20240302T100000Z\nI 20240301T090000Z\nR FREQ=DAILY\nW |20250101",
     "20240302T100000/20240302T100000/0 0"},
    {"E\nS 20240301\nR FREQ=DAILY;COUNT=2\nE\nS 20240401\nI 20240302\nE\nS 20240501\nI 20240302\nW "
     "|20240601",
     "20240301T000000/20240302T000000/0 20240501T000000/20240502T000000/2 0"},
    // A time in UTC names what the clocks show, not what they skip.
    {kBerlin + "E\nS 20240330T033000\nR FREQ=DAILY;COUNT=3\nE\nS 20240331T043000\n"
               "I 20240331T013000Z\nF\nW |20250101",
     "20240330T023000/20240330T023000/0 20240331T023000/20240331T023000/1 "
     "20240401T023000/20240401T023000/1 0"},
    {kBerlin + "E\nS 20240330T013000\nR FREQ=DAILY;COUNT=3\nE\nS 20240331T040000\n"
               "I 20240331T003000Z\nF\nW |20250101",
     "20240330T003000/20240330T003000/0 20240331T020000/20240331T020000/1 "
     "20240401T020000/20240401T020000/1 0"},
    // What moves to the front comes into the window from behind it.
    {"E\nS 20240301\nR FREQ=DAILY\nE\nS 20240302\nI 20240305\nF\nW |20240304",
     "20240301T000000/20240302T000000/0 20240302T000000/20240303T000000/0 "
     "20240302T000000/20240303T000000/1 20240303T000000/20240304T000000/0 "
     "20240303T000000/20240304T000000/1 0 endless"},
    // The rest of a series moves, then ends.
    {kBerlin + "E\nS 20240329T090000\nD 20240329T100000\nR FREQ=DAILY\nE\nS 20240331T110000\n"
               "D 20240331T113000\nI 20240330T090000\nF\nE\nI 20240401T070000Z\nC\nF\nW |20250101",
     "20240329T080000/20240329T090000/0 20240331T090000/20240331T093000/1 "
     "20240401T090000/20240401T093000/1 0"},
};

TEST(Occurrences, OfEventsAtTheirEdges) {
    for (const auto& [lines, expected] : kEvents) {
        OccurrenceScript script;
        std::string answer;
        std::istringstream text(lines);
        for (std::string line; std::getline(text, line);) answer = script.Take(line);
        EXPECT_EQ(expected, answer) << lines;
    }
    Schedule schedule;
    schedule.start = ZonedTime{};
    schedule.rules = {"FREQ=DAILY"};
    const Schedule* const one = &schedule;
    EXPECT_TRUE(OccurrencesOf({&one, 1}, {INT64_MIN, INT64_MAX}).isCut);
    EXPECT_TRUE(OccurrencesOf({&one, 1}, {INT64_MAX, INT64_MIN}).isEndless);
    // As one event alone does, many give what a result can hold.
    const std::vector<const Schedule*> many(100, one);
    const Occurrences found = OccurrencesOf(many, {std::nullopt, 9000 * kSecondsPerDay});
    EXPECT_EQ(9000U, found.within.size());
    EXPECT_FALSE(found.isCut);
    schedule.rules.assign(65, "FREQ=DAILY;COUNT=3");
    const Occurrences ofMany = OccurrencesOf({&one, 1}, {std::nullopt, kSecondsPerDay});
    EXPECT_EQ(2U, ofMany.beyond);
    EXPECT_TRUE(ofMany.isCut);
}

}  // namespace
}  // namespace tarnwick
