// Attachments read back by a MIME parser that was not written here.
#include <gtest/gtest.h>

#include <unistd.h>
#include <cstdlib>

#include "tests/Library/activity/messages/StreamFixtures.h"
#include "tests/support/SharedData.h"

namespace tarnwick {
namespace {

using testing::OnDisk;
using testing::TextSink;
using testing::TextSource;
using testing::WriteBytes;

constexpr AttachmentRecord kPart{"<a@b>", "all bytes.bin", "application/x-data", nullptr,
                                 "attachment"};

std::string AllBytes(std::size_t size) {
    std::string data;
    for (std::size_t at = 0; at < size; ++at) data += static_cast<char>(at * 7 + at / 256);
    return data;
}

void ExpectReadBack(const std::string& message, const std::string& data, const std::string& name) {
    const auto folder =
        std::filesystem::temp_directory_path() / ("tarnwick-" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    TextSource source(message, 1000);
    TextSink sink;
    EXPECT_TRUE(CopyWithAttachment(source, kPart, data, std::string(32, 'F'), sink)) << name;
    WriteBytes(folder / "old", message);
    WriteBytes(folder / "new", sink.text);
    WriteBytes(folder / "data", data);
    const std::string at = " '" + folder.string() + "/";
    const std::string command = "python3 '" TARNWICK_SOURCE_DIR
                                "/tests/Library/activity/messages/ReadAttachmentBack.py'" +
                                at + "old'" + at + "new'" + at + "data' 'all bytes.bin'";
    EXPECT_EQ(std::system(command.c_str()), 0) << name << "\n" << sink.text.substr(0, 3000);
    std::filesystem::remove_all(folder);
}

TEST(ReadAttachmentBack, AfterNestedPartsAndThoseOfRealMessages) {
    const std::string message = OnDisk(
        "From: a@b\nMIME-Version: 1.0\nContent-Type: multipart/mixed;\n\tboundary=\"outer\"\n\n"
        "preamble\n--outer\nContent-Type: multipart/alternative;\n boundary=\"in\"\n\n"
        "--in\nContent-Type: text/plain\n\nplain\n--in\nContent-Type: text/html\n\n<b>html</b>\n"
        "--in--\n\n--outer\nContent-Type: text/plain; charset=iso-8859-1\n"
        "Content-Transfer-Encoding: 8bit\n\nna\xEFve\n--outer--\nepilogue\n");
    // Around a line of base64, and around what is encoded at a time.
    for (const std::size_t size : {0U, 1U, 57U, 58U, 29183U, 29184U, 29185U, 100000U}) {
        ExpectReadBack(message, AllBytes(size), std::to_string(size) + " bytes");
    }
    // Real ones where there are some, with the boundary on a line of its own as most programs fold
    // it.
    const auto folder = testing::SharedDataFolder("messages");
    if (!std::filesystem::exists(folder)) return;
    for (const char* name :
         {"msg_02.txt", "msg_04.txt", "msg_07.txt", "msg_10.txt", "msg_21.txt"}) {
        std::string real = testing::ReadBytes(folder / name);
        const std::string unfolded = "multipart/mixed; boundary=";
        const std::size_t at = real.find(unfolded);
        ASSERT_NE(at, std::string::npos) << name;
        real.replace(at, unfolded.size(), "multipart/mixed;\n\tboundary=");
        ExpectReadBack(OnDisk(real), AllBytes(5000), name);
    }
}

}  // namespace
}  // namespace tarnwick
