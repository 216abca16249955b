#include <gtest/gtest.h>

#include "Library/convert/CalendarDate.h"

namespace tarnwick {
namespace {

TEST(CalendarDate, EveryDayOfAnEraFollowsTheOneBefore) {
    CivilDate date{1969, 12, 31};
    for (std::int64_t days = 0; days < DaysFromCivil({2370, 1, 1}); ++days) {
        const CivilDate next = CivilFromDays(days);
        if (date.day < DaysInMonth(date.year, date.month)) {
            date.day += 1;
        } else {
            date = date.month == 12 ? CivilDate{date.year + 1, 1, 1}
                                    : CivilDate{date.year, date.month + 1, 1};
        }
        ASSERT_EQ(date, next) << days;
        ASSERT_EQ(days, DaysFromCivil(next));
        ASSERT_EQ((days + 4) % 7, WeekdayFromDays(days));
    }
    EXPECT_EQ(-134774, DaysFromCivil({1601, 1, 1}));
    EXPECT_EQ(1U, WeekdayFromDays(-134774));
}

TEST(DateText, OfFileTimes) {
    const struct {
        std::uint64_t fileTime;
        const char* text;
    } rows[] = {
        {9'999'999, "16010101T000000"},
        {116'444'735'999'999'999, "19691231T235959"},
        {FileTimeOfSeconds(2'147'483'647), "20380119T031407"},
        {FileTimeOfSeconds(-2'147'483'647 - 1), "19011213T204552"},
        {0x7FFF'FFFF'FFFF'FFFF, "308280914T024805"},
        {0x8000'0000'0000'0000, ""},
    };
    for (const auto& row : rows) EXPECT_EQ(row.text, DateText(row.fileTime)) << row.fileTime;
}

TEST(DateText, ClampsEachFieldOutOfRange) {
    const struct {
        CalendarFields fields;
        const char* text;
    } rows[] = {
        {{2024, 12, 31, 23, 59, 59}, "20241231T235959"},
        {{2024, 0, 5, 6, 7, 8}, "20240105T060708"},
        {{2024, 13, 5, 6, 7, 8}, "20240105T060708"},
        {{2024, 65535, 5, 6, 7, 8}, "20240105T060708"},
        {{2024, 3, 0, 6, 7, 8}, "20240301T060708"},
        {{2024, 3, 32, 6, 7, 8}, "20240301T060708"},
        {{2024, 2, 31, 6, 7, 8}, "20240231T060708"},
        {{2024, 3, 5, 24, 7, 8}, "20240305T240708"},
        {{2024, 3, 5, 25, 7, 8}, "20240305T000708"},
        {{2024, 3, 5, 6, 60, 8}, "20240305T060008"},
        {{2024, 3, 5, 6, 7, 60}, "20240305T060700"},
        {{7, 3, 5, 6, 7, 8}, "   70305T060708"},
        {{65535, 3, 5, 6, 7, 8}, "655350305T060708"},
    };
    for (const auto& row : rows) EXPECT_EQ(row.text, DateText(row.fields)) << row.text;
}

}  // namespace
}  // namespace tarnwick
