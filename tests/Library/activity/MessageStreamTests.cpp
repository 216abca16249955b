#include <gtest/gtest.h>

#include "tests/Library/activity/StreamFixtures.h"

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

std::string ReadAll(ByteSource& source, std::size_t size) {
    std::string all;
    std::string block(size, '\0');
    while (const auto count = source.Read(block.data(), size)) {
        if (*count == 0) break;
        all.append(block, 0, *count);
    }
    return all;
}

std::vector<std::string> PiecesOf(ByteSource& source, std::size_t bufferSize) {
    std::vector<std::string> pieces;
    PieceReader reader(source, bufferSize);
    while (const auto piece = reader.NextPiece()) pieces.emplace_back(*piece);
    return pieces;
}

TEST(TextModeSource, AgreesWithTheWholeTextAtEverySplit) {
    for (const std::string& text : TextsOf("a\r\n\x1a", 6)) {
        for (const std::size_t chunk : {1U, 2U, 3U, 6U}) {
            TextSource bytes(text, chunk);
            TextModeSource source(bytes);
            ASSERT_EQ(ReadAll(source, 3), Decoded(text)) << text << " by " << chunk;
        }
    }
}

TEST(TextModeSource, JoinsAPairThatABlockCuts) {
    for (const std::size_t before : {kStreamBlock - 2, kStreamBlock - 1, kStreamBlock}) {
        for (const char* tail : {"\r\nb", "\r", "\rb", "\r\r\n", "\r\x1a"}) {
            const std::string text = std::string(before, 'a') + tail;
            TextSource bytes(text);
            TextModeSource source(bytes);
            ASSERT_EQ(ReadAll(source, kStreamBlock), Decoded(text)) << before << tail;
        }
    }
}

TEST(PieceReader, AgreesWithTheWholeTextAtEverySplit) {
    using namespace std::string_literals;
    std::vector<std::string> texts = TextsOf("a\n\0"s, 7);
    texts.push_back(std::string(kStreamBlock - 1, 'x') + "\n\nyy\n" + std::string(70000, 'z'));
    for (const std::string& text : texts) {
        for (const std::size_t bufferSize : {2U, 3U, 5U, 1024U}) {
            std::vector<std::string> expected;
            LineReader whole(text, bufferSize);
            while (const auto piece = whole.NextPiece()) expected.emplace_back(*piece);
            for (const std::size_t chunk : {std::size_t{1}, std::size_t{3}, kStreamBlock}) {
                TextSource source(text, chunk);
                ASSERT_EQ(PiecesOf(source, bufferSize), expected)
                    << text.substr(0, 9) << bufferSize;
            }
        }
    }
}

TEST(PieceReader, GivesTheRestInBlocksAfterAnyPiece) {
    const std::string text = "one\ntwo\nthree" + std::string(2 * kStreamBlock, 'x');
    for (const std::size_t chunk : {std::size_t{5}, kStreamBlock}) {
        for (int count = 0; count < 5; ++count) {
            TextSource source(text, chunk);
            PieceReader reader(source, 8);
            std::string seen;
            for (int piece = 0; piece < count; ++piece) seen += reader.NextPiece().value();
            while (const auto block = reader.NextBlock()) seen += *block;
            ASSERT_TRUE(seen == text) << chunk << " after " << count;
        }
    }
}

TEST(PieceReader, TellsAFailedReadFromTheEnd) {
    for (const std::size_t goodReads : {0U, 1U, 2U}) {
        TextSource source("one\ntwo", 4, goodReads);
        PieceReader reader(source, 100);
        while (reader.NextPiece()) {
        }
        EXPECT_TRUE(reader.Failed()) << goodReads;
        EXPECT_FALSE(reader.NextBlock()) << goodReads;
    }
    TextSource whole("one\ntwo", 4);
    PieceReader reader(whole, 100);
    while (reader.NextPiece()) {
    }
    EXPECT_FALSE(reader.Failed());
}

TEST(BlockWriter, WritesEverythingInOrderAndNotMoreThanItNeeds) {
    for (const LineBreaks breaks : {LineBreaks::AsWritten, LineBreaks::CrLf}) {
        TextSink sink;
        BlockWriter writer(sink, breaks);
        std::string expected;
        for (const std::size_t size :
             {std::size_t{0}, std::size_t{1}, kStreamBlock - 1, kStreamBlock, kStreamBlock + 1,
              std::size_t{7}, 5 * kStreamBlock}) {
            const std::string text = std::string(size, 'x') + "\n";
            writer.Write(text);
            expected += breaks == LineBreaks::CrLf ? OnDisk(text) : text;
        }
        EXPECT_TRUE(writer.Flush());
        EXPECT_TRUE(sink.text == expected);
    }
}

TEST(BlockWriter, GathersNoMoreThanABlockOfABigText) {
    TextSink sink;
    BlockWriter writer(sink, LineBreaks::CrLf);
    writer.Write(std::string(10 * kStreamBlock, '\n'));
    EXPECT_TRUE(writer.Flush());
    EXPECT_EQ(sink.text.size(), 20 * kStreamBlock);
    EXPECT_LE(sink.longest, 3 * kStreamBlock);
}

TEST(BlockWriter, AFailureLasts) {
    TextSink sink(1);
    BlockWriter writer(sink);
    for (int block = 0; block < 4; ++block) writer.Write(std::string(kStreamBlock, 'x'));
    EXPECT_FALSE(writer.Flush());
    EXPECT_FALSE(writer.Flush());
    EXPECT_EQ(sink.text.size(), kStreamBlock);
}

}  // namespace
}  // namespace tarnwick
