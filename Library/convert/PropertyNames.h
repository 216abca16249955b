// The names of the item properties that conversion reads and writes.
#pragma once

namespace tarnwick::property {

// Events, tasks and contacts.
inline constexpr const char* kBody = "PR_BODY";
inline constexpr const char* kSubject = "PR_SUBJECT";
inline constexpr const char* kModifiedDate = "TW_ITEM_MODIFIEDDATE";  // seconds since 1970

// Events.
inline constexpr const char* kAppointmentUid = "PR_BNP_AppointmentUID";
inline constexpr const char* kEventStart = "PR_START_DATE";
inline constexpr const char* kEventEnd = "PR_END_DATE";
inline constexpr const char* kLocation = "PR_LOCATION";

// Tasks.
inline constexpr const char* kItemId = "TW_ITEM_ID";
inline constexpr const char* kTaskStart = "PR_BNP_StartDate";
inline constexpr const char* kDueDate = "PR_BNP_DueDate";
inline constexpr const char* kSensitivity = "PR_SENSITIVITY";
inline constexpr const char* kPercentComplete = "PR_BNP_PercentComplete";  // a double
inline constexpr const char* kStatus = "PR_BNP_Status";
inline constexpr const char* kImportance = "PR_IMPORTANCE";

// Recurrence.
inline constexpr const char* kIsRecurring = "PR_BNP_IsRecurring";
inline constexpr const char* kRecurrenceType = "PR_BNP_RecurrenceType";
inline constexpr const char* kRecurrenceInterval = "PR_BNP_RecurrenceInterval";
inline constexpr const char* kRecurrenceDays = "PR_BNP_RecurrenceDayOfWeekMask";
inline constexpr const char* kRecurrenceInstance = "PR_BNP_RecurrenceInstance";
inline constexpr const char* kNoEndDate = "PR_BNP_NoEndDate";
inline constexpr const char* kOccurrences = "PR_BNP_Occurrences";
inline constexpr const char* kPatternEndDate = "PR_BNP_PatternEndDate";
inline constexpr const char* kRecurrenceDayOfMonth = "PR_BNP_RecurrenceDayOfMonth";
inline constexpr const char* kRecurrenceMonth = "PR_BNP_RecurrenceMonthOfYear";

// Contacts. The display name is read and not written.
inline constexpr const char* kDisplayName = "PR_DISPLAY_NAME";
inline constexpr const char* kSurname = "PR_SURNAME";
inline constexpr const char* kGivenName = "PR_GIVEN_NAME";
inline constexpr const char* kMiddleName = "PR_MIDDLE_NAME";
inline constexpr const char* kNamePrefix = "PR_DISPLAY_NAME_PREFIX";
inline constexpr const char* kGeneration = "PR_GENERATION";
inline constexpr const char* kNickname = "PR_NICKNAME";
inline constexpr const char* kEmailAddress = "PR_EMAIL_ADDRESS";

}  // namespace tarnwick::property
