/* The calendar provider TWAICP.DLL: everything its callers need, for C and C++.
 *
 * Records are owned by the caller, read by every function and written by those that fetch or
 * enumerate. Text fields hold 8-bit text in the system code page, terminated by a NUL within the
 * field. Integers are little-endian. Times are signed seconds since 1970-01-01 00:00 UTC.
 *
 * Results are 1 (done) or 0 (refused, not found or failed), but where a function says otherwise.
 * A null record gives 0 whatever the function says, and so does memory that runs short: on this
 * machine records and files are then as they were. No function throws, and none reports why it
 * failed.
 *
 * Waiting: a calendar that somebody else is writing makes a call wait, in steps of a second, for as
 * long as the registry says: by default 61 seconds before a reader takes the block file away, 81
 * before a writer gives up, and 81 more, with a line on standard output, where the mail root begins
 * with a drive letter.
 *
 * Threads: every function may be called from any thread at any time. The position of an enumeration
 * belongs to the calling thread; the read offset of item chunks belongs to the process.
 */
#ifndef TWAICP_H
#define TWAICP_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifdef TWAICP_BUILDING
#define TWAICP_API
#else
#define TWAICP_API __declspec(dllimport)
#endif

enum {
    TWAICP_NAME_SIZE = 256,
    TWAICP_ID_SIZE = 64,
    TWAICP_PREFIX_SIZE = 68,
    TWAICP_CHUNK_SIZE = 8192
};

/* One calendar entry, and where it lies: 648 bytes. */
typedef struct AppointmentRecord {
    char mailbox[TWAICP_NAME_SIZE];
    char postoffice[TWAICP_NAME_SIZE];  /* empty: every operation fails */
    int32_t start;                      /* seconds since 1970-01-01 00:00 UTC */
    int32_t end;                        /* the same; never compared with start */
    char appointmentId[TWAICP_ID_SIZE]; /* compared without regard to case; empty means any entry */
    char calendarName[TWAICP_ID_SIZE];  /* file name of the calendar without ".CAL" */
} AppointmentRecord;

/* A chunk of an appointment's item file: 8772 bytes. */
typedef struct AppointmentItemRecord {
    char mailbox[TWAICP_NAME_SIZE];
    char postoffice[TWAICP_NAME_SIZE];
    char itemFileName[TWAICP_ID_SIZE]; /* within the mailbox's Calendar folder, with extension */
    char data[TWAICP_CHUNK_SIZE];      /* written: text up to its first NUL; read: raw bytes */
    int32_t length;                    /* bytes in data; set by reads and writes */
} AppointmentItemRecord;

/* The days of a period that have a calendar of their own: 8776 bytes. */
typedef struct FreeBusyRecord {
    char mailbox[TWAICP_NAME_SIZE];
    char postoffice[TWAICP_NAME_SIZE];
    char namePrefix[TWAICP_PREFIX_SIZE]; /* beginning of the calendar names, e.g. "Y11M08" */
    char result[TWAICP_CHUNK_SIZE];      /* comma-separated day numbers, e.g. "03,15" */
    int32_t resultLength; /* bytes of result; left as it was when nothing was found */
} FreeBusyRecord;

/* Adds an entry at the end of its calendar, which is created when missing. 0 when an entry with
 * that ID exists; so also for an empty ID in a calendar that holds any entry. */
TWAICP_API uint32_t AppointmentAdd(AppointmentRecord* record);

/* Gives every entry with the key record's ID the start, end and ID of the new record, in the key
 * record's calendar. 1 once the calendar could be opened, also when nothing matched. */
TWAICP_API uint32_t AppointmentEdit(AppointmentRecord* key, AppointmentRecord* replacement);

/* Removes every entry with the record's ID (all, when it is empty); the calendar file goes with its
 * last entry. 1 when at least one was removed. */
TWAICP_API uint32_t AppointmentRemove(AppointmentRecord* record);

/* Fills the record from the last entry with its ID. */
TWAICP_API uint32_t AppointmentGet(AppointmentRecord* record);

/* Enumerates the entries that match the record's ID, filling the record; 0 at the end. A match
 * overwrites the ID, so clear it before each call to see every entry. One enumeration a thread. */
TWAICP_API uint32_t AppointmentFindFirst(AppointmentRecord* record);
TWAICP_API uint32_t AppointmentFindNext(AppointmentRecord* record);

/* Always 0. */
TWAICP_API uint32_t AppointmentGetLastError(void);

/* Writes the data field up to its first NUL into the item file, replacing it (first) or at its end
 * (next), and stores that length in the record. 1, also when the file could not be opened. On a
 * chosen server both append, and the record stays as it was. */
TWAICP_API uint32_t AppointmentItemWriteFirstChunk(AppointmentItemRecord* record);
TWAICP_API uint32_t AppointmentItemWriteNextChunk(AppointmentItemRecord* record);

/* Reads up to 8192 bytes from the beginning (first) or from one byte behind the last chunk (next:
 * the byte between two chunks is skipped). 0 when nothing was read. */
TWAICP_API uint32_t AppointmentItemGetFirstChunk(AppointmentItemRecord* record);
TWAICP_API uint32_t AppointmentItemGetNextChunk(AppointmentItemRecord* record);

/* Stores the low 32 bits of the file's last-access time in the record's length, 0 when there is no
 * such file, and resets the read offset to -1. Always 0. */
TWAICP_API uint32_t AppointmentItemGetSize(AppointmentItemRecord* record);

/* The read offset of this process; -1 before the first chunk. A server's reads do not move it. */
TWAICP_API int32_t AppointmentItemGetCurrentOffset(void);

/* Deletes the item file. Always 1. */
TWAICP_API uint32_t AppointmentItemDelete(AppointmentItemRecord* record);

/* Lists the day numbers of the calendars whose names begin with the prefix and hold a "D".
 * Always 1. */
TWAICP_API uint32_t GetFreeBusyData(FreeBusyRecord* record);

/* Kept for callers; they do nothing and give 0. */
TWAICP_API uint32_t AppointmentListItemFindFirst(void* first, void* second);
TWAICP_API uint32_t AppointmentListItemFindNext(void* first, void* second);
TWAICP_API uint32_t AppointmentListItemFindClose(void* handle);

/* Chooses the server, a name under the Hosts key of the registry, on which later calls run; an
 * empty name means this machine. Always 1; the next call connects. With a server chosen
 * - Add, Edit, Remove, Get, FindFirst and FindNext run there, and so do the functions that write,
 *   read and measure items: one call at a time, 0 when the server cannot be reached;
 * - their record comes back as the server left it, but Edit's and the chunk writers' stay as they
 *   were; the position of an enumeration and the read offset of items are the server's;
 * - AppointmentItemDelete, AppointmentItemGetCurrentOffset, GetFreeBusyData,
 * AppointmentGetLastError and the AppointmentListItem functions stay with this machine. */
TWAICP_API uint32_t SetCurrentHost(const char* host);

#ifdef __cplusplus
} /* extern "C" */
#define TWAICP_ASSERT(condition) static_assert(condition, #condition)
#else
#define TWAICP_ASSERT(condition) _Static_assert(condition, #condition)
#endif

TWAICP_ASSERT(sizeof(AppointmentRecord) == 648);
TWAICP_ASSERT(offsetof(AppointmentRecord, mailbox) == 0);
TWAICP_ASSERT(offsetof(AppointmentRecord, postoffice) == 256);
TWAICP_ASSERT(offsetof(AppointmentRecord, start) == 512);
TWAICP_ASSERT(offsetof(AppointmentRecord, end) == 516);
TWAICP_ASSERT(offsetof(AppointmentRecord, appointmentId) == 520);
TWAICP_ASSERT(offsetof(AppointmentRecord, calendarName) == 584);
TWAICP_ASSERT(sizeof(AppointmentItemRecord) == 8772);
TWAICP_ASSERT(offsetof(AppointmentItemRecord, mailbox) == 0);
TWAICP_ASSERT(offsetof(AppointmentItemRecord, postoffice) == 256);
TWAICP_ASSERT(offsetof(AppointmentItemRecord, itemFileName) == 512);
TWAICP_ASSERT(offsetof(AppointmentItemRecord, data) == 576);
TWAICP_ASSERT(offsetof(AppointmentItemRecord, length) == 8768);
TWAICP_ASSERT(sizeof(FreeBusyRecord) == 8776);
TWAICP_ASSERT(offsetof(FreeBusyRecord, mailbox) == 0);
TWAICP_ASSERT(offsetof(FreeBusyRecord, postoffice) == 256);
TWAICP_ASSERT(offsetof(FreeBusyRecord, namePrefix) == 512);
TWAICP_ASSERT(offsetof(FreeBusyRecord, result) == 580);
TWAICP_ASSERT(offsetof(FreeBusyRecord, resultLength) == 8772);

#endif
