#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <sstream>

#include "tests/Library/convert/OccurrenceScript.h"

namespace tarnwick {
namespace {

using testing::OccurrenceScript;

// Times from an abridged list: "1997:" is a year, "9/2" a month and a day, "5" another day of that
// month, "5-9" those days; all at nine, or "@1230" another time of the day before. "..." goes on.
std::vector<std::int64_t> TimesOf(const std::string& list) {
    std::vector<std::int64_t> times;
    std::int64_t year = 0;
    unsigned month = 0;
    std::istringstream words(list);
    for (std::string word; words >> word && word != "...";) {
        if (word.ends_with(':')) {
            year = std::stoi(word);
        } else if (word.starts_with('@')) {
            const int time = std::stoi(word.substr(1));
            const std::int64_t midnight = DayOf(times.back()) * kSecondsPerDay;
            times.push_back(midnight + (time / 100 * 60 + time % 100) * 60);
        } else {
            if (const std::size_t slash = word.find('/'); slash != word.npos) {
                month = static_cast<unsigned>(std::stoi(word));
                word.erase(0, slash + 1);
            }
            const int first = std::stoi(word);
            const std::size_t dash = word.find('-');
            const int last = dash == word.npos ? first : std::stoi(word.substr(dash + 1));
            for (int day = first; day <= last; ++day) {
                times.push_back(DaysFromCivil({year, month, static_cast<unsigned>(day)}) *
                                    kSecondsPerDay +
                                9 * 3600);
            }
        }
    }
    return times;
}

// The examples of RFC 5545 section 3.8.5.3, on the clocks of their zone.
const struct {
    const char* start;  // a day; all start at nine
    const char* rule;
    const char* times;
} kExamples[] = {
    {"19970902", "FREQ=DAILY;COUNT=10", "1997: 9/2-11"},
    {"19970902", "FREQ=DAILY;UNTIL=19971224T000000Z", "1997: 9/2-30 10/1-31 11/1-30 12/1-23"},
    {"19970902", "FREQ=DAILY;INTERVAL=2",
     "1997: 9/2 4 6 8 10 12 14 16 18 20 22 24 26 28 30 10/2 ..."},
    {"19970902", "FREQ=DAILY;INTERVAL=10;COUNT=5", "1997: 9/2 12 22 10/2 12"},
    {"19980101", "FREQ=YEARLY;UNTIL=20000131T140000Z;BYMONTH=1;BYDAY=SU,MO,TU,WE,TH,FR,SA",
     "1998: 1/1-31 1999: 1/1-31 2000: 1/1-31"},
    {"19980101", "FREQ=DAILY;UNTIL=20000131T140000Z;BYMONTH=1",
     "1998: 1/1-31 1999: 1/1-31 2000: 1/1-31"},
    {"19970902", "FREQ=WEEKLY;COUNT=10", "1997: 9/2 9 16 23 30 10/7 14 21 28 11/4"},
    {"19970902", "FREQ=WEEKLY;UNTIL=19971224T000000Z",
     "1997: 9/2 9 16 23 30 10/7 14 21 28 11/4 11 18 25 12/2 9 16 23"},
    {"19970902", "FREQ=WEEKLY;INTERVAL=2;WKST=SU",
     "1997: 9/2 16 30 10/14 28 11/11 25 12/9 23 1998: 1/6 20 2/3 17 ..."},
    {"19970902", "FREQ=WEEKLY;UNTIL=19971007T000000Z;WKST=SU;BYDAY=TU,TH",
     "1997: 9/2 4 9 11 16 18 23 25 30 10/2"},
    {"19970902", "FREQ=WEEKLY;COUNT=10;WKST=SU;BYDAY=TU,TH",
     "1997: 9/2 4 9 11 16 18 23 25 30 10/2"},
    {"19970901", "FREQ=WEEKLY;INTERVAL=2;UNTIL=19971224T000000Z;WKST=SU;BYDAY=MO,WE,FR",
     "1997: 9/1 3 5 15 17 19 29 10/1 3 13 15 17 27 29 31 11/10 12 14 24 26 28 12/8 10 12 22"},
    {"19970902", "FREQ=WEEKLY;INTERVAL=2;COUNT=8;WKST=SU;BYDAY=TU,TH",
     "1997: 9/2 4 16 18 30 10/2 14 16"},
    {"19970905", "FREQ=MONTHLY;COUNT=10;BYDAY=1FR",
     "1997: 9/5 10/3 11/7 12/5 1998: 1/2 2/6 3/6 4/3 5/1 6/5"},
    {"19970905", "FREQ=MONTHLY;UNTIL=19971224T000000Z;BYDAY=1FR", "1997: 9/5 10/3 11/7 12/5"},
    {"19970907", "FREQ=MONTHLY;INTERVAL=2;COUNT=10;BYDAY=1SU,-1SU",
     "1997: 9/7 28 11/2 30 1998: 1/4 25 3/1 29 5/3 31"},
    {"19970922", "FREQ=MONTHLY;COUNT=6;BYDAY=-2MO", "1997: 9/22 10/20 11/17 12/22 1998: 1/19 2/16"},
    {"19970928", "FREQ=MONTHLY;BYMONTHDAY=-3", "1997: 9/28 10/29 11/28 12/29 1998: 1/29 2/26 ..."},
    {"19970902", "FREQ=MONTHLY;COUNT=10;BYMONTHDAY=2,15",
     "1997: 9/2 15 10/2 15 11/2 15 12/2 15 1998: 1/2 15"},
    {"19970930", "FREQ=MONTHLY;COUNT=10;BYMONTHDAY=1,-1",
     "1997: 9/30 10/1 31 11/1 30 12/1 31 1998: 1/1 31 2/1"},
    {"19970910", "FREQ=MONTHLY;INTERVAL=18;COUNT=10;BYMONTHDAY=10,11,12,13,14,15",
     "1997: 9/10-15 1999: 3/10-13"},
    {"19970902", "FREQ=MONTHLY;INTERVAL=2;BYDAY=TU",
     "1997: 9/2 9 16 23 30 11/4 11 18 25 1998: 1/6 13 20 27 3/3 10 17 24 31 ..."},
    {"19970610", "FREQ=YEARLY;COUNT=10;BYMONTH=6,7",
     "1997: 6/10 7/10 1998: 6/10 7/10 1999: 6/10 7/10 2000: 6/10 7/10 2001: 6/10 7/10"},
    {"19970310", "FREQ=YEARLY;INTERVAL=2;COUNT=10;BYMONTH=1,2,3",
     "1997: 3/10 1999: 1/10 2/10 3/10 2001: 1/10 2/10 3/10 2003: 1/10 2/10 3/10"},
    {"19970101", "FREQ=YEARLY;INTERVAL=3;COUNT=10;BYYEARDAY=1,100,200",
     "1997: 1/1 4/10 7/19 2000: 1/1 4/9 7/18 2003: 1/1 4/10 7/19 2006: 1/1"},
    {"19970519", "FREQ=YEARLY;BYDAY=20MO", "1997: 5/19 1998: 5/18 1999: 5/17 ..."},
    {"19970512", "FREQ=YEARLY;BYWEEKNO=20;BYDAY=MO", "1997: 5/12 1998: 5/11 1999: 5/17 ..."},
    {"19970313", "FREQ=YEARLY;BYMONTH=3;BYDAY=TH",
     "1997: 3/13 20 27 1998: 3/5 12 19 26 1999: 3/4 11 18 25 ..."},
    {"19970605", "FREQ=YEARLY;BYDAY=TH;BYMONTH=6,7,8",
     "1997: 6/5 12 19 26 7/3 10 17 24 31 8/7 14 21 28 1998: 6/4 11 18 25 7/2 ..."},
    {"19970902", "FREQ=MONTHLY;BYDAY=FR;BYMONTHDAY=13",
     "1998: 2/13 3/13 11/13 1999: 8/13 2000: 10/13 ..."},
    {"19970913", "FREQ=MONTHLY;BYDAY=SA;BYMONTHDAY=7,8,9,10,11,12,13",
     "1997: 9/13 10/11 11/8 12/13 1998: 1/10 2/7 3/7 4/11 5/9 6/13 ..."},
    {"19961105", "FREQ=YEARLY;INTERVAL=4;BYMONTH=11;BYDAY=TU;BYMONTHDAY=2,3,4,5,6,7,8",
     "1996: 11/5 2000: 11/7 2004: 11/2 ..."},
    {"19970904", "FREQ=MONTHLY;COUNT=3;BYDAY=TU,WE,TH;BYSETPOS=3", "1997: 9/4 10/7 11/6"},
    {"19970929", "FREQ=MONTHLY;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=-2",
     "1997: 9/29 10/30 11/27 12/30 1998: 1/29 2/26 3/30 ..."},
    {"19970902", "FREQ=HOURLY;INTERVAL=3;UNTIL=19970902T170000Z", "1997: 9/2 @1200 @1500"},
    {"19970902", "FREQ=MINUTELY;INTERVAL=15;COUNT=6", "1997: 9/2 @915 @930 @945 @1000 @1015"},
    {"19970902", "FREQ=MINUTELY;INTERVAL=90;COUNT=4", "1997: 9/2 @1030 @1200 @1330"},
    {"19970902", "FREQ=DAILY;BYHOUR=9,10,11,12,13,14,15,16;BYMINUTE=0,20,40",
     "1997: 9/2 @920 @940 @1000 @1020 @1040 @1100 @1120 @1140 @1200 @1220 @1240 @1300 @1320 @1340 "
     "@1400 @1420 @1440 @1500 @1520 @1540 @1600 @1620 @1640 9/3 @920 ..."},
    {"19970902", "FREQ=MINUTELY;INTERVAL=20;BYHOUR=9,10,11,12,13,14,15,16",
     "1997: 9/2 @920 @940 @1000 @1020 @1040 @1100 @1120 @1140 @1200 @1220 @1240 @1300 @1320 @1340 "
     "@1400 @1420 @1440 @1500 @1520 @1540 @1600 @1620 @1640 9/3 @920 ..."},
    {"19970805", "FREQ=WEEKLY;INTERVAL=2;COUNT=4;BYDAY=TU,SU;WKST=MO", "1997: 8/5 10 19 24"},
    {"19970805", "FREQ=WEEKLY;INTERVAL=2;COUNT=4;BYDAY=TU,SU;WKST=SU", "1997: 8/5 17 19 31"},
    {"20070115", "FREQ=MONTHLY;BYMONTHDAY=15,30;COUNT=5", "2007: 1/15 30 2/15 3/15 30"},
};

TEST(Patterns, OfTheStandardsExamples) {
    for (const auto& example : kExamples) {
        const auto pattern = ParsePattern(example.rule);
        ASSERT_TRUE(pattern) << example.rule;
        const DateValue start = ParseDateValue(std::string(example.start) + "T090000").value();
        PatternOccurrences times(*pattern, start);
        const std::string list = example.times;
        for (const std::int64_t expected : TimesOf(list)) {
            EXPECT_EQ(expected, times.Next()) << example.rule;
        }
        EXPECT_EQ(list.ends_with("..."), times.Next().has_value()) << example.rule;
    }
}

TEST(Patterns, AreTakenFromTextsOfAnyManner) {
    const char* const taken[] = {
        "freq=weekly;byday=mo,we;wkst=su",
        " WKST = SU ; ; BYDAY = MO , , WE ;COUNT=; FREQ = WEEKLY;\r\n",
        "BYDAY=WE;BYDAY=MO,MO;FREQ=WEEKLY;INTERVAL=1;COUNT=0;UNTIL=99991231;WKST=SU",
        "FREQ=DAILY;BYDAY=MO,1WE",
        "FREQ=DAILY;BYDAY=+2MO,-1 WE;BYMONTHDAY=-31,-5,1,2,3,4,5,+6,7,8,9,10,11,12,13,14,15",
    };
    for (const char* rule : taken) {
        EXPECT_EQ("20240304T090000 20240306T090000",
                  OccurrenceScript().Take(std::string("P 20240302T090000|2|99991231|") + rule))
            << rule;
    }
    const char* const refused[] = {
        "",
        "FREQ=",
        "COUNT=2",
        "FREQ=FORTNIGHTLY",
        "FREQ",
        "FREQ=DAILY;X-A=1",
        "FREQ=DAILY;SKIP=OMIT",
        "FREQ=DAILY;INTERVAL=0",
        "FREQ=DAILY;INTERVAL=-1",
        "FREQ=DAILY;COUNT=0",
        "FREQ=DAILY;COUNT=-1",
        "FREQ=DAILY;COUNT=1000000000",
        "FREQ=DAILY;UNTIL=2024",
        "FREQ=DAILY;WKST=XX",
        "FREQ=DAILY;BYSECOND=61",
        "FREQ=DAILY;BYMINUTE=60",
        "FREQ=DAILY;BYHOUR=24",
        "FREQ=DAILY;BYHOUR=-1",
        "FREQ=DAILY;BYMONTHDAY=0",
        "FREQ=DAILY;BYMONTHDAY=-32",
        "FREQ=DAILY;BYYEARDAY=367",
        "FREQ=DAILY;BYWEEKNO=54",
        "FREQ=DAILY;BYMONTH=13",
        "FREQ=DAILY;BYMONTH=-1",
        "FREQ=DAILY;BYSETPOS=0",
        "FREQ=DAILY;BYDAY=0MO",
        "FREQ=DAILY;BYDAY=54MO",
        "FREQ=DAILY;BYDAY=M",
        "FREQ=DAILY;BYDAY=1",
        "FREQ=DAILY;BYHOUR=1;2",
    };
    for (const char* rule : refused) EXPECT_FALSE(ParsePattern(rule)) << rule;
}

// What random rules do not meet, or another reader does not agree on.
const struct {
    const char* line;  // behind "P "
    const char* times;
} kPatterns[] = {
    // Every one and the n-th together.
    {"20240301T090000|4|99991231|FREQ=MONTHLY;BYDAY=FR,2MO",
     "20240301T090000 20240308T090000 "
     "20240311T090000 20240315T090000"},
    // Positions count from the week's first day, also in the week of the start.
    {"20240306T090000|2|99991231|FREQ=WEEKLY;BYDAY=MO,WE,FR;BYSETPOS=2",
     "20240306T090000 20240313T090000"},
    {"20240301|2|99991231|FREQ=DAILY;BYHOUR=9;BYMINUTE=1;BYSECOND=1",
     "20240301T000000 20240302T000000"},
    {"20240301T000000|2|99991231|FREQ=MINUTELY;BYSECOND=60", "20240301T000059 20240301T000159"},
    {"20240301T235958|3|20240301|FREQ=SECONDLY", "20240301T235958 20240301T235959"},
    {"20240229T000000|2|99991231|FREQ=YEARLY;INTERVAL=100", "20240229T000000 21240229T000000"},
    {"20240101T000000|2|99991231|FREQ=SECONDLY;BYMONTH=12;BYMONTHDAY=31;BYHOUR=23;BYMINUTE=59;"
     "BYSECOND=59",
     "20241231T235959 20251231T235959"},
    {"99991230T000000|9|99991231|FREQ=DAILY", "99991230T000000 99991231T000000"},
    {"99991231T000000|9|999991231|FREQ=WEEKLY;BYDAY=MO,TU,WE,TH,FR,SA,SU", "99991231T000000"},
    {"100000101T000000|9|999991231|FREQ=DAILY", ""},
    {"20240101T000000|2|20231231|FREQ=DAILY", ""},
    {"20240101T000000|2|99991231|FREQ=YEARLY;INTERVAL=999999999", "20240101T000000"},
    {"20240101T000000|2|99991231|FREQ=WEEKLY;INTERVAL=999999999", "20240101T000000"},
};

TEST(Patterns, AtTheirEdges) {
    for (const auto& row : kPatterns) {
        EXPECT_EQ(row.times, OccurrenceScript().Take(std::string("P ") + row.line)) << row.line;
    }
}

TEST(Patterns, SkipWhatTheyWouldGive) {
    const DateValue start = ParseDateValue("20240131T093000").value();
    for (const auto& example : kExamples) {
        const auto pattern = ParsePattern(example.rule);
        std::vector<std::int64_t> all;
        for (PatternOccurrences times(*pattern, start); all.size() < 50;) {
            const auto time = times.Next();
            if (!time) break;
            all.push_back(*time);
        }
        for (std::size_t at = 0; at < all.size(); ++at) {
            for (const int before : {0, 1, 100'000}) {
                PatternOccurrences times(*pattern, start);
                times.SkipTo(all[at] - before);
                const auto next = std::ranges::lower_bound(all, all[at] - before);
                EXPECT_EQ(pattern->count ? all[0] : *next, times.Next()) << example.rule;
            }
        }
    }
}

TEST(Patterns, ThatNeverComeTrueEnd) {
    const auto begin = std::chrono::steady_clock::now();
    for (const char* rule :
         {"FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=30", "FREQ=MONTHLY;BYDAY=MO;BYSETPOS=6",
          "FREQ=WEEKLY;BYDAY=MO;BYSETPOS=2", "FREQ=DAILY;BYMONTH=2;BYMONTHDAY=30",
          "FREQ=DAILY;INTERVAL=7;BYDAY=MO", "FREQ=HOURLY;INTERVAL=2;BYHOUR=0",
          "FREQ=MINUTELY;INTERVAL=999999999;BYMINUTE=0", "FREQ=SECONDLY;INTERVAL=2;BYSECOND=2",
          "FREQ=SECONDLY;BYWEEKNO=20;BYMONTH=1", "FREQ=SECONDLY;BYSETPOS=2",
          "FREQ=YEARLY;BYYEARDAY=1;BYHOUR=0,1,2,3;BYMINUTE=0,1,2,3;BYSETPOS=17"}) {
        PatternOccurrences times(ParsePattern(rule).value(),
                                 ParseDateValue("20240305T010101").value());
        EXPECT_FALSE(times.Next()) << rule;
        EXPECT_FALSE(times.Next()) << rule;
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

}  // namespace
}  // namespace tarnwick
