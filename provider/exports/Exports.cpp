// The exported functions: each refuses a missing record and runs on the chosen server or here.
#include "provider/HereOrRemote.h"
#include "provider/ModuleState.h"
#include "provider/Operations.h"
#include "remote/RemoteSession.h"
#include "twaicp.h"

namespace {

using namespace tarnwick;

// An operation that always ends alike.
template <auto operation, bool result>
constexpr auto Always = [](auto& record) {
    operation(record);
    return result;
};

// The body of every export with records, and the one place where exceptions end: callers are C
// programs.
template <typename Body, typename... Records>
std::uint32_t Guarded(Body body, Records*... records) noexcept try {
    if ((... || (records == nullptr))) return 0;
    return body(*records...);
} catch (...) {
    return 0;
}

// Runs `function` on the chosen server, or `local` here. Edit and the chunk writers take no record
// back, whatever is in the reply: kept for compatibility, a caller's record stays as it was.
template <typename Local, typename... Records>
std::uint32_t Run(const char* function, Transfer transfer, Local local, Records*... records) {
    return Guarded(
        [&](Records&... present) {
            return HereOrRemote(function, {Parameter(present, transfer)...},
                                [&] { return local(present...); });
        },
        records...);
}

}  // namespace

std::uint32_t AppointmentAdd(AppointmentRecord* record) {
    return Run("AppointmentAdd", Transfer::CopiedBack, AddAppointment, record);
}

std::uint32_t AppointmentEdit(AppointmentRecord* key, AppointmentRecord* replacement) {
    return Run("AppointmentEdit", Transfer::SentOnly, EditAppointment, key, replacement);
}

std::uint32_t AppointmentRemove(AppointmentRecord* record) {
    return Run("AppointmentRemove", Transfer::CopiedBack, RemoveAppointment, record);
}

std::uint32_t AppointmentGet(AppointmentRecord* record) {
    return Run("AppointmentGet", Transfer::CopiedBack, GetAppointment, record);
}

// On a server the enumeration's position is the server's; this thread's stays for the time when it
// works here again.
std::uint32_t AppointmentFindFirst(AppointmentRecord* record) {
    return Run("AppointmentFindFirst", Transfer::CopiedBack, FindFirstAppointment, record);
}

std::uint32_t AppointmentFindNext(AppointmentRecord* record) {
    return Run("AppointmentFindNext", Transfer::CopiedBack, FindNextAppointment, record);
}

std::uint32_t AppointmentGetLastError() {
    // No failure is kept anywhere; callers have always been given 0.
    return 0;
}

std::uint32_t AppointmentItemWriteFirstChunk(AppointmentItemRecord* record) {
    // Kept: servers have always been asked for the next chunk's function here, and append the
    // chunk.
    return Run("AppointmentItemWriteNextChunk", Transfer::SentOnly,
               Always<WriteFirstItemChunk, true>, record);
}

std::uint32_t AppointmentItemWriteNextChunk(AppointmentItemRecord* record) {
    return Run("AppointmentItemWriteNextChunk", Transfer::SentOnly,
               Always<WriteNextItemChunk, true>, record);
}

std::uint32_t AppointmentItemGetFirstChunk(AppointmentItemRecord* record) {
    return Run("AppointmentItemGetFirstChunk", Transfer::CopiedBack, ReadFirstItemChunk, record);
}

std::uint32_t AppointmentItemGetNextChunk(AppointmentItemRecord* record) {
    return Run("AppointmentItemGetNextChunk", Transfer::CopiedBack, ReadNextItemChunk, record);
}

std::uint32_t AppointmentItemGetSize(AppointmentItemRecord* record) {
    return Run("AppointmentItemGetSize", Transfer::CopiedBack, Always<StoreItemSize, false>,
               record);
}

std::int32_t AppointmentItemGetCurrentOffset() {
    return Shared().itemReadOffset;
}

// With a server chosen, too, this and those below work here: kept for compatibility.
std::uint32_t AppointmentItemDelete(AppointmentItemRecord* record) {
    return Guarded(Always<DeleteItem, true>, record);
}

std::uint32_t GetFreeBusyData(FreeBusyRecord* record) {
    return Guarded(Always<ScanFreeBusy, true>, record);
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
