#include <gtest/gtest.h>

#include "tests/Library/activity/messages/StreamFixtures.h"

namespace tarnwick {
namespace {

using testing::Decoded;
using testing::OnDisk;
using testing::TextSink;
using testing::TextSource;

// All texts of `length` letters over `alphabet`.
std::vector<std::string> TextsOf(const std::string& alphabet, std::size_t length) {
    std::vector<std::string> texts{""};
    for (; length > 0; --length) {
        std::vector<std::string> longer;
        for (const std::string& text : texts) {
            for (const char letter : alphabet) longer.push_back(text + letter);
        }
        texts = std::move(longer);
    }
    return texts;
}

std::vector<std::string> PiecesOf(ByteSource& source, std::size_t bufferSize, FileMode mode) {
    std::vector<std::string> pieces;
    PieceReader reader(source, bufferSize, mode);
    while (const auto piece = reader.NextPiece()) pieces.emplace_back(*piece);
    return pieces;
}

// The same pieces, taken as many at a time as there are.
std::vector<std::string> PiecesInOneOf(ByteSource& source, std::size_t bufferSize, FileMode mode) {
    std::vector<std::string> all;
    PieceReader reader(source, bufferSize, mode);
    while (auto pieces = reader.NextPieces()) {
        for (std::size_t at = 0; at < pieces->size(); at += all.back().size()) {
            all.emplace_back(reader.FirstOf(pieces->substr(at)));
            EXPECT_EQ(reader.StartOf(*pieces, at), at);
            EXPECT_EQ(reader.StartOf(*pieces, at + all.back().size() - 1), at);
        }
    }
    return all;
}

// What fgets gives of a whole text; a binary one, or a decoded one.
std::vector<std::string> PiecesOfText(const std::string& text, std::size_t bufferSize) {
    std::vector<std::string> pieces;
    LineReader whole(text, bufferSize);
    while (const auto piece = whole.NextPiece()) pieces.emplace_back(*piece);
    return pieces;
}

void ExpectPiecesAtEverySplit(const std::string& text, FileMode mode) {
    for (const std::size_t bufferSize : {2U, 3U, 5U, 1024U}) {
        if ((text.size() > 1000) != (bufferSize == 1024)) continue;
        const auto expected =
            PiecesOfText(mode == FileMode::Text ? Decoded(text) : text, bufferSize);
        for (const std::size_t chunk : {text.size() < 5000 ? 1 : kStreamBlock - 1, kStreamBlock}) {
            for (const bool inOne : {false, true}) {
                TextSource source(text, chunk);
                auto pieces = (inOne ? PiecesInOneOf : PiecesOf)(source, bufferSize, mode);
                for (std::string& piece : pieces) {
                    if (mode == FileMode::Text) piece = Decoded(piece);
                }
                ASSERT_EQ(pieces, expected) << text.substr(0, 9) << " into " << bufferSize
                                            << ", reads of " << chunk << (inOne ? " in one" : "");
            }
        }
    }
}

TEST(PieceReader, AgreesWithTheWholeTextAtEverySplit) {
    using namespace std::string_literals;
    for (const std::string& text : TextsOf("a\n\0"s, 5)) {
        ExpectPiecesAtEverySplit(text, FileMode::Binary);
    }
    for (const std::string& text : TextsOf("a\r\n\x1a", 5)) {
        ExpectPiecesAtEverySplit(text, FileMode::Text);
    }
    for (const std::size_t before : {1021U, 1022U, 1023U, 1024U, 65534U, 65535U, 65536U}) {
        for (const char* tail : {"\r\nb", "\r", "\rb", "\r\r\n", "\r\x1a"}) {
            ExpectPiecesAtEverySplit(std::string(before, 'a') + tail, FileMode::Text);
            ExpectPiecesAtEverySplit(std::string(before, 'a') + tail, FileMode::Binary);
        }
    }
}

TEST(PieceReader, TellsAFailedReadFromTheEnd) {
    for (const std::size_t goodReads : {0U, 1U, 2U, 3U}) {
        TextSource source("one\ntwo", 4, goodReads);
        PieceReader reader(source, 100, FileMode::Binary);
        while (reader.NextPiece()) {
        }
        EXPECT_EQ(reader.Failed(), goodReads < 3) << goodReads;
        EXPECT_FALSE(reader.NextPieces()) << goodReads;
    }
}

TEST(BlockWriter, WritesEverythingInOrderAndInBlocks) {
    for (const FileMode mode : {FileMode::Binary, FileMode::Text}) {
        TextSink sink;
        BlockWriter writer(sink, mode);
        std::string expected;
        for (const std::size_t size :
             {std::size_t{0}, std::size_t{1}, kStreamBlock - 1, kStreamBlock, kStreamBlock + 1,
              std::size_t{7}, 5 * kStreamBlock}) {
            const std::string text(size, '\n');
            writer.Write(text + "x");
            expected += (mode == FileMode::Text ? OnDisk(text) : text) + "x";
        }
        EXPECT_TRUE(writer.Flush());
        EXPECT_TRUE(sink.text == expected);
        EXPECT_LE(sink.longest, mode == FileMode::Text ? kStreamBlock : 5 * kStreamBlock + 1);
    }
}

TEST(BlockWriter, CopiesWhatWasReadAsItsModeWritesIt) {
    for (const std::string& text : TextsOf("a\r\n", 6)) {
        for (const FileMode mode : {FileMode::Binary, FileMode::Text}) {
            TextSink sink;
            BlockWriter writer(sink, mode);
            writer.Copy(text);
            ASSERT_TRUE(writer.Flush());
            ASSERT_EQ(sink.text, mode == FileMode::Text ? OnDisk(Decoded(text)) : text) << text;
        }
    }
}

TEST(BlockWriter, AFailureLasts) {
    TextSink sink(1);
    BlockWriter writer(sink, FileMode::Binary);
    for (int block = 0; block < 4; ++block) writer.Write(std::string(kStreamBlock, 'x'));
    EXPECT_FALSE(writer.Flush());
    EXPECT_FALSE(writer.Flush());
    EXPECT_EQ(sink.text.size(), kStreamBlock);
}

}  // namespace
}  // namespace tarnwick
