#include "Library/convert/StoreItemText.h"

#include <cstdlib>
#include <random>

#include <gtest/gtest.h>

#include "Library/convert/CalendarDate.h"
#include "Library/convert/ItemText.h"
#include "Library/convert/PropertyNames.h"
#include "tests/remote/modules/StandIns.h"
#include "tests/support/FailingAllocations.h"

namespace tarnwick {
namespace {

using testing::StandIns;

constexpr const char* kModule = "TWAISP.DLL";
constexpr std::int32_t kFound = 2;

class StoreItem : public ::testing::Test {
  protected:
    StoreItem() { store_provider::LoadStoreProvider(store_provider::providerModule); }
    ~StoreItem() override { store_provider::StoreLibrary_UnInit(); }

    static void SetText(const char* name, const char* text, std::int32_t code = kFound) {
        StandIns::SetProperty(name, 1, code, text, std::char_traits<char>::length(text) + 1);
    }
    static void SetNumber(const char* name, std::int32_t number) {
        StandIns::SetProperty(name, 2, kFound, &number, sizeof number);
    }
    static void SetFileTime(const char* name, std::uint64_t fileTime) {
        StandIns::SetProperty(name, 4, kFound, &fileTime, sizeof fileTime);
    }

    StandIns modules_;
};

// Takes over what a writer allocated.
struct Written {
    int result = 0;
    bool isNull = false;
    std::string text;
    std::uint32_t length = 0;
};

template <typename Writer>
Written TakeText(Writer write) {
    char untouched[] = "untouched";
    char* text = untouched;
    Written written;
    written.length = 99;
    written.result = write(&text, &written.length);
    written.isNull = text == nullptr;
    if (!written.isNull) written.text = text;
    std::free(text);
    return written;
}

template <typename Writer>
Written TakeItemText(Writer writer, ItemPropertyContainer* properties = nullptr) {
    return TakeText([&](char** text, auto* length) { return writer(text, length, properties); });
}

TEST_F(StoreItem, IsReadWhenNoContainerIsGiven) {
    SetText("PR_SUBJECT", "Tea");
    SetText("PR_LOCATION", "not found", 1);
    StandIns::SetProperty("PR_BODY", 1, kFound, nullptr, 0);
    SetFileTime("PR_START_DATE", 133'540'924'280'000'000);
    SetNumber("TW_ITEM_MODIFIEDDATE", 0);
    const double percent = 25;
    StandIns::SetProperty("PR_BNP_PercentComplete", 3, kFound, &percent, sizeof percent);

    ItemPropertyContainer same;
    same.Set(property::kSubject, "Tea");
    same.Set(property::kEventStart, std::uint64_t{133'540'924'280'000'000});
    same.Set(property::kModifiedDate, 0);
    same.Set(property::kPercentComplete, 25.0);
    const std::pair<Written, std::string> texts[] = {
        {TakeItemText(WriteEventText), EventText(same)},
        {TakeItemText(WriteTaskText), TaskText(same)},
        {TakeItemText(WriteTaskText, &same), TaskText(same)},
    };
    for (const auto& [written, expected] : texts) {
        EXPECT_EQ(1, written.result);
        EXPECT_EQ(expected, written.text);
        EXPECT_EQ(expected.size(), written.length);
    }
}

TEST_F(StoreItem, ContactIsReadInTheCardsOrder) {
    StandIns::ClearCalls();
    const Written contact = TakeItemText(WriteContactText);
    EXPECT_EQ(1, contact.result);
    EXPECT_EQ(78U, contact.length);
    EXPECT_EQ(
        "StoreItem_GetProperty 'PR_BODY' 1\nStoreItem_GetProperty 'PR_SURNAME' 1\n"
        "StoreItem_GetProperty 'PR_GIVEN_NAME' 1\nStoreItem_GetProperty 'PR_MIDDLE_NAME' 1\n"
        "StoreItem_GetProperty 'PR_DISPLAY_NAME_PREFIX' 1\nStoreItem_GetProperty 'PR_GENERATION' "
        "1\n"
        "StoreItem_GetProperty 'PR_NICKNAME' 1\nStoreItem_GetProperty 'PR_EMAIL_ADDRESS' 1\n",
        StandIns::Calls(kModule));
}

TEST_F(StoreItem, RecurrenceRuleLineHasNoLengthWithoutRecurrence) {
    const Written none = TakeItemText(WriteRecurrenceRule);
    EXPECT_EQ(0, none.result);
    EXPECT_FALSE(none.isNull);
    EXPECT_EQ("", none.text);
    EXPECT_EQ(0U, none.length);
    SetNumber("PR_BNP_IsRecurring", 1);
    SetNumber("PR_BNP_RecurrenceType", 2);
    StandIns::ClearCalls();
    const Written rule = TakeItemText(WriteRecurrenceRule);
    EXPECT_EQ(1, rule.result);
    EXPECT_EQ("RRULE:FREQ=MONTHLY;COUNT=0;UNTIL=\r\n", rule.text);
    EXPECT_EQ(35U, rule.length);
    EXPECT_EQ(
        "StoreItem_GetProperty 'PR_BNP_IsRecurring' 2\n"
        "StoreItem_GetProperty 'PR_BNP_RecurrenceType' 2\n"
        "StoreItem_GetProperty 'PR_BNP_RecurrenceInterval' 2\n"
        "StoreItem_GetProperty 'PR_BNP_RecurrenceDayOfWeekMask' 2\n"
        "StoreItem_GetProperty 'PR_BNP_RecurrenceInstance' 2\n"
        "StoreItem_GetProperty 'PR_BNP_NoEndDate' 2\n"
        "StoreItem_GetProperty 'PR_BNP_Occurrences' 2\n"
        "StoreItem_GetProperty 'PR_BNP_PatternEndDate' 4\n"
        "StoreItem_GetProperty 'PR_BNP_RecurrenceDayOfMonth' 2\n",
        StandIns::Calls(kModule));
}

TEST(StoreItemWithoutMemory, IsNoText) {
    ItemPropertyContainer item;
    item.Set(property::kSubject, std::string(100, 'x'));
    for (const auto write : {WriteEventText, WriteTaskText, WriteContactText}) {
        const int count = testing::FailEachAllocation([&](int number, bool andAllAfter) {
            char untouched = '\0';
            char* text = &untouched;
            std::uint32_t length = 7;
            std::optional<testing::FailingAllocations> shortage;
            shortage.emplace(number, andAllAfter);
            const int result = write(&text, &length, &item);
            const bool failed = testing::FailingAllocations::Any();
            shortage.reset();
            EXPECT_TRUE((result == 0) == failed && !text == failed && (length == 0) == failed);
            std::free(text);
            return failed;
        });
        EXPECT_GT(count, 0);
    }
}

Written TakeStoredRule() {
    return TakeText([](char** text, std::uint32_t* size) {
        return WriteStoredRecurrenceRule({11, 12, 13}, "A-1", text, size);
    });
}

constexpr const char* kReads =
    "StoreItem_GetProperty 'PR_BNP_RecurrenceType' 2\n"
    "StoreItem_GetProperty 'PR_BNP_RecurrenceInterval' 2\n"
    "StoreItem_GetProperty 'PR_BNP_NoEndDate' 2\n"
    "StoreItem_GetProperty 'PR_BNP_RecurrenceDayOfWeekMask' 2\n"
    "StoreItem_GetProperty 'PR_BNP_RecurrenceInstance' 2\n"
    "StoreItem_GetProperty 'PR_BNP_RecurrenceDayOfMonth' 2\n"
    "StoreItem_GetProperty 'PR_BNP_RecurrenceMonthOfYear' 2\n";

// What the folder and the two selections answer, and the calls and results that follow.
TEST_F(StoreItem, StoredRuleSelectsByFieldThenByIdentifier) {
    const std::string open = "StoreFolder_Open 11 12 13 2 1\n";
    const std::string byField = "StoreFolder_SelectItemByField 'APPOINTMENTUID' 'A-1'\n";
    const std::string byIdentifier = "StoreFolder_SelectItem 'A-1'\n";
    const std::string close = "StoreFolder_Close\n";
    const struct {
        std::int32_t opened, field, identifier;
        bool isNull;
        const char* text;
        std::uint32_t size;
        std::string calls;
    } rows[] = {
        {1, 1, 1, false, "FREQ=WEEKLY", 12, open + byField + kReads + close},
        {5, 2, 1, false, "FREQ=WEEKLY", 12, open + byField + byIdentifier + kReads + close},
        {1, 0, 2, false, "", 1, open + byField + byIdentifier + close},
        {0, 1, 1, true, "", 0, open},
    };
    SetNumber("PR_BNP_RecurrenceType", 1);
    for (const auto& row : rows) {
        StandIns::SetResult("StoreFolder_Open", row.opened);
        StandIns::SetResult("StoreFolder_SelectItemByField", row.field);
        StandIns::SetResult("StoreFolder_SelectItem", row.identifier);
        StandIns::ClearCalls();
        const Written rule = TakeStoredRule();
        EXPECT_EQ(row.opened, rule.result) << row.calls;
        EXPECT_EQ(row.isNull, rule.isNull) << row.calls;
        EXPECT_EQ(row.text, rule.text) << row.calls;
        EXPECT_EQ(row.size, rule.length) << row.calls;
        EXPECT_EQ(row.calls, StandIns::Calls(kModule));
    }
}

TEST(StoreItemWithoutProvider, IsAnItemWithoutProperties) {
    testing::ScratchRegistry registry;
    ItemPropertyContainer nothing;
    EXPECT_EQ(EventText(nothing), TakeItemText(WriteEventText).text);
    EXPECT_EQ(0, TakeStoredRule().result);
}

TEST(CalendarFieldsOfFileTimes, AreTheSystemsOwn) {
    std::mt19937_64 random(20240305);
    std::vector<std::uint64_t> fileTimes = {0, 1, 0x7FFF'FFFF'FFFF'FFFF, 0x8000'0000'0000'0000,
                                            0xFFFF'FFFF'FFFF'FFFF};
    for (int count = 0; count < 20000; ++count) fileTimes.push_back(random() >> (count % 20));
    for (const std::uint64_t fileTime : fileTimes) {
        FILETIME parts{static_cast<DWORD>(fileTime), static_cast<DWORD>(fileTime >> 32)};
        SYSTEMTIME time{};
        std::optional<CalendarFields> expected;
        if (FileTimeToSystemTime(&parts, &time) != FALSE) {
            expected = CalendarFields{time.wYear, time.wMonth,  time.wDay,
                                      time.wHour, time.wMinute, time.wSecond};
        }
        ASSERT_EQ(expected, FieldsOfFileTime(fileTime)) << fileTime;
    }
}

}  // namespace
}  // namespace tarnwick
