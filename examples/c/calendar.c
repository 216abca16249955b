/* Adds an entry to a calendar, lists the calendar and removes the entry again.
 *
 *   calendar.exe POSTOFFICE MAILBOX
 *
 * The mail root is the registry's "Mail Root" under
 * HKLM\SOFTWARE\Wow6432Node\Tarnwick\Tarnwick; the mailbox's folder must exist below it. */
#include <stdio.h>
#include <string.h>
#include <twaicp.h>

/* A record for a calendar of the mailbox; no ID means any entry. */
static AppointmentRecord calendar_of(const char* postoffice, const char* mailbox) {
    AppointmentRecord record;
    memset(&record, 0, sizeof record);
    strncpy(record.postoffice, postoffice, sizeof record.postoffice - 1);
    strncpy(record.mailbox, mailbox, sizeof record.mailbox - 1);
    strncpy(record.calendarName, "Y11M08D03", sizeof record.calendarName - 1);
    return record;
}

static void list(AppointmentRecord record) {
    uint32_t found = AppointmentFindFirst(&record);
    while (found) {
        printf("%ld to %ld: %s\n", (long)record.start, (long)record.end, record.appointmentId);
        /* A match leaves its ID in the record; cleared, the next entry is any again. */
        record.appointmentId[0] = '\0';
        found = AppointmentFindNext(&record);
    }
}

int main(int count, char** arguments) {
    AppointmentRecord record;
    if (count != 3) {
        fprintf(stderr, "usage: calendar POSTOFFICE MAILBOX\n");
        return 2;
    }
    record = calendar_of(arguments[1], arguments[2]);
    record.start = 1312365600; /* 2011-08-03 10:00 UTC */
    record.end = record.start + 3600;
    strcpy(record.appointmentId, "example-1");
    if (!AppointmentAdd(&record)) {
        fprintf(stderr, "the entry was not added: is it there already, and the folder?\n");
        return 1;
    }
    list(calendar_of(arguments[1], arguments[2]));
    return AppointmentRemove(&record) ? 0 : 1;
}
