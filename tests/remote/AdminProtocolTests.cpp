#include <gtest/gtest.h>

#include "remote/AdminProtocol.h"

namespace tarnwick {
namespace {

TEST(AdminProtocol, MessagesStayInTheirBuffer) {
    const std::string longest(kHostSettingLimit, 'x');
    EXPECT_TRUE(AuthMessage(longest, longest).ends_with("</DATA>"));
    EXPECT_EQ(LoadMessage(std::string(5000, 'x')).size(), kControlCapacity - 1);
}

TEST(AdminProtocol, OnlyTheWholeStatusIsSuccess) {
    const struct {
        std::string reply;
        bool success;
    } cases[] = {
        {"<DATA><STATUS>SUCCESS</STATUS></DATA>", true},
        {"noise<DATA><STATUS>SUCCESS</STATUS></DATA>noise", true},
        {"<DATA><STATUS>FAILURE</STATUS></DATA>", false},
        {"<DATA><STATUS>SUCCESS</STATUS><X></X></DATA>", false},
        {"<data><status>success</status></data>", false},
        {std::string("x\0<DATA><STATUS>SUCCESS</STATUS></DATA>", 39), false},
    };
    for (const auto& row : cases) EXPECT_EQ(IsSuccessReply(row.reply), row.success) << row.reply;
    const std::string whole(kSuccessReply);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(IsSuccessReply(whole.substr(0, size))) << size;
    }
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
