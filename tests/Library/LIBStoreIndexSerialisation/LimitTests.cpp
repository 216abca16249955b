// What no file, text or identifier may go beyond, and the time that large ones take.
#include <gtest/gtest.h>

#include <cstring>

#include "Library/LIBStoreIndexSerialisation/IndexEscape.h"
#include "tests/Library/LIBStoreIndexSerialisation/IndexSteps.h"

namespace tarnwick::testing {
namespace {

TEST(IndexLimits, ChangesKeepToWhatAReaderTakes) {
    RealIndex real(Index(9, Element("1", "1")));
    real.Load({});
    for (const char* id : {"", "---", "a\"b", "a<b", "a>b"}) EXPECT_FALSE(real.Add(id)) << id;
    EXPECT_FALSE(real.Add(std::string(995, 'I')));
    for (const char* name : {"", "ELEMENTS", "BASEELEMENT", "/X", "X/", "!X", "?X", "A<", "A>",
                             "ID", "UID", "LASTUID", "IDX", "SEQ"}) {
        EXPECT_FALSE(real.Set("1", name, "x")) << name;
    }
    EXPECT_FALSE(real.Set("1", std::string(kTagLimit, 'N'), "x"));
    EXPECT_FALSE(real.IsModified());
    EXPECT_TRUE(real.Set("1", std::string(kTagLimit - 1, 'N'), "x"));
    EXPECT_TRUE(real.Add(std::string(994, 'I')));
    // 16 MiB as it stands in the file: each of these bytes takes six there.
    const std::string longest(kTextLimit / 6, '\x80');
    EXPECT_FALSE(real.Set("1", "X", longest + "12345"));
    EXPECT_TRUE(real.Set("1", "X", longest + "1234"));
    EXPECT_TRUE(real.Set("1", "X", std::string(kTextLimit, 'x')));
}

TEST(IndexLimits, TextBeyondSixteenMebibytesIsAMalformation) {
    for (const std::size_t size : {kTextLimit, kTextLimit + 1}) {
        RealIndex real(Index(9, Element("A", "1", "<X>" + std::string(size, 'v') + "</X>")));
        EXPECT_EQ(real.Load({}), size <= kTextLimit);
        const char* const report =
            "Malformed index detected: Encountered property text longer than 16777216 bytes (X) "
            "(F)\n";
        EXPECT_EQ(real.reports.Joined(ReportChannel::EventLogError),
                  size <= kTextLimit ? "" : report);
    }
}

// A header, blanks up to a place as far away as extents reach, and a last text.
class LargeSource : public ByteSource {
  public:
    LargeSource(std::uint64_t blanks, std::string last) : blanks_(blanks), last_(std::move(last)) {}
    std::optional<std::size_t> Read(std::span<char> bytes) override {
        if (!std::exchange(started_, true)) return IndexHeader(9).copy(bytes.data(), bytes.size());
        if (blanks_ == 0) return std::exchange(last_, "").copy(bytes.data(), bytes.size());
        const auto count = std::min<std::uint64_t>(bytes.size(), blanks_);
        std::memset(bytes.data(), ' ', static_cast<std::size_t>(count));
        blanks_ -= count;
        return static_cast<std::size_t>(count);
    }

  private:
    bool started_ = false;
    std::uint64_t blanks_;
    std::string last_;
};

TEST(IndexLimits, AnEntryThatEndsBeyondFourGibibytesIsNotTaken) {
    const std::string last = Element("A", "1", "<X>v</X>");
    for (const bool fits : {true, false}) {
        const ReportRecorder reports;
        const std::uint64_t blanks = 0xFFFFFFFF - kHeaderLength - last.size() + (fits ? 0 : 1);
        const auto open = [&] { return std::make_unique<LargeSource>(blanks, last + last + "<"); };
        StoreIndex index;
        EXPECT_EQ(LoadIndex(index, open, "F", {}), kLoadFailed);
        EXPECT_EQ(index.Count(), fits ? 1U : 0U);
        EXPECT_EQ(reports.Joined(ReportChannel::Trace),
                  "Malformed index detected: Index is longer than 4294967295 bytes (F)\n");
    }
}

TEST(IndexLimits, AMillionOfAnythingTakesNoLonger) {
    for (const std::string_view bytes :
         {"<A>", "<ELEMENT ID=\"A\">", "<BASEELEMENT>", "</X>", "<", ">", "<!--", "&#38;", "x"}) {
        std::string file;
        for (int count = 0; count < 300'000; ++count) file += bytes;
        RealIndex real(file);
        EXPECT_FALSE(real.Load({})) << bytes;
        EXPECT_EQ(real.reports.Take().size(), 2U) << bytes;
        EXPECT_LE(real.Count(), 1U);
    }
    std::string nested = "&";
    for (int count = 0; count < 200'000; ++count) nested += "#38;";
    UnescapeXmlText(nested, false);
    EXPECT_EQ(nested, "&");
}

}  // namespace
}  // namespace tarnwick::testing
