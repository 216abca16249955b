#include "common/Waits.h"

#include <atomic>
#include <ctime>

#include "common/Handle.h"

namespace tarnwick {
namespace {

std::atomic<Sleeper*> installedSleeper{nullptr};

// The time since its making, by clock(). Where that stands still (it gives -1 in a process older
// than it can count) the system's coarser ticks count.
class Stopwatch {
  public:
    std::uint32_t Milliseconds() const {
        const auto byClock =
            static_cast<std::uint32_t>((std::clock() - clock_) * 1000 / CLOCKS_PER_SEC);
        return byClock != 0 ? byClock : static_cast<std::uint32_t>(GetTickCount64() - ticks_);
    }

  private:
    std::clock_t clock_ = std::clock();
    ULONGLONG ticks_ = GetTickCount64();
};

// Dispatches what waits in the queue; a window that always has something to paint ends with the
// time, not with the queue.
void DispatchMessagesUntil(const Stopwatch& watch, std::uint32_t milliseconds) {
    MSG message;
    while (watch.Milliseconds() < milliseconds &&
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
    const Stopwatch watch;
    if (Sleeper* sleeper = installedSleeper) {
        sleeper->Sleep(milliseconds);
        DispatchMessagesUntil(watch, milliseconds);
        return;
    }
    // Nobody signals the event: it only lets the wait end early for a message.
    const ObjectHandle never(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    const HANDLE handle = never.Get();
    const DWORD handles = never.IsValid() ? 1 : 0;
    for (std::uint32_t spent = 0; spent < milliseconds; spent = watch.Milliseconds()) {
        // What was in the queue before does not end the wait, so it is dispatched first.
        DispatchMessagesUntil(watch, milliseconds);
        const DWORD ended =
            MsgWaitForMultipleObjects(handles, &handle, FALSE, milliseconds - spent, QS_ALLINPUT);
        if (ended == WAIT_TIMEOUT) return;
    }
}

}  // namespace tarnwick
