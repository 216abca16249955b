#include "common/Waits.h"

#include <atomic>
#include <ctime>

#include "common/Handle.h"

namespace tarnwick {
namespace {

std::atomic<Sleeper*> installedSleeper{nullptr};

std::uint32_t MillisecondsSince(std::clock_t start) {
    return static_cast<std::uint32_t>((std::clock() - start) * 1000 / CLOCKS_PER_SEC);
}

// Dispatches what waits in the queue; a window that always has something to paint ends with the
// time, not with the queue.
void DispatchMessagesUntil(std::clock_t start, std::uint32_t milliseconds) {
    MSG message;
    while (MillisecondsSince(start) < milliseconds &&
           PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
        TranslateMessage(&message);
        DispatchMessageA(&message);
    }
}

}  // namespace

void SetSleeper(Sleeper* sleeper) {
    installedSleeper = sleeper;
}

void WaitMilliseconds(std::uint32_t milliseconds) {
    if (Sleeper* sleeper = installedSleeper) {
        sleeper->Sleep(milliseconds);
    } else {
        Sleep(milliseconds);
    }
}

void WaitDispatchingMessages(std::uint32_t milliseconds) {
    const std::clock_t start = std::clock();
    if (Sleeper* sleeper = installedSleeper) {
        sleeper->Sleep(milliseconds);
        DispatchMessagesUntil(start, milliseconds);
        return;
    }
    // Nobody signals the event: it only lets the wait end early for a message.
    const ObjectHandle never(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    const HANDLE handle = never.Get();
    const DWORD handles = never.IsValid() ? 1 : 0;
    for (std::uint32_t spent = 0; spent < milliseconds; spent = MillisecondsSince(start)) {
        // What was in the queue before does not end the wait, so it is dispatched first.
        DispatchMessagesUntil(start, milliseconds);
        MsgWaitForMultipleObjects(handles, &handle, FALSE, milliseconds - spent, QS_ALLINPUT);
    }
}

}  // namespace tarnwick
