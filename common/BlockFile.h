// Waiting for a block file: whoever manages to create it holds what it guards, until it is deleted.
// The system has several such locks with one loop and different rules.
#pragma once

#include <cstdint>
#include <string>

#include "common/Files.h"
#include "common/Waits.h"

namespace tarnwick {

// What a rule wants after a wait.
enum class BlockVerdict {
    TryAgain,
    StartOver,  // try again and count the waits from 0
    TryLast,    // try once more and take that for the outcome
    GiveUp,
};

// Creates the block file, or waits for the one that is there in cycles of one second. The result
// is open when the block is held. `rule` says how long and at what cost:
//   bool MayWait(DWORD error, std::uint32_t waits)              before each wait; false gives up
//   BlockVerdict AfterWait(DWORD error, std::uint32_t waits)    after it; counted from 1
// where `error` is why the file could not be created.
template <typename Rule>
File WaitForBlockFile(const std::string& path, Rule& rule) {
    for (std::uint32_t waits = 0;;) {
        File file(path, kCreateBlockFile);
        const DWORD error = GetLastError();
        if (file.IsOpen() || !rule.MayWait(error, waits)) return file;
        WaitMilliseconds(kPollMilliseconds);
        switch (rule.AfterWait(error, ++waits)) {
            case BlockVerdict::TryAgain:
                break;
            case BlockVerdict::StartOver:
                waits = 0;
                break;
            case BlockVerdict::TryLast:
                return File(path, kCreateBlockFile);
            case BlockVerdict::GiveUp:
                return {};
        }
    }
}

}  // namespace tarnwick
