#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

#include <gtest/gtest.h>

#include "Library/convert/ItemText.h"
#include "Library/convert/PropertyNames.h"

namespace tarnwick {
namespace {

using Properties = std::vector<std::pair<const char*, PropertyValue>>;

ItemPropertyContainer Item(const Properties& properties) {
    ItemPropertyContainer item;
    for (const auto& [name, value] : properties) item.Set(name, value);
    return item;
}

// 2024-03-05 06:07:08 and 2024-03-05 07:00:00 UTC.
constexpr std::uint64_t kMorning = 133'540'924'280'000'000;
constexpr std::uint64_t kLater = 133'540'956'000'000'000;

std::string Calendar(const std::string& body) {
    return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Tarnwick//Tarnwick//EN\r\n" + body +
           "END:VCALENDAR\r\n";
}

struct TextRow {
    const char* label;
    Properties properties;
    std::string text;
};

TEST(EventText, WholeTexts) {
    const TextRow rows[] = {
        {"nothing",
         {},
         "DTSTART:\r\nDTEND:\r\nUID:\r\nLOCATION:\r\nDESCRIPTION:\r\nSUMMARY:\r\nLAST-MODIFIED:"
         "\r\n"},
        {"everything",
         {{property::kAppointmentUid, "A-1"},
          {property::kEventStart, kMorning},
          {property::kEventEnd, kLater},
          {property::kLocation, "Room 5"},
          {property::kBody, "Bring tea"},
          {property::kSubject, "Tea"},
          {property::kModifiedDate, 1'700'000'000}},
         "DTSTART:20240305T060708Z\r\nDTEND:20240305T070000Z\r\nUID:A-1\r\nLOCATION:Room 5\r\n"
         "DESCRIPTION:Bring tea\r\nSUMMARY:Tea\r\nLAST-MODIFIED:20231114T221320\r\n"},
        {"recurring",
         {{property::kSubject, "Tea"},
          {property::kIsRecurring, 1},
          {property::kRecurrenceInterval, 3},
          {property::kNoEndDate, 1}},
         "DTSTART:\r\nDTEND:\r\nUID:\r\nLOCATION:\r\nDESCRIPTION:\r\nSUMMARY:Tea\r\n"
         "RRULE:FREQ=DAILY;INTERVAL=3\r\nLAST-MODIFIED:\r\n"},
        {"texts go in as they are",
         {{property::kLocation, "a,b;c\\d"}, {property::kBody, "one\r\ntwo\n three\xE9"}},
         "DTSTART:\r\nDTEND:\r\nUID:\r\nLOCATION:a,b;c\\d\r\n"
         "DESCRIPTION:one\r\ntwo\n three\xE9\r\nSUMMARY:\r\nLAST-MODIFIED:\r\n"},
        {"dates that cannot be converted are empty",
         {{property::kEventStart, std::uint64_t{1} << 63}, {property::kEventEnd, kLater}},
         "DTSTART:\r\nDTEND:20240305T070000Z\r\nUID:\r\nLOCATION:\r\nDESCRIPTION:\r\nSUMMARY:\r\n"
         "LAST-MODIFIED:\r\n"},
        {"the no-date text means nothing in an event",
         {{property::kEventStart, std::uint64_t{137'919'572'470'000'000}}},
         "DTSTART:20380119T031407Z\r\nDTEND:\r\nUID:\r\nLOCATION:\r\nDESCRIPTION:\r\nSUMMARY:\r\n"
         "LAST-MODIFIED:\r\n"},
    };
    for (const TextRow& row : rows) {
        ItemPropertyContainer item = Item(row.properties);
        EXPECT_EQ(Calendar("BEGIN:VEVENT\r\n" + row.text + "END:VEVENT\r\n"), EventText(item))
            << row.label;
    }
}

TEST(TaskText, WholeTexts) {
    const TextRow rows[] = {
        {"nothing",
         {},
         "UID:\r\nCLASS:\r\nLAST-MODIFIED:\r\nPERCENT-COMPLETE:\r\nSTATUS:\r\nPRIORITY:\r\n"
         "DESCRIPTION:\r\nSUMMARY:\r\n"},
        {"everything, and no recurrence",
         {{property::kItemId, "T-1"},
          {property::kDueDate, kLater},
          {property::kSensitivity, 0},
          {property::kModifiedDate, 0},
          {property::kPercentComplete, 12.5},
          {property::kStatus, 1},
          {property::kImportance, 1},
          {property::kTaskStart, kMorning},
          {property::kBody, "All of it"},
          {property::kSubject, "Write"},
          {property::kIsRecurring, 1}},
         "UID:T-1\r\nDUE:20240305T070000\r\nCLASS:PUBLIC\r\nLAST-MODIFIED:19700101T000000\r\n"
         "PERCENT-COMPLETE:12.5\r\nSTATUS:IN-PROCESS\r\nPRIORITY:5\r\n"
         "DTSTART:20240305T060708\r\nDESCRIPTION:All of it\r\nSUMMARY:Write\r\n"},
        {"the no-date text leaves the date out",
         {{property::kDueDate, std::uint64_t{137'919'572'470'000'000}},
          {property::kTaskStart, std::uint64_t{137'919'572'479'999'999}}},
         "UID:\r\nCLASS:\r\nLAST-MODIFIED:\r\nPERCENT-COMPLETE:\r\nSTATUS:\r\nPRIORITY:\r\n"
         "DESCRIPTION:\r\nSUMMARY:\r\n"},
        {"values of another kind are not found",
         {{property::kStatus, 1.0}, {property::kDueDate, 7}, {property::kPercentComplete, 7}},
         "UID:\r\nCLASS:\r\nLAST-MODIFIED:\r\nPERCENT-COMPLETE:\r\nSTATUS:\r\nPRIORITY:\r\n"
         "DESCRIPTION:\r\nSUMMARY:\r\n"},
    };
    for (const TextRow& row : rows) {
        ItemPropertyContainer item = Item(row.properties);
        EXPECT_EQ(Calendar("BEGIN:VTODO\r\n" + row.text + "END:VTODO\r\n"), TaskText(item))
            << row.label;
    }
}

TEST(TaskText, WordsOfNumbers) {
    const struct {
        const char* name;
        PropertyValue value;
        const char* line;
    } rows[] = {
        {property::kSensitivity, 0, "CLASS:PUBLIC"},
        {property::kSensitivity, 1, "CLASS:PRIVATE"},
        {property::kSensitivity, 2, "CLASS:PRIVATE"},
        {property::kSensitivity, 3, "CLASS:CONFIDENTIAL"},
        {property::kSensitivity, -1, "CLASS:CONFIDENTIAL"},
        {property::kStatus, 0, "STATUS:"},
        {property::kStatus, 1, "STATUS:IN-PROCESS"},
        {property::kStatus, 2, "STATUS:COMPLETED"},
        {property::kStatus, 3, "STATUS:NEEDS-ACTION"},
        {property::kStatus, 4, "STATUS:CANCELLED"},
        {property::kStatus, 5, "STATUS:"},
        {property::kImportance, 0, "PRIORITY:9"},
        {property::kImportance, 1, "PRIORITY:5"},
        {property::kImportance, 2, "PRIORITY:1"},
        {property::kImportance, -7, "PRIORITY:1"},
        {property::kPercentComplete, 0.0, "PERCENT-COMPLETE:0"},
        {property::kPercentComplete, 100.0, "PERCENT-COMPLETE:100"},
        {property::kPercentComplete, 33.333333333, "PERCENT-COMPLETE:33.3333"},
        {property::kPercentComplete, 66.66666666, "PERCENT-COMPLETE:66.6667"},
        {property::kPercentComplete, 0.0000125, "PERCENT-COMPLETE:1.25e-05"},
        {property::kPercentComplete, 1234567.0, "PERCENT-COMPLETE:1.23457e+06"},
        {property::kPercentComplete, -1.5, "PERCENT-COMPLETE:-1.5"},
        {property::kPercentComplete, std::numeric_limits<double>::infinity(),
         "PERCENT-COMPLETE:inf"},
        {property::kPercentComplete, std::numeric_limits<double>::max(),
         "PERCENT-COMPLETE:1.79769e+308"},
    };
    for (const auto& row : rows) {
        ItemPropertyContainer item = Item({{row.name, row.value}});
        const std::string line = std::string("\r\n") + row.line + "\r\n";
        EXPECT_NE(std::string::npos, TaskText(item).find(line)) << row.line << TaskText(item);
    }
}

TEST(ContactText, WholeTexts) {
    const TextRow rows[] = {
        {"nothing", {}, "N:;;;;\r\nNICKNAME:\r\nEMAIL;PREF;INTERNET:\r\n"},
        {"two names",
         {{property::kSurname, "Smith"}, {property::kGivenName, "Anna"}},
         "N:Smith;Anna;;;\r\nNICKNAME:\r\nEMAIL;PREF;INTERNET:\r\n"},
        {"everything, the body left out",
         {{property::kBody, "Knows tea"},
          {property::kSurname, "Smith"},
          {property::kGivenName, "Anna"},
          {property::kMiddleName, "B."},
          {property::kNamePrefix, "Dr."},
          {property::kGeneration, "III"},
          {property::kNickname, "Ann"},
          {property::kEmailAddress, "anna@example.org"}},
         "N:Smith;Anna;B.;Dr.;III\r\nNICKNAME:Ann\r\nEMAIL;PREF;INTERNET:anna@example.org\r\n"},
        {"a value that breaks the card",
         {{property::kSurname, "a;b"}, {property::kNickname, "x\r\ny\xE9"}},
         "N:a;b;;;;\r\nNICKNAME:x\r\ny\xE9\r\nEMAIL;PREF;INTERNET:\r\n"},
    };
    for (const TextRow& row : rows) {
        ItemPropertyContainer item = Item(row.properties);
        EXPECT_EQ("BEGIN:VCARD\r\nVERSION:2.1\r\n" + row.text + "END:VCARD\r\n", ContactText(item))
            << row.label;
    }
    ItemPropertyContainer nothing;
    EXPECT_EQ(78U, ContactText(nothing).size());
    ItemPropertyContainer smith = Item(rows[1].properties);
    EXPECT_EQ(87U, ContactText(smith).size());
}

// Notes what is read.
class ReadRecorder : public PropertySource {
  public:
    std::optional<PropertyValue> Read(const char* name, PropertyKind) override {
        names_.emplace_back(name);
        return std::nullopt;
    }
    const std::vector<std::string>& Names() const { return names_; }

  private:
    std::vector<std::string> names_;
};

TEST(ContactText, ReadsTheBodyFirstAndThenInTheCardsOrder) {
    ReadRecorder source;
    ContactText(source);
    const std::vector<std::string> expected = {"PR_BODY",
                                               "PR_SURNAME",
                                               "PR_GIVEN_NAME",
                                               "PR_MIDDLE_NAME",
                                               "PR_DISPLAY_NAME_PREFIX",
                                               "PR_GENERATION",
                                               "PR_NICKNAME",
                                               "PR_EMAIL_ADDRESS"};
    EXPECT_EQ(expected, source.Names());
}

void* Returned(const void* bytes, std::size_t size) {
    void* memory = std::malloc(size);
    std::memcpy(memory, bytes, size);
    return memory;
}

TEST(ReturnedValues, AreCopiedAndReleasedOnlyWithTheCodeForFound) {
    const std::int32_t number = -7;
    const double real = 2.5;
    const std::uint64_t fileTime = 0x1234'5678'9ABC'DEF0;
    EXPECT_EQ(PropertyValue("tea"), TakeReturnedValue(2, Returned("tea", 4), PropertyKind::Text));
    EXPECT_EQ(PropertyValue(number),
              TakeReturnedValue(2, Returned(&number, sizeof number), PropertyKind::Number));
    EXPECT_EQ(PropertyValue(real),
              TakeReturnedValue(2, Returned(&real, sizeof real), PropertyKind::Double));
    EXPECT_EQ(PropertyValue(fileTime),
              TakeReturnedValue(2, Returned(&fileTime, sizeof fileTime), PropertyKind::FileTime));
    EXPECT_EQ(std::nullopt, TakeReturnedValue(2, nullptr, PropertyKind::Text));
    for (const std::int32_t code : {-1, 0, 1, 3}) {
        char ownedByTheProvider[] = "tea";
        EXPECT_EQ(std::nullopt, TakeReturnedValue(code, ownedByTheProvider, PropertyKind::Text))
            << code;
    }
}

}  // namespace
}  // namespace tarnwick
