// Store folders, their settings and their index files for the tests of this folder.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "common/Registry.h"
#include "Library/FolderIndex.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick::testing {

inline void SetProduct(const char* value, std::uint32_t number) {
    ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, value, number);
}

struct FolderSettings {
    bool streamLoads = true, streamSaves = true;
    bool backups = false, calendarsAlways = false, oldFormat = true;
};

// Settings are read once a process, so each test that uses some runs alone in one (IsAlone).
inline void Use(const FolderSettings& settings) {
    SetProduct("Use XML Stream Index Deserialisation", settings.streamLoads ? 1 : 0);
    SetProduct("Use XML Stream Index Serialisation", settings.streamSaves ? 1 : 2);
    SetProduct("Backup Index", settings.backups ? 1 : 0);
    SetProduct("Calendar ReIndex Mode", settings.calendarsAlways ? 7 : 0);
    SetProduct("MSXML Index Serialisation Produces Old Format", settings.oldFormat ? 1 : 0);
}

// True in a process that runs the calling test alone; in any other the test runs again in such a
// one.
inline bool IsAlone() {
    const ::testing::UnitTest& program = *::testing::UnitTest::GetInstance();
    if (program.test_to_run_count() == 1) return true;
    const ::testing::TestInfo& test = *program.current_test_info();
    EXPECT_EQ(RunSelf(std::string(test.test_suite_name()) + "." + test.name(), {}), 0U);
    return false;
}

inline std::string EntryText(const std::string& id, int uid, const std::string& properties = "") {
    return "<ELEMENT ID=\"" + id + "\" UID=\"" + std::to_string(uid) + "\">" + properties +
           "</ELEMENT>";
}

inline std::string IndexText(const std::string& lastUid, const std::string& entries) {
    return "<BASEELEMENT LASTUID=\"" + lastUid + "\">" + entries + "</BASEELEMENT>\r\n";
}

// "ID:UID[NAME=VALUE,...] ..." in UID order.
inline std::string Describe(const StoreIndex& index) {
    std::string text;
    for (const StoreIndex::Entry& entry : index.InUidOrder()) {
        text += std::string(entry.Id()) + ":" + std::to_string(entry.Uid());
        for (std::size_t at = 0; at < entry.PropertyCount(); ++at) {
            text += (at == 0 ? "[" : ",") + std::string(entry.Names().Name(at)) + "=" +
                    std::string(entry.Value(at));
        }
        text += entry.PropertyCount() == 0 ? " " : "] ";
    }
    return text;
}

inline FolderIndex IndexOf(const std::string& folder, std::uint32_t folderType = 0) {
    FolderIndex index;
    index.folder = folder;
    index.folderType = static_cast<FolderType>(folderType);
    return index;
}

}  // namespace tarnwick::testing
