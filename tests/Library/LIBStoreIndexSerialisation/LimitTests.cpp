// What no file, text or identifier may go beyond, and the time that large ones take.
#include <gtest/gtest.h>

#include <cstring>

#include "Library/LIBStoreIndexSerialisation/IndexEscape.h"
#include "tests/Library/LIBStoreIndexSerialisation/IndexSteps.h"

namespace tarnwick {
namespace {

using testing::Element;
using testing::Index;
using testing::RealIndex;

TEST(IndexLimits, ChangesKeepToWhatAReaderTakes) {
    RealIndex real(Index(9, Element("1", "1")));
    real.Load({});
    for (const std::string& id : {std::string(), std::string("---"), std::string("a\"b"),
                                  std::string("a<b"), std::string("a>b"), std::string(995, 'I')}) {
        EXPECT_FALSE(real.Add(id)) << id;
    }
    for (const char* name : {"", "ELEMENTS", "BASEELEMENT", "/X", "X/", "!X", "?X", "A<", "A>",
                             "ID", "UID", "LASTUID", "IDX", "SEQ"}) {
        EXPECT_FALSE(real.Set("1", name, "x")) << name;
    }
    EXPECT_FALSE(real.Set("1", std::string(kTagLimit, 'N'), "x"));
    EXPECT_FALSE(real.index.IsModified());
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
        EXPECT_EQ(real.Seen().eventLog,
                  size <= kTextLimit ? ""
                                     : "Malformed index detected: Encountered property text longer "
                                       "than 16777216 bytes (X) (F)\n");
    }
}

// A header, blanks up to a place as far away as extents reach, and a last text.
class LargeSource : public ByteSource {
  public:
    LargeSource(std::uint64_t place, std::string last) : place_(place), last_(std::move(last)) {}
    std::optional<std::size_t> Read(std::span<char> bytes) override {
        std::size_t count = bytes.size();
        if (at_ == 0) {
            count = IndexHeader(9).copy(bytes.data(), count);
        } else if (at_ < place_) {
            count = static_cast<std::size_t>(std::min<std::uint64_t>(count, place_ - at_));
            std::memset(bytes.data(), ' ', count);
        } else {
            count = last_.copy(bytes.data(), count, static_cast<std::size_t>(at_ - place_));
        }
        at_ += count;
        return count;
    }

  private:
    std::uint64_t place_;
    std::string last_;
    std::uint64_t at_ = 0;
};

TEST(IndexLimits, AnEntryThatEndsBeyondFourGibibytesIsNotTaken) {
    const std::string last = Element("A", "1", "");
    for (const bool fits : {true, false}) {
        const testing::ReportRecorder reports;
        const std::uint64_t place = 0xFFFFFFFF - last.size() + (fits ? 0 : 1);
        const auto open = [&] { return std::make_unique<LargeSource>(place, last + last + "<"); };
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
        EXPECT_LE(real.index.Count(), 1U);
    }
    std::string nested = "&";
    for (int count = 0; count < 200'000; ++count) nested += "#38;";
    UnescapeXmlText(nested, false);
    EXPECT_EQ(nested, "&");
}

}  // namespace
}  // namespace tarnwick
