#include <gtest/gtest.h>

#include "remote/AdminProtocol.h"

namespace tarnwick {
namespace {

TEST(AdminProtocol, MessagesAreTheseBytes) {
    EXPECT_EQ(AuthMessage("PLAIN", "user:pass"),
              "<DATA><METHOD>AUTH</METHOD><PROTOCOL>PLAIN</PROTOCOL>"
              "<CREDENTIALS>user:pass</CREDENTIALS><REALM></REALM>"
              "<Library>TWAIAU.DLL</Library></DATA>");
    EXPECT_EQ(LoadMessage("TWAICP.DLL"),
              "<DATA><METHOD>LOAD</METHOD><LIBRARY>TWAICP.DLL</LIBRARY></DATA>");
    EXPECT_EQ(kPingMessage, "<DATA><METHOD>PING</METHOD></DATA>");
    EXPECT_EQ(kQuitMessage, "<DATA><METHOD>QUIT</METHOD></DATA>");
}

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
        {"", false},
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
    const struct {
        const char* path;
        bool own;
    } cases[] = {
        {"TWSERV.EXE", true},
        {"twserv.exe", true},
        {"TW.EXE", true},
        {"TW.exe", true},
        {"tW\\sub\\any.Exe", true},
        {"C:\\TW\\TWSERV.EXE", false},
        {"\\\\?\\TWSERV.EXE", false},
        {"TWSERV.EXE.EXE", false},
        {"TW1.0\\SERV.EXE", false},
        {"TWSERV.EXE ", false},
        {"TWSERV.COM", false},
        {"TWSERV", false},
        {"T.EXE", false},
        {"T", false},
        {".EXE", false},
        {"", false},
    };
    for (const auto& row : cases) EXPECT_EQ(IsOwnProgram(row.path), row.own) << row.path;
}

}  // namespace
}  // namespace tarnwick
