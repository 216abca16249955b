// What the tool's doctor sees of the machine: folders, the library beside the tool, the clock.
#pragma once

#include <cstdint>
#include <string>

namespace tarnwick::admin {

// The whole path; the text as it stands when it cannot be one.
std::string WholePathOf(const std::string& path);

struct FolderState {
    std::string path;
    bool isThere = false;
    bool isWritable = false;  // tried with a file that goes when it is closed
    bool isShared = false;    // on another machine
};
FolderState LookAtFolder(const std::string& path);
// "is there, writable"
std::string StateText(const FolderState& folder);
// Whether a folder below it has a MAILROOT of its own.
bool HasPostoffice(const std::string& root);

struct LibraryState {
    std::string path;     // empty: there is none
    std::string version;  // "1.0.0"; empty when it names none
    std::string fault;    // why it cannot be used; empty when it can
    bool isBesideTool = false;
};
// Loads the library, as every command does.
LibraryState LookAtLibrary();

struct ClockState {
    std::int64_t unixTime = 0;
    std::string zone;              // the machine's name for it
    std::int32_t biasMinutes = 0;  // UTC less local time, now
};
ClockState LookAtClock();

}  // namespace tarnwick::admin
