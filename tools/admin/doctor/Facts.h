// What is found of a machine's settings and surroundings, before it is judged.
#pragma once

#include <string>
#include <vector>

#include "tools/admin/doctor/Machine.h"
#include "tools/admin/doctor/Settings.h"
#include "tools/admin/doctor/WaitTimes.h"
#include "tools/admin/HostEntries.h"

namespace tarnwick::admin {

struct HostState {
    std::string name;
    std::string address;  // with the port
    TestStep last;        // the step that failed, or the last of all
};

struct Facts {
    std::vector<EffectiveSetting> settings;  // those of each host at the end
    bool rootIsGiven = false;                // by the command line
    std::string root;                        // empty: nothing names one
    std::string wholeRoot;                   // from its drive on
    FolderState rootFolder;
    bool hasPostoffice = false;
    FolderState programFolder;  // of the modules that are loaded at run time
    std::vector<WaitTime> waits;
    LibraryState library;
    ClockState clock;
    std::vector<HostState> hosts;
};

// `root`: the folder of postoffices that the command line names; empty: the registry's.
Facts GatherFacts(const std::string& root);

// A setting as people are shown it.
struct ShownSetting {
    const char* name;
    std::string key;     // "HKLM\\SOFTWARE\\..."
    std::string source;  // "registry", "default", "default, unreadable" or "--root"
    std::string value;
    std::string unit;  // behind the value, its blank included
};
// Settings of one key stand together.
std::vector<ShownSetting> ShownSettings(const Facts& facts);

}  // namespace tarnwick::admin
