// The block file that keeps writers of one calendar apart and lets readers wait, and the swap that
// puts a rewritten calendar in place. A calendar is named by its key; block files lie below the
// lock root. Waits are whole seconds, and their limits are read from the registry whenever one is
// due.
#pragma once

#include <string>

namespace tarnwick {

// Creates the block file, waiting for another's to go. False when the wait ran out: a stale block
// file stays where it is.
bool AcquireCalendarBlock(const std::string& key);

// Deletes the block file; false when there is none or it cannot be deleted.
bool ReleaseCalendarBlock(const std::string& key);

// Waits as long as there is a block file, and deletes it once that took too long. False from the
// first time on that any reader of the process had to do so.
bool WaitForCalendarUnblocked(const std::string& key);

// Whether any block file has been seen, this calendar's or, for the life of the process, another's.
bool IsCalendarBlocked(const std::string& key);

// Keeps the calendar as backup, puts the replacement in its place and releases the block. A
// calendar that cannot be deleted stays as it is and the replacement is lost; without a replacement
// the content survives in the backup alone. Memory that runs short does so before anything is
// changed.
void ApplyCalendarUpdate(const std::string& key);

// A writer's hold on a calendar: from its making to the swap, or to the end of its life, also when
// that comes because memory is short. Letting go needs none.
class CalendarBlock {
  public:
    explicit CalendarBlock(const std::string& key);
    CalendarBlock(const CalendarBlock&) = delete;
    CalendarBlock& operator=(const CalendarBlock&) = delete;
    ~CalendarBlock();

    bool IsHeld() const { return held_; }
    // Swaps the replacement in and lets go.
    void Apply() {
        ApplyCalendarUpdate(key_);
        held_ = false;
    }

  private:
    std::string key_;
    std::string path_;
    bool held_;
};

}  // namespace tarnwick
