// What the tests of the activity file share.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "common/Registry.h"
#include "Library/activity/StoreSettings.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick::testing {

inline std::string OwnHost() {
    char name[256] = {};
    DWORD length = sizeof name;
    GetComputerNameA(name, &length);
    return name;
}

// DOS date and time of the file's last write by its directory entry; 0 without a file.
inline std::uint32_t StampOnDisk(const std::string& path) {
    WIN32_FIND_DATAA found;
    const HANDLE search = FindFirstFileA(path.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return 0;
    FindClose(search);
    WORD date = 0;
    WORD time = 0;
    FileTimeToDosDateTime(&found.ftLastWriteTime, &date, &time);
    return (static_cast<std::uint32_t>(date) << 16) | time;
}

// A postoffice of its own with a mailbox "BOB". All of a process lie in one mail root, which is
// read once, as is whether there are public folders.
class Postoffice {
  public:
    explicit Postoffice(bool hasPublicFolders = true) {
        static const ScratchFolder root;
        static int count = 0;
        name_ = "PO" + std::to_string(++count);
        const ScratchRegistry registry;
        ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root", root.Path());
        if (!hasPublicFolders) {
            ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "Public Folders Enabled", 0);
        }
        ArePublicFoldersEnabled();
        directory_ = root.Path(name_);
        EXPECT_EQ(PostofficeDirectory(name_), directory_);
        MakePath(In("MAILROOT\\BOB\\Inbox"));
    }
    const std::string& Name() const { return name_; }
    std::string In(const std::string& path) const { return directory_ + "\\" + path; }

  private:
    std::string name_;
    std::string directory_;
};

}  // namespace tarnwick::testing
