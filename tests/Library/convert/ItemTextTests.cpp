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

// A file time whose text is the one of "no date": 2038-01-19 03:14:07 UTC.
constexpr std::uint64_t kNoDate = 137'919'572'470'000'000;

TEST(EventText, WholeTexts) {
    const std::string noDates = "DTSTART:\r\nDTEND:\r\nUID:\r\n";
    const std::string rest = "LOCATION:\r\nDESCRIPTION:\r\nSUMMARY:\r\n";
    const std::string end = "LAST-MODIFIED:\r\n";
    const Properties everything = {
        {property::kAppointmentUid, "A-1"}, {property::kEventStart, kMorning},
        {property::kEventEnd, kLater},      {property::kLocation, "Room 5"},
        {property::kBody, "Bring tea"},     {property::kSubject, "Tea"},
        {property::kIsRecurring, 1},        {property::kRecurrenceInterval, 3},
        {property::kNoEndDate, 1},          {property::kModifiedDate, 1'700'000'000}};
    const Properties anyText = {{property::kLocation, "a,b;c\\d"},
                                {property::kBody, "one\r\ntwo\n three\xE9"}};
    const Properties oddDates = {{property::kEventStart, kNoDate},
                                 {property::kEventEnd, std::uint64_t{1} << 63}};
    const TextRow rows[] = {
        {"nothing", {}, noDates + rest + end},
        {"everything", everything,
         "DTSTART:20240305T060708Z\r\nDTEND:20240305T070000Z\r\nUID:A-1\r\nLOCATION:Room 5\r\n"
         "DESCRIPTION:Bring tea\r\nSUMMARY:Tea\r\nRRULE:FREQ=DAILY;INTERVAL=3\r\n"
         "LAST-MODIFIED:20231114T221320\r\n"},
        {"texts go in as they are", anyText,
         noDates + "LOCATION:a,b;c\\d\r\nDESCRIPTION:one\r\ntwo\n three\xE9\r\nSUMMARY:\r\n" + end},
        {"the no-date text means nothing; dates that cannot be converted are empty", oddDates,
         "DTSTART:20380119T031407Z\r\nDTEND:\r\nUID:\r\n" + rest + end},
    };
    for (const TextRow& row : rows) {
        ItemPropertyContainer item = Item(row.properties);
        EXPECT_EQ(Calendar("BEGIN:VEVENT\r\n" + row.text + "END:VEVENT\r\n"), EventText(item))
            << row.label;
    }
}

TEST(TaskText, WholeTexts) {
    const Properties everything = {
        {property::kItemId, "T-1"},         {property::kDueDate, kLater},
        {property::kSensitivity, 0},        {property::kModifiedDate, 0},
        {property::kPercentComplete, 12.5}, {property::kStatus, 1},
        {property::kImportance, 1},         {property::kTaskStart, kMorning},
        {property::kBody, "All of it"},     {property::kSubject, "Write"},
        {property::kIsRecurring, 1}};
    const Properties noDates = {{property::kDueDate, kNoDate},
                                {property::kTaskStart, kNoDate + 9'999'999}};
    const Properties otherKinds = {
        {property::kStatus, 1.0}, {property::kDueDate, 7}, {property::kPercentComplete, 7}};
    const std::string nothing =
        "UID:\r\nCLASS:\r\nLAST-MODIFIED:\r\nPERCENT-COMPLETE:\r\nSTATUS:\r\nPRIORITY:\r\n"
        "DESCRIPTION:\r\nSUMMARY:\r\n";
    const TextRow rows[] = {
        {"nothing", {}, nothing},
        {"everything, and no recurrence", everything,
         "UID:T-1\r\nDUE:20240305T070000\r\nCLASS:PUBLIC\r\nLAST-MODIFIED:19700101T000000\r\n"
         "PERCENT-COMPLETE:12.5\r\nSTATUS:IN-PROCESS\r\nPRIORITY:5\r\n"
         "DTSTART:20240305T060708\r\nDESCRIPTION:All of it\r\nSUMMARY:Write\r\n"},
        {"the no-date text leaves the date out", noDates, nothing},
        {"values of another kind are not found", otherKinds, nothing},
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
        {property::kSensitivity, 1, "CLASS:PRIVATE"},
        {property::kSensitivity, 2, "CLASS:PRIVATE"},
        {property::kSensitivity, 3, "CLASS:CONFIDENTIAL"},
        {property::kSensitivity, -1, "CLASS:CONFIDENTIAL"},
        {property::kStatus, 0, "STATUS:"},
        {property::kStatus, 2, "STATUS:COMPLETED"},
        {property::kStatus, 3, "STATUS:NEEDS-ACTION"},
        {property::kStatus, 4, "STATUS:CANCELLED"},
        {property::kStatus, 5, "STATUS:"},
        {property::kImportance, 0, "PRIORITY:9"},
        {property::kImportance, 2, "PRIORITY:1"},
        {property::kImportance, -7, "PRIORITY:1"},
        {property::kPercentComplete, 66.66666666, "PERCENT-COMPLETE:66.6667"},
        {property::kPercentComplete, 0.0000125, "PERCENT-COMPLETE:1.25e-05"},
        {property::kPercentComplete, 1234567.0, "PERCENT-COMPLETE:1.23457e+06"},
        {property::kPercentComplete, std::numeric_limits<double>::infinity(),
         "PERCENT-COMPLETE:inf"},
    };
    for (const auto& row : rows) {
        ItemPropertyContainer item = Item({{row.name, row.value}});
        const std::string line = std::string("\r\n") + row.line + "\r\n";
        EXPECT_NE(std::string::npos, TaskText(item).find(line)) << row.line << TaskText(item);
    }
}

TEST(ContactText, WholeTexts) {
    const Properties everything = {
        {property::kBody, "Knows tea"}, {property::kSurname, "Smith"},
        {property::kGivenName, "Anna"}, {property::kMiddleName, "B."},
        {property::kNamePrefix, "Dr."}, {property::kGeneration, "III"},
        {property::kNickname, "Ann"},   {property::kEmailAddress, "anna@example.org"}};
    const Properties breaking = {{property::kSurname, "a;b"}, {property::kNickname, "x\r\ny\xE9"}};
    const TextRow rows[] = {
        {"nothing", {}, "N:;;;;\r\nNICKNAME:\r\nEMAIL;PREF;INTERNET:\r\n"},
        {"everything, the body left out", everything,
         "N:Smith;Anna;B.;Dr.;III\r\nNICKNAME:Ann\r\nEMAIL;PREF;INTERNET:anna@example.org\r\n"},
        {"a value that breaks the card", breaking,
         "N:a;b;;;;\r\nNICKNAME:x\r\ny\xE9\r\nEMAIL;PREF;INTERNET:\r\n"},
    };
    for (const TextRow& row : rows) {
        ItemPropertyContainer item = Item(row.properties);
        EXPECT_EQ("BEGIN:VCARD\r\nVERSION:2.1\r\n" + row.text + "END:VCARD\r\n", ContactText(item))
            << row.label;
    }
}

char* Allocated(const char* text) {
    return std::strcpy(static_cast<char*>(std::malloc(std::strlen(text) + 1)), text);
}

// Kinds of values are read in StoreItemTextTests.cpp; here memory is watched.
TEST(ReturnedValues, AreCopiedAndReleasedOnlyWithTheCodeForFound) {
    EXPECT_EQ(PropertyValue("tea"), TakeReturnedValue(2, Allocated("tea"), PropertyKind::Text));
    EXPECT_EQ(std::nullopt, TakeReturnedValue(2, nullptr, PropertyKind::Text));
    for (const std::int32_t code : {-1, 0, 1, 3}) {
        char ownedByTheProvider[] = "tea";
        EXPECT_EQ(std::nullopt, TakeReturnedValue(code, ownedByTheProvider, PropertyKind::Text))
            << code;
    }
}

}  // namespace
}  // namespace tarnwick
