// Whole files, written as calendar and address programs write them, and as they arrive.
#include <gtest/gtest.h>

#include "Library/convert/CalendarDate.h"
#include "Library/convert/CalendarReader.h"
#include "Library/convert/ContactReader.h"
#include "Library/convert/PropertyNames.h"
#include "tests/support/SharedData.h"

namespace tarnwick {
namespace {

using testing::ReadBytes;

std::filesystem::path DataFolder(const char* kind) {
    return std::filesystem::path(TARNWICK_SOURCE_DIR) / "tests" / "data" / kind;
}

std::string TimeText(const std::optional<ZonedTime>& time) {
    return time ? DateText(*FileTimeOfUnixSeconds(time->ToUtc())) : "";
}

// A line for each item: subject, start and end in UTC, and how often it says that it recurs, adds,
// excludes and replaces.
std::string Summary(CalendarReading& reading) {
    std::string summary;
    for (CalendarItem& item : reading.items) {
        const Schedule& schedule = item.schedule;
        summary += item.properties.TextOr(property::kSubject) + " " + TimeText(schedule.start) +
                   " " + TimeText(schedule.end) + " " + std::to_string(schedule.rules.size()) +
                   std::to_string(schedule.additions.size()) +
                   std::to_string(schedule.exceptions.size()) +
                   std::to_string(schedule.replaces.has_value()) + "\n";
    }
    return summary;
}

TEST(RealCalendars, AreReadWithTheirTimes) {
    const struct {
        const char* file;
        const char* items;
        const char* notes;  // the lines that they are of
    } rows[] = {
        {"birthday.ics",
         "Zo\xC3\xAB's birthday \xF0\x9F\x8E\x82 19840611T000000 19840612T000000 1000\n", "6 9 "},
        {"calendar_zone.ics", "Lunch 20240410T160000 20240410T170000 0000\n", ""},
        {"cancelled.ics",
         "Picnic 20240601T100000 20240601T140000 0000\n"
         "Yoga 20240603T160000 20240603T170000 1000\n"
         "Yoga 20240604T160000 20240604T170000 0001\n",
         "*25 "},
        {"double_returns.ics", "Stand-up 20240401T070000 20240401T071500 1000\n", ""},
        {"escaped_zone.ics", "Dentist 20240704T063000 20240704T070000 0000\n", ""},
        {"fifth_friday.ics", "Night market 20240329T160000 20240329T190000 1000\n", "*11 "},
        {"invitation_mail.ics", "Quarterly review 20240409T130000  0000\n", "1 38 43 "},
        {"old_organizer.ics",
         "Besprechung K\xF6ln; Raum 3 19990111T090000 19990111T103000 1020\n"
         "Bericht; zweiter Teil  19990115T160000 0000\n",
         "*16 "},
        {"weekly_evening.ics",
         "Choir practice 20240305T003000 20240305T023000 1020\n"
         "Choir practice (moved) 20240314T220000 20240315T000000 0001\n",
         "*28 *29 *44 "},
    };
    for (const auto& row : rows) {
        CalendarReading reading = ReadCalendarText(ReadBytes(DataFolder("calendars") / row.file));
        ASSERT_EQ(std::nullopt, reading.failure) << row.file << reading.failure->reason;
        EXPECT_EQ(row.items, Summary(reading)) << row.file;
        std::string notes;
        for (const auto& note : reading.notes) notes += std::to_string(note.line) + " ";
        for (const auto& note : reading.unheld) notes += "*" + std::to_string(note.line) + " ";
        EXPECT_EQ(row.notes, notes) << row.file;
    }
}

std::string Names(const ItemPropertyContainer& contact) {
    std::string names;
    for (const char* name : {property::kSurname, property::kGivenName, property::kMiddleName,
                             property::kNamePrefix, property::kGeneration, property::kNickname,
                             property::kEmailAddress, property::kDisplayName, property::kBody}) {
        const PropertyValue* value = contact.Find(name);
        names += (value == nullptr ? "" : std::get<std::string>(*value)) + "|";
    }
    return names;
}

TEST(RealContacts, AreReadWithTheirNamesAndAddresses) {
    const struct {
        const char* file;
        std::vector<const char*> contacts;
        std::size_t notes;
    } rows[] = {
        {"address_book_3_0.vcf",
         {"Brown|Robert|James||Jr.|Bob|bob@lantern.example|Robert J. Brown, Jr.|"
          "Says \"hello\", always\r\nat nine.|",
          "Smith|Zo\xC3\xAB|||||zoe@lantern.example|||"},
         1},
        {"directory_4_0.vcf", {"||||||office@lantern.example|Lantern Software GmbH||"}, 0},
        {"organizer_2_1.vcf",
         {"M\xC3\xBCller|Anna||Dr.|||anna@lantern.example|Dr. Anna M\xC3\xBCller||"},
         1},
    };
    for (const auto& row : rows) {
        const ContactReading reading =
            ReadContactText(ReadBytes(DataFolder("contacts") / row.file));
        ASSERT_EQ(std::nullopt, reading.failure) << row.file << reading.failure->reason;
        ASSERT_EQ(row.contacts.size(), reading.contacts.size()) << row.file;
        for (std::size_t number = 0; number < row.contacts.size(); ++number) {
            EXPECT_EQ(row.contacts[number], Names(reading.contacts[number])) << row.file;
        }
        EXPECT_EQ(row.notes, reading.notes.size()) << row.file;
    }
}

}  // namespace
}  // namespace tarnwick
