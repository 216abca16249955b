// The exported functions: each refuses a missing record and runs on the chosen server or here.
#include "provider/AppointmentItems.h"
#include "provider/Appointments.h"
#include "provider/FreeBusy.h"
#include "provider/HereOrRemote.h"
#include "provider/ModuleState.h"
#include "remote/RemoteSession.h"
#include "twaicp.h"

namespace {

using namespace tarnwick;

// What of a server's reply is taken beside the result. Edit and the chunk writers take no record,
// whatever is in it: kept for compatibility, a caller's record stays as it was.
enum class Reply { ResultOnly, Records };

// The body of every export with records, and the one place where exceptions end: callers are C
// programs.
template <typename Body, typename... Records>
std::uint32_t Guarded(Body body, Records*... records) noexcept try {
    if ((... || (records == nullptr))) return 0;
    return body(*records...);
} catch (...) {
    return 0;
}

// Runs `function` on the chosen server, or `local` here.
template <typename Local, typename... Records>
std::uint32_t Run(const char* function, Reply reply, Local local, Records*... records) {
    return Guarded(
        [&](Records&... present) {
            return HereOrRemote(function, {Parameter(present, reply == Reply::Records)...},
                                [&] { return local(present...); });
        },
        records...);
}

}  // namespace

std::uint32_t AppointmentAdd(AppointmentRecord* record) {
    return Run("AppointmentAdd", Reply::Records, AddAppointment, record);
}

std::uint32_t AppointmentEdit(AppointmentRecord* key, AppointmentRecord* replacement) {
    return Run("AppointmentEdit", Reply::ResultOnly, EditAppointment, key, replacement);
}

std::uint32_t AppointmentRemove(AppointmentRecord* record) {
    return Run("AppointmentRemove", Reply::Records, RemoveAppointment, record);
}

std::uint32_t AppointmentGet(AppointmentRecord* record) {
    return Run("AppointmentGet", Reply::Records, GetAppointment, record);
}

// On a server the enumeration's position is the server's; this thread's stays for the time when it
// works here again.
std::uint32_t AppointmentFindFirst(AppointmentRecord* record) {
    return Run("AppointmentFindFirst", Reply::Records, FindFirstAppointment, record);
}

std::uint32_t AppointmentFindNext(AppointmentRecord* record) {
    return Run("AppointmentFindNext", Reply::Records, FindNextAppointment, record);
}

std::uint32_t AppointmentGetLastError() {
    // No failure is kept anywhere; callers have always been given 0.
    return 0;
}

std::uint32_t AppointmentItemWriteFirstChunk(AppointmentItemRecord* record) {
    // Kept: servers have always been asked for the next chunk's function here, and append the
    // chunk.
    return Run("AppointmentItemWriteNextChunk", Reply::ResultOnly, WriteFirstItemChunk, record);
}

std::uint32_t AppointmentItemWriteNextChunk(AppointmentItemRecord* record) {
    return Run("AppointmentItemWriteNextChunk", Reply::ResultOnly, WriteNextItemChunk, record);
}

std::uint32_t AppointmentItemGetFirstChunk(AppointmentItemRecord* record) {
    return Run("AppointmentItemGetFirstChunk", Reply::Records, ReadFirstItemChunk, record);
}

std::uint32_t AppointmentItemGetNextChunk(AppointmentItemRecord* record) {
    return Run("AppointmentItemGetNextChunk", Reply::Records, ReadNextItemChunk, record);
}

std::uint32_t AppointmentItemGetSize(AppointmentItemRecord* record) {
    return Run("AppointmentItemGetSize", Reply::Records, StoreItemSize, record);
}

std::int32_t AppointmentItemGetCurrentOffset() {
    return Shared().itemReadOffset;
}

// With a server chosen, too, this and those below work here: kept for compatibility.
std::uint32_t AppointmentItemDelete(AppointmentItemRecord* record) {
    return Guarded(DeleteItem, record);
}

std::uint32_t GetFreeBusyData(FreeBusyRecord* record) {
    return Guarded(ScanFreeBusy, record);
}

std::uint32_t AppointmentListItemFindFirst(void* /*first*/, void* /*second*/) {
    return 0;
}

std::uint32_t AppointmentListItemFindNext(void* /*first*/, void* /*second*/) {
    return 0;
}

std::uint32_t AppointmentListItemFindClose(void* /*handle*/) {
    return 0;
}

std::uint32_t SetCurrentHost(const char* host) {
    return Guarded(
        [](const char& text) {
            tarnwick::SetCurrentHost(&text);
            return 1U;
        },
        host);
}
