// Messages in memory as streams: cut anywhere, and read back by a MIME parser that was not written
// here.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "common/TextFile.h"
#include "Library/activity/messages/AttachmentWriter.h"
#include "tests/support/AllTexts.h"
#include "tests/support/SharedData.h"

namespace tarnwick {
namespace {

// Hands out a text in reads of at most `chunk` bytes.
struct TextSource : ByteSource {
    TextSource(std::string_view text, std::size_t most) : rest(text), chunk(most) {}
    std::optional<std::size_t> Read(std::span<char> bytes) override {
        const std::size_t count = std::min({rest.size(), chunk, bytes.size()});
        std::memcpy(bytes.data(), rest.data(), count);
        rest.remove_prefix(count);
        return count;
    }
    std::string_view rest;
    std::size_t chunk;
};

// The pieces one by one, or as many at a time as there are and then cut.
std::vector<std::string> PiecesOf(std::string_view text, std::size_t chunk, std::size_t bufferSize,
                                  FileMode mode, bool inOne) {
    TextSource source(text, chunk);
    PieceReader reader(source, bufferSize, mode);
    std::vector<std::string> all;
    while (const auto pieces = inOne ? reader.NextPieces() : reader.NextPiece()) {
        for (std::size_t at = 0; at < pieces->size();) {
            const std::string_view rest = pieces->substr(at);
            const std::size_t length =
                inOne ? PieceLength(rest, bufferSize - 1, mode) : rest.size();
            all.emplace_back(rest.substr(0, length));
            at += all.back().size();
            if (mode == FileMode::Text) DecodeTextMode(all.back());
        }
    }
    return all;
}

// As fgets cuts the whole text; a binary one, or a decoded one.
void ExpectPiecesAtEverySplit(const std::string& text, FileMode mode) {
    std::string whole = text;
    if (mode == FileMode::Text) DecodeTextMode(whole);
    for (const std::size_t bufferSize : {2U, 3U, 5U, 1024U}) {
        if ((text.size() > 1000) != (bufferSize == 1024)) continue;
        std::vector<std::string> expected;
        for (LineReader lines(whole, bufferSize); const auto piece = lines.NextPiece();)
            expected.emplace_back(*piece);
        for (const std::size_t chunk : {text.size() < 5000 ? 1 : kStreamBlock - 1, kStreamBlock}) {
            for (const bool inOne : {false, true}) {
                ASSERT_EQ(PiecesOf(text, chunk, bufferSize, mode, inOne), expected)
                    << text.substr(0, 9) << " into " << bufferSize << ", reads of " << chunk;
            }
        }
    }
}

TEST(PieceReader, AgreesWithTheWholeTextAtEverySplit) {
    using namespace std::string_literals;
    for (const std::string& text : testing::AllTexts("a\n\0"s, 5))
        ExpectPiecesAtEverySplit(text, FileMode::Binary);
    for (const std::string& text : testing::AllTexts("a\r\n\x1a", 5))
        ExpectPiecesAtEverySplit(text, FileMode::Text);
    for (const std::size_t before : {1021U, 1022U, 1023U, 1024U, 65534U, 65535U, 65536U}) {
        for (const char* tail : {"\r\nb", "\r", "\rb", "\r\r\n", "\r\x1a"}) {
            ExpectPiecesAtEverySplit(std::string(before, 'a') + tail, FileMode::Text);
            ExpectPiecesAtEverySplit(std::string(before, 'a') + tail, FileMode::Binary);
        }
    }
}

// Keeps what is written.
struct TextSink : ByteSink {
    bool Write(std::string_view bytes) override {
        longest = std::max(longest, bytes.size());
        text += bytes;
        return true;
    }
    std::string text;
    std::size_t longest = 0;
};

TEST(BlockWriter, WritesEverythingInOrderAndInBlocks) {
    for (const FileMode mode : {FileMode::Binary, FileMode::Text}) {
        TextSink sink;
        BlockWriter writer(sink, mode);
        std::string expected;
        for (const std::size_t size : {std::size_t{0}, std::size_t{1}, kStreamBlock - 1,
                                       kStreamBlock, kStreamBlock + 1, 5 * kStreamBlock}) {
            const std::string text = std::string(size, '\n') + "x";
            writer.Write(text);
            mode == FileMode::Text ? AppendTextMode(expected, text) : void(expected += text);
        }
        EXPECT_TRUE(writer.Flush());
        EXPECT_TRUE(sink.text == expected);
        EXPECT_EQ(sink.longest, kStreamBlock);
    }
}

#ifndef _WIN32
TEST(AttachmentWriter, WhatItWritesReadsBackWithAnotherParser) {
    std::string message;
    AppendTextMode(
        message,
        "From: a@b\nMIME-Version: 1.0\nContent-Type: multipart/mixed;\n\tboundary=\"outer\"\n\n"
        "preamble\n--outer\nContent-Type: multipart/alternative;\n boundary=\"in\"\n\n"
        "--in\nContent-Type: text/plain\n\nplain\n--in\nContent-Type: text/html\n\n<b>html</b>\n"
        "--in--\n\n--outer\nContent-Type: text/plain; charset=iso-8859-1\n"
        "Content-Transfer-Encoding: 8bit\n\nna\xEFve\n--outer--\nepilogue\n");
    std::string folder = ::testing::TempDir() + "tarnwick-XXXXXX";
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    // Around a line of base64, and around what is encoded at a time.
    for (const std::size_t size : {0U, 1U, 57U, 58U, 29183U, 29184U, 29185U, 100000U}) {
        std::string data;
        for (std::size_t at = 0; at < size; ++at) data += static_cast<char>(at * 7 + at / 256);
        TextSource source(message, 1000);
        TextSink sink;
        constexpr AttachmentRecord kPart{"<a@b>", "all bytes.bin", "application/x-data", nullptr,
                                         "attachment"};
        EXPECT_TRUE(CopyWithAttachment(source, kPart, data, std::string(32, 'F'), sink));
        testing::WriteBytes(folder + "/old", message);
        testing::WriteBytes(folder + "/new", sink.text);
        testing::WriteBytes(folder + "/data", data);
        const std::string command = "cd '" + folder +
                                    "' && python3 '" TARNWICK_SOURCE_DIR
                                    "/tests/Library/activity/messages/ReadAttachmentBack.py'"
                                    " old new data 'all bytes.bin'";
        EXPECT_EQ(std::system(command.c_str()), 0) << sink.text.substr(0, 3000);
    }
    std::filesystem::remove_all(folder);
}
#endif

}  // namespace
}  // namespace tarnwick
