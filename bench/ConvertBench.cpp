// Reading and writing calendar text, against libical.
#include <libical/ical.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/BenchReport.h"
#include "Library/convert/CalendarDate.h"
#include "Library/convert/CalendarFileText.h"
#include "Library/convert/CalendarReader.h"
#include "Library/convert/Schedule.h"

namespace {

using namespace tarnwick;

constexpr std::size_t kTextSize = 10'000'000;

// Events such as calendar programs write them: a zone, parameters, folded and escaped text.
std::string GenerateCalendar() {
    std::string text =
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Generated//Bench//EN\r\n"
        "BEGIN:VTIMEZONE\r\nTZID:Berlin\r\n"
        "BEGIN:DAYLIGHT\r\nTZOFFSETFROM:+0100\r\nTZOFFSETTO:+0200\r\nDTSTART:19700329T020000\r\n"
        "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU\r\nEND:DAYLIGHT\r\n"
        "BEGIN:STANDARD\r\nTZOFFSETFROM:+0200\r\nTZOFFSETTO:+0100\r\nDTSTART:19701025T030000\r\n"
        "RRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU\r\nEND:STANDARD\r\nEND:VTIMEZONE\r\n";
    for (int number = 0; text.size() < kTextSize; ++number) {
        char event[1024];
        const int day = 1 + number % 28;
        const int month = 1 + number / 28 % 12;
        std::snprintf(
            event, sizeof event,
            "BEGIN:VEVENT\r\nUID:%08d-4e7a-908c@example.org\r\nDTSTAMP:20240101T000000Z\r\n"
            "DTSTART;TZID=Berlin:2024%02d%02dT%02d3000\r\n"
            "DTEND;TZID=Berlin:2024%02d%02dT%02d4500\r\nSUMMARY:Review of part %d\r\n"
            "LOCATION:Room %d\\, second floor\r\n"
            "DESCRIPTION:What was found since the last review\\, what is open\\, and\r\n"
            "  who does what until the next one.\\nBring the list.\r\n%s"
            "LAST-MODIFIED:20240102T030405Z\r\nSEQUENCE:0\r\nSTATUS:CONFIRMED\r\n"
            "TRANSP:OPAQUE\r\nEND:VEVENT\r\n",
            number, month, day, number % 24, month, day, number % 24, number, number % 90,
            number % 4 == 0 ? "RRULE:FREQ=WEEKLY;INTERVAL=2;BYDAY=MO,WE\r\n" : "");
        text += event;
    }
    return text + "END:VCALENDAR\r\n";
}

// The other library's tree of the text; it is released at once.
void ReadWithLibical(const std::string& text) {
    icalcomponent* calendar = icalparser_parse_string(text.c_str());
    if (calendar == nullptr) std::abort();
    bench::Keep(calendar);
    icalcomponent_free(calendar);
}

void WriteWithLibical(icalcomponent* calendar) {
    char* text = icalcomponent_as_ical_string_r(calendar);
    bench::Keep(text);
    std::free(text);
}

// The other library's times of a rule from a start to an end.
void ExpandWithLibical(const char* rule, icaltimetype start, icaltimetype end) {
    icalrecur_iterator* times = icalrecur_iterator_new(icalrecurrencetype_from_string(rule), start);
    if (times == nullptr) std::abort();
    icaltimetype time = icalrecur_iterator_next(times);
    while (!icaltime_is_null_time(time) && icaltime_compare(time, end) < 0) {
        time = icalrecur_iterator_next(times);
    }
    bench::Keep(&time);
    icalrecur_iterator_free(times);
}

// Rules are expanded over 400 days, ours as whole events with their ends and the window's bounds.
void CompareRules(bench::BenchReport& report) {
    Schedule schedule;
    schedule.start = ZonedTime{ParseDateValue("20240306T090000").value(), nullptr};
    schedule.length = DurationValue{0, 3600};
    const OccurrenceWindow window{std::nullopt,
                                  schedule.start->date.seconds + 400 * kSecondsPerDay};
    for (const char* rule : {"FREQ=DAILY", "FREQ=WEEKLY;INTERVAL=2;BYDAY=MO,WE",
                             "FREQ=MONTHLY;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=-1"}) {
        schedule.rules = {rule};
        const Schedule* const one = &schedule;
        const bench::PairTimes times = bench::BestOfPair(
            [one, &window] {
                const Occurrences found = OccurrencesOf({&one, 1}, window);
                bench::Keep(found.within.data());
            },
            [rule] {
                ExpandWithLibical(rule, icaltime_from_string("20240306T090000"),
                                  icaltime_from_string("20250410T090000"));
            });
        report.AtLeast(std::string("expand ") + rule + ", libical", times.ours, times.other, 10);
    }
}

}  // namespace

int main(int argumentCount, char** arguments) {
    bench::BenchReport report(argumentCount, arguments);
    const std::string text = GenerateCalendar();
    CalendarReading reading = ReadCalendarText(text);
    if (reading.failure || reading.items.size() < 10'000) return 1;

    const bench::PairTimes read = bench::BestOfPair(
        [&text] {
            const CalendarReading again = ReadCalendarText(text);
            bench::Keep(again.items.data());
        },
        [&text] { ReadWithLibical(text); }, 4000);
    report.AtLeast("read a 10 MB .ics, libical", read.ours, read.other, 3);

    icalcomponent* calendar = icalparser_parse_string(text.c_str());
    const bench::PairTimes written = bench::BestOfPair(
        [&reading] {
            const std::string file = CalendarFileText(reading.items, 0);
            bench::Keep(file.data());
        },
        [calendar] { WriteWithLibical(calendar); }, 4000);
    report.Inform("write the same events, libical", written.ours, written.other);
    icalcomponent_free(calendar);
    CompareRules(report);
    return 0;
}
