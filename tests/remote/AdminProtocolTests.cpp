#include "remote/AdminProtocol.h"

#include <gtest/gtest.h>

namespace tarnwick {
namespace {

TEST(AdminProtocol, MessagesStayInTheirBuffer) {
    const std::string longest(kHostSettingLimit, 'x');
    EXPECT_TRUE(AuthMessage(longest, longest).ends_with("</DATA>"));
    EXPECT_EQ(LoadMessage(std::string(5000, 'x')).size(), 2047U);
}

TEST(AdminProtocol, OwnProgramsAreKnownByTheirWholePathNotTheirFileName) {
    for (const char* path : {"TWSERV.EXE", "TW.exe", "tW\\sub\\any.Exe"}) {
        EXPECT_TRUE(IsOwnProgram(path)) << path;
    }
    for (const char* path :
         {"C:\\TW\\TWSERV.EXE", "\\\\?\\TWSERV.EXE", "TWSERV.EXE.EXE", "TW1.0\\SERV.EXE",
          "TWSERV.EXE ", "TWSERV.COM", "TWSERV", "T.EXE", "T", ".EXE", ""}) {
        EXPECT_FALSE(IsOwnProgram(path)) << path;
    }
}

}  // namespace
}  // namespace tarnwick
