// Items and contacts of any properties, written and read back to the same; and files for other
// programs.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "Library/convert/CalendarFileText.h"
#include "Library/convert/ItemText.h"
#include "Library/convert/PropertyNames.h"
#include "Library/convert/RecurrenceRule.h"
#include "tests/Library/convert/ItemDescription.h"

namespace tarnwick {
namespace {

using testing::Describe;

constexpr int kRounds = 1500;

bool SameProperties(const ItemPropertyContainer& left, const ItemPropertyContainer& right) {
    if (left.size() != right.size()) return false;
    for (const auto& property : left) {
        const PropertyValue* other = right.Find(property.name);
        if (other == nullptr || *other != property.value) return false;
    }
    return true;
}

// Items such as the store holds: what is set is what the texts can carry.
class Generator {
  public:
    explicit Generator(const char* alphabet, bool breaksArePairs = false)
        : alphabet_(alphabet), breaksArePairs_(breaksArePairs) {}

    int Below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(random_); }

    std::string Text() {
        std::string text;
        const int length = 1 + Below(Below(8) == 0 ? 300 : 12);
        while (static_cast<int>(text.size()) < length) {
            const int letter = Below(static_cast<int>(alphabet_.size()));
            const char byte = alphabet_[static_cast<std::size_t>(letter)];
            text += byte == '\n' && breaksArePairs_ ? "\r\n" : std::string(1, byte);
        }
        return text;
    }
    // A text in which lines begin as the writer's own do, and items end.
    std::string Body() {
        static constexpr const char* kPieces[] = {
            "\r\nSUMMARY:",      "\r\nEND:VEVENT",
            "\r\nEND:VCALENDAR", "\r\nBEGIN:VCALENDAR",
            "\r\nDESCRIPTION:",  "\r\nEND:VTODO\r\nEND:VCALENDAR",
            "\r\nUID:",          "\r\nLAST-MODIFIED:x",
            "\r\nRRULE:FREQ=",   "\r\nEND:VEVENT\r\nEND:VCALENDAR\r\nBEGIN:VCALENDAR\r\n"};
        std::string body = Text();
        for (int pieces = Below(6); pieces > 0; --pieces) body += kPieces[Below(10)] + Text();
        return body;
    }
    // Any second of the 800 years from 1601.
    std::uint64_t Date() {
        return std::uniform_int_distribution<std::uint64_t>(0, 25'245'000'000)(random_) *
               10'000'000;
    }
    std::int32_t Number() {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(random_()));
    }
    void Maybe(ItemPropertyContainer& item, const char* name, const PropertyValue& value) {
        if (Below(4) != 0) item.Set(name, value);
    }
    void MaybeTexts(ItemPropertyContainer& item, std::initializer_list<const char*> names) {
        for (const char* name : names) Maybe(item, name, Text());
    }

  private:
    std::mt19937 random_{5545};
    std::string alphabet_;
    bool breaksArePairs_;
};

// An end before its start is noted, and the properties keep it.
bool IsOfTheEnd(const ReadProblem& note) {
    return note.reason == "an end that is not behind the start is left out";
}

void AddRecurrence(Generator& generator, ItemPropertyContainer& item) {
    static constexpr std::int32_t kTypes[] = {0, 1, 2, 3, 5, 6};
    const std::int32_t type = kTypes[generator.Below(6)];
    const bool onWeekday = type == 3 || type == 6;
    std::int32_t days = type == 2 || type == 5 ? 0 : generator.Below(128);
    if (onWeekday && days == 0) days = 1;
    // A weekly rule of all working days has lost its interval, a yearly one never has any.
    std::int32_t interval = type >= 5 ? 0 : generator.Below(5);
    if (type == 1 && days == kMondayToFriday) interval = 1;
    if (type == 0 && days == kMondayToFriday && interval == 0) interval = 2;
    static constexpr std::int32_t kInstances[] = {-1, 1, 2, 3, 4, 5};
    item.Set(property::kIsRecurring, 1);
    item.Set(property::kRecurrenceType, type);
    item.Set(property::kRecurrenceInterval, interval);
    item.Set(property::kRecurrenceDays, days);
    item.Set(property::kRecurrenceInstance, days == 0 ? -1 : kInstances[generator.Below(6)]);
    item.Set(property::kRecurrenceDayOfMonth, type == 2 || type == 3 ? generator.Below(32) : 0);
    item.Set(property::kRecurrenceMonth, type >= 5 ? generator.Below(13) : 0);
    const bool ends = generator.Below(2) == 0;
    item.Set(property::kNoEndDate, ends ? 0 : 1);
    if (!ends) return;
    item.Set(property::kOccurrences, generator.Below(100));
    item.Set(property::kPatternEndDate, generator.Date());
}

CalendarItem MakeEvent(Generator& generator) {
    CalendarItem event;
    event.kind = ItemKind::Event;
    ItemPropertyContainer& item = event.properties;
    generator.Maybe(item, property::kEventStart, generator.Date());
    generator.Maybe(item, property::kEventEnd, generator.Date());
    generator.MaybeTexts(item,
                         {property::kAppointmentUid, property::kLocation, property::kSubject});
    generator.Maybe(item, property::kBody, generator.Body());
    if (generator.Below(2) == 0) AddRecurrence(generator, item);
    generator.Maybe(item, property::kModifiedDate, generator.Number());
    return event;
}

CalendarItem MakeTask(Generator& generator) {
    static constexpr std::int32_t kSensitivities[] = {0, 2, 3};
    CalendarItem task;
    task.kind = ItemKind::Task;
    ItemPropertyContainer& item = task.properties;
    generator.MaybeTexts(item, {property::kItemId, property::kSubject});
    generator.Maybe(item, property::kBody, generator.Body());
    generator.Maybe(item, property::kDueDate, generator.Date());
    generator.Maybe(item, property::kTaskStart, generator.Date());
    generator.Maybe(item, property::kSensitivity, kSensitivities[generator.Below(3)]);
    generator.Maybe(item, property::kStatus, 1 + generator.Below(4));
    generator.Maybe(item, property::kImportance, generator.Below(3));
    generator.Maybe(item, property::kModifiedDate, generator.Number());
    if (generator.Below(2) == 0) item.Set(property::kPercentComplete, generator.Below(401) / 4.0);
    return task;
}

std::string OwnText(CalendarItem& item) {
    const bool isEvent = item.kind == ItemKind::Event;
    return isEvent ? EventText(item.properties) : TaskText(item.properties);
}

// Values of which the texts keep a part, or that they hold in another way.
void Scatter(Generator& generator, CalendarItem& item) {
    ItemPropertyContainer& properties = item.properties;
    if (item.kind == ItemKind::Task) {
        properties.Set(property::kSensitivity, generator.Below(9));
        properties.Set(property::kImportance, generator.Below(9));
        properties.Set(property::kPercentComplete, generator.Number() / 7.0);
        properties.Set(property::kDueDate, generator.Date() + 1);
        return;
    }
    properties.Set(property::kIsRecurring, 1);
    properties.Set(property::kRecurrenceType, generator.Below(9));
    properties.Set(property::kRecurrenceInterval, generator.Below(3));
    properties.Set(property::kRecurrenceDays,
                   generator.Below(3) == 0 ? kMondayToFriday : generator.Below(128));
    properties.Set(property::kRecurrenceInstance, generator.Below(8) - 1);
    properties.Set(property::kRecurrenceDayOfMonth, generator.Below(32));
    properties.Set(property::kRecurrenceMonth, generator.Below(13));
    properties.Set(property::kNoEndDate, generator.Below(2));
}

TEST(RoundTrip, EventsAndTasksReadBackToTheSameProperties) {
    Generator generator("ab :;,\\\"=\r\n\t\xE9");
    for (int round = 0; round < 2 * kRounds && !HasFatalFailure(); ++round) {
        CalendarItem item = round % 2 == 0 ? MakeEvent(generator) : MakeTask(generator);
        const std::string text = OwnText(item);
        const CalendarReading reading = ReadCalendarText(text);
        ASSERT_EQ(std::nullopt, reading.failure) << round << "\n" << text;
        ASSERT_TRUE(reading.unheld.empty() && std::ranges::all_of(reading.notes, IsOfTheEnd))
            << text;
        ASSERT_EQ(1U, reading.items.size()) << round;
        ASSERT_EQ(item.kind, reading.items[0].kind) << round;
        ASSERT_TRUE(SameProperties(item.properties, reading.items[0].properties))
            << round << "\n"
            << text << Describe(reading.items[0].properties);
        Scatter(generator, item);
        const std::string scattered = OwnText(item);
        CalendarReading again = ReadCalendarText(scattered + text);
        ASSERT_EQ(2U, again.items.size()) << scattered;
        ASSERT_EQ(scattered + text, OwnText(again.items[0]) + OwnText(again.items[1]));
    }
}

// Drops what the standard does not allow: the second end of a rule.
void KeepOneEnd(ItemPropertyContainer& item) {
    if (item.Number(property::kNoEndDate) != 0) return;
    ItemPropertyContainer kept;
    const bool counted = item.NumberOr(property::kOccurrences, 0) > 0;
    const std::string_view dropped = counted ? property::kPatternEndDate : property::kOccurrences;
    for (const auto& property : item) {
        if (property.name != dropped) kept.Set(property.name.data(), property.value);
    }
    item = kept;
}

TEST(RoundTrip, CalendarFilesReadBackToTheSameProperties) {
    Generator generator("ab :;,\\\"=\n\t", true);
    std::vector<CalendarItem> items;
    for (int round = 0; round < kRounds; ++round) {
        items.push_back(round % 2 == 0 ? MakeEvent(generator) : MakeTask(generator));
        CalendarItem& item = items.back();
        KeepOneEnd(item.properties);
        const bool isEvent = item.kind == ItemKind::Event;
        item.properties.Set(isEvent ? property::kAppointmentUid : property::kItemId, "uid");
        // An event without an end of its own would get its start's.
        const std::uint64_t start = item.properties.FileTime(property::kEventStart).value_or(0);
        if (isEvent) item.properties.Set(property::kEventEnd, std::max(start, generator.Date()));
        // A position says something in a month or year alone.
        if (item.properties.NumberOr(property::kRecurrenceType, 2) < 2) {
            item.properties.Set(property::kRecurrenceInstance, kEveryInstance);
        }
        if (item.properties.Double(property::kPercentComplete)) {
            item.properties.Set(property::kPercentComplete, double(generator.Below(101)));
        }
        item.lines = (isEvent ? EventLines : TaskLines)(item.properties);
    }
    const std::string text = CalendarFileText(items, generator.Date());
    const CalendarReading reading = ReadCalendarText(text);
    ASSERT_EQ(std::nullopt, reading.failure);
    ASSERT_EQ(items.size(), reading.items.size());
    for (std::size_t number = 0; number < items.size(); ++number) {
        ASSERT_TRUE(SameProperties(items[number].properties, reading.items[number].properties))
            << Describe(items[number].properties) << "---\n"
            << Describe(reading.items[number].properties);
    }
}

TEST(CalendarFileText, IsEscapedAndFolded) {
    CalendarItem item;
    item.properties.Set(property::kSubject,
                        std::string(67, 'x') + "\xC3\xA9" + std::string(74, 'y'));
    item.properties.Set(property::kBody, "a,b;c\\d\r\ne\nf:g");
    item.properties.Set(property::kEventStart, std::uint64_t{133'540'924'280'000'000});
    item.properties.Set(property::kIsRecurring, 1);
    item.properties.Set(property::kOccurrences, 0);
    item.properties.Set(property::kPatternEndDate, std::uint64_t{133'540'956'000'000'000});
    item.lines = EventLines(item.properties);
    EXPECT_EQ(
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Tarnwick//Calendar Export//EN\r\n"
        "BEGIN:VEVENT\r\nUID:item-1\r\nDTSTAMP:16010101T000000Z\r\nDTSTART:20240305T060708Z\r\n"
        "SUMMARY:" +
            std::string(67, 'x') + "\r\n \xC3\xA9" + std::string(72, 'y') +
            "\r\n yy\r\n"
            "DESCRIPTION:a\\,b\\;c\\\\d\\ne\\nf:g\r\n"
            "RRULE:FREQ=DAILY;UNTIL=20240305T070000Z\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n",
        CalendarFileText({&item, 1}, 0));
}

// Two definitions under one name are told apart, however the lines write that name.
TEST(CalendarFileText, KeepsZonesOfOneNameApart) {
    const auto calendar = [](const std::string& written, const char* offset) {
        return "BEGIN:VCALENDAR\nBEGIN:VTIMEZONE\nTZID:A\\, B\nBEGIN:STANDARD\n"
               "DTSTART:19700101T000000\nTZOFFSETFROM:" +
               std::string(offset) + "\nTZOFFSETTO:" + offset +
               "\nEND:STANDARD\nEND:VTIMEZONE\nBEGIN:VEVENT\nDTSTART;TZID=" + written +
               ":20240305T080000\nEND:VEVENT\nEND:VCALENDAR\n";
    };
    for (const char* const written : {"\"A, B\"", "\"A\\, B\"", "A\\, B", " A, B", "\"A, B \""}) {
        const auto reading =
            ReadCalendarText(calendar(written, "+0100") + calendar(written, "+0500"));
        const auto again = ReadCalendarText(CalendarFileText(reading.items, 0));
        ASSERT_EQ(2U, again.items.size()) << written;
        for (std::size_t number = 0; number < 2; ++number) {
            EXPECT_EQ(reading.items[number].schedule.start->ToUtc(),
                      again.items[number].schedule.start->ToUtc())
                << written;
        }
    }
}

TEST(RoundTrip, ContactsReadBackToTheSameProperties) {
    Generator generator("ab :,\"=@\t\xE9");
    for (int round = 0; round < kRounds; ++round) {
        ItemPropertyContainer contact;
        generator.MaybeTexts(
            contact,
            {property::kSurname, property::kGivenName, property::kMiddleName, property::kNamePrefix,
             property::kGeneration, property::kNickname, property::kEmailAddress});
        const ContactReading reading = ReadContactText(ContactText(contact));
        ASSERT_EQ(std::nullopt, reading.failure) << ContactText(contact);
        ASSERT_EQ(1U, reading.contacts.size());
        ASSERT_TRUE(SameProperties(contact, reading.contacts[0])) << ContactText(contact);
    }
}

}  // namespace
}  // namespace tarnwick
