#include <gtest/gtest.h>

#include "tools/admin/MonthGrid.h"
#include "tools/admin/Times.h"

namespace tarnwick::admin {
namespace {

using namespace std::chrono_literals;

TEST(Times, ReadsWhatPeopleWrite) {
    const std::pair<const char*, std::int32_t> rows[] = {
        {"0", 0},
        {"-1", -1},
        {"2147483647", 2147483647},
        {"-2147483648", INT32_MIN},
        {"2025-03-01", 1740787200},
        {"2025-03-01T09:30", 1740821400},
        {"2025-03-01T09:30:05Z", 1740821405},
        {"2025-03-01 09:30:05z", 1740821405},
        {"2025-03-01T09:30:05+02:00", 1740814205},
        {"2025-03-01T09:30:05-0530", 1740841205},
    };
    for (const auto& [text, seconds] : rows) EXPECT_EQ(ParseTime(text), seconds) << text;
    for (const char* text :
         {"2147483648", "2038-01-19T03:14:08Z", "1901-12-13T20:45:51Z", "2025-02-29", "2025-13-01",
          "2025-01-32", "2025-01-01T24:00", "2025-01-01T10:60", "2025-01-01T10:00:00X",
          "2025-01-01T10:00:00+2", "2025-1-1", "20250101T000000", "10 ", "+-1", ""}) {
        EXPECT_EQ(ParseTime(text), std::nullopt) << text;
    }
}

TEST(Times, WritesWhatItReads) {
    const std::pair<std::int32_t, const char*> rows[] = {{-1, "1969-12-31T23:59:59Z"},
                                                         {1709251199, "2024-02-29T23:59:59Z"},
                                                         {INT32_MAX, "2038-01-19T03:14:07Z"},
                                                         {INT32_MIN, "1901-12-13T20:45:52Z"}};
    for (const auto& [seconds, text] : rows) {
        EXPECT_EQ(FormatTime(seconds), text);
        EXPECT_EQ(ParseTime(text), seconds);
    }
}

TEST(Times, ReadsPeriodsThatCalendarsCanHold) {
    EXPECT_EQ(ParseDay("2024-02-29"), (Period{1709164800, 1709251199}));
    EXPECT_EQ(ParseYear("2025"), 2025y);
    const auto month = ParseMonth("2025-12");
    ASSERT_TRUE(month);
    EXPECT_EQ(PeriodOf(*month), (Period{1764547200, 1767225599}));
    for (const char* text : {"2025-02-29", "2025-02", "2025-02-01Z", "2038-01-20", ""}) {
        EXPECT_FALSE(ParseDay(text)) << text;
    }
    for (const char* text : {"2025-13", "2025", "2025-01-01", "2038-02", "1901-11"}) {
        EXPECT_FALSE(ParseMonth(text)) << text;
    }
    for (const char* text : {"2039", "1900", "20250", "25", "2025-01", "year"}) {
        EXPECT_FALSE(ParseYear(text)) << text;
    }
    EXPECT_EQ(ParseDay("2038-01-19"), (Period{2147472000, 2147483647}));
    EXPECT_EQ(PeriodOf(1901y / 12), (Period{-2147483647 - 1, -2145916801}));
    EXPECT_EQ(YearOf(-1), 1969y);
    EXPECT_EQ(YearOf(1767225599), 2025y);
}

TEST(Times, AgesAreRounded) {
    const struct {
        std::int64_t seconds;
        const char* text;
    } rows[] = {
        {0, "0 s"},          {59, "59 s"},
        {60, "1 min 0 s"},   {3599, "59 min 59 s"},
        {3600, "1 h 0 min"}, {172799, "47 h 59 min"},
        {172800, "2 days"},
    };
    for (const auto& row : rows) EXPECT_EQ(FormatAge(row.seconds), row.text);
}

TEST(MonthGrid, NumbersWeeksByTheirThursday) {
    const struct {
        std::chrono::sys_days date;
        unsigned week;
    } rows[] = {
        {2024y / 12 / 29, 52}, {2024y / 12 / 30, 1}, {2025y / 1 / 5, 1},    {2025y / 1 / 6, 2},
        {2021y / 1 / 3, 53},   {2021y / 1 / 4, 1},   {2020y / 12 / 31, 53}, {2025y / 12 / 28, 52},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(IsoWeek(row.date), row.week) << row.date.time_since_epoch().count();
    }
}

TEST(MonthGrid, TakesOnlyDayNumbersFromAScan) {
    EXPECT_EQ(BusyDays({"03", "15", "03", "31", "00", "32", "3", "1x", "-1", "015", "", "03-more"}),
              (std::set<unsigned>{3, 15, 31}));
}

}  // namespace
}  // namespace tarnwick::admin
