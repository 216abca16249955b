// A calendar's lines in the plainest way: the whole text decoded, cut as the C runtime cuts it, and
// each field taken into a buffer that keeps what it held.
#pragma once

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "common/Text.h"
#include "common/TextFile.h"
#include "provider/CalendarReader.h"

namespace tarnwick::testing {

// start, end, ID, blank
using NaiveLine = std::tuple<std::string, std::string, std::string, bool>;

// The texts of the lines; under Windows a test holds them against the C runtime's.
inline std::vector<std::string> NaiveTexts(std::string bytes) {
    std::vector<std::string> texts;
    DecodeTextMode(bytes);
    LineReader pieces(bytes, 1024);
    while (const auto piece = pieces.NextPiece()) texts.emplace_back(LineText(*piece));
    return texts;
}

inline std::vector<NaiveLine> NaiveLines(const std::string& bytes) {
    char number[1024] = "";
    char id[1024] = "";
    std::vector<NaiveLine> lines;
    for (const std::string& text : NaiveTexts(bytes)) {
        GetDelimitedField(text, "\t", 1, number);
        const std::string start = number;
        GetDelimitedField(text, "\t", 2, number);
        if (std::count(text.begin(), text.end(), '\t') >= 2) {
            StoreField(id, std::string_view(text).substr(text.find('\t', text.find('\t') + 1) + 1));
        } else {
            GetDelimitedField(text, "\t", 3, id);
        }
        lines.emplace_back(start, number, id, text.empty());
    }
    return lines;
}

// A file that lies in memory; its read number `failAt` (from 1) fails.
class MemorySource : public ByteSource {
  public:
    explicit MemorySource(std::string_view bytes, int failAt = 0)
        : bytes_(bytes), failAt_(failAt) {}
    std::optional<std::size_t> Read(std::span<char> bytes) override {
        if (++reads_ == failAt_) return std::nullopt;
        const std::size_t count = std::min(bytes.size(), bytes_.size());
        if (count != 0) std::memcpy(bytes.data(), bytes_.data(), count);
        bytes_.remove_prefix(count);
        return count;
    }

  private:
    std::string_view bytes_;
    int failAt_;
    int reads_ = 0;
};

// What the reader makes of the same bytes, behind `skipped` lines.
inline std::vector<NaiveLine> ReadLines(std::string_view bytes, std::int32_t skipped = 0,
                                        std::uint32_t blockSize = CalendarReader::kBlockSize) {
    std::vector<NaiveLine> lines;
    MemorySource source(bytes);
    CalendarReader reader(source, blockSize);
    if (reader.Skip(skipped) < skipped) return lines;
    while (reader.Next()) {
        const CalendarLine& line = reader.Line();
        lines.emplace_back(line.start, line.end, line.id, line.blank);
    }
    return lines;
}

}  // namespace tarnwick::testing
