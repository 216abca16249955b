#include <gtest/gtest.h>

#include "tests/Library/activity/messages/StreamFixtures.h"
#include "tests/support/AllTexts.h"

namespace tarnwick {
namespace {

using testing::AllTexts;
using testing::Decoded;
using testing::OnDisk;
using testing::TextSink;
using testing::TextSource;

// The pieces one by one, or as many at a time as there are and then cut.
std::vector<std::string> PiecesOf(std::string_view text, std::size_t chunk, std::size_t bufferSize,
                                  FileMode mode, bool inOne) {
    TextSource source(text, chunk);
    PieceReader reader(source, bufferSize, mode);
    std::vector<std::string> all;
    while (const auto pieces = inOne ? reader.NextPieces() : reader.NextPiece()) {
        for (std::size_t at = 0; at < pieces->size();) {
            const std::string_view piece = inOne ? reader.FirstOf(pieces->substr(at)) : *pieces;
            EXPECT_EQ(reader.StartOf(*pieces, at), at);
            EXPECT_EQ(reader.StartOf(*pieces, at + piece.size() - 1), at);
            all.push_back(mode == FileMode::Text ? Decoded(std::string(piece))
                                                 : std::string(piece));
            at += piece.size();
        }
    }
    return all;
}

// As fgets cuts the whole text; a binary one, or a decoded one.
void ExpectPiecesAtEverySplit(const std::string& text, FileMode mode) {
    const std::string whole = mode == FileMode::Text ? Decoded(text) : text;
    for (const std::size_t bufferSize : {2U, 3U, 5U, 1024U}) {
        if ((text.size() > 1000) != (bufferSize == 1024)) continue;
        std::vector<std::string> expected;
        for (LineReader lines(whole, bufferSize); const auto piece = lines.NextPiece();) {
            expected.emplace_back(*piece);
        }
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
    for (const std::string& text : AllTexts("a\n\0"s, 5)) {
        ExpectPiecesAtEverySplit(text, FileMode::Binary);
    }
    for (const std::string& text : AllTexts("a\r\n\x1a", 5)) {
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
    for (const std::string& text : AllTexts("a\r\n", 6)) {
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
