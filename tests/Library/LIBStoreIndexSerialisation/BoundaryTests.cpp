// Files that end anywhere, and texts, tags and attributes around the sizes of every buffer.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "Library/LIBStoreIndexSerialisation/IndexReader.h"
#include "tests/Library/LIBStoreIndexSerialisation/IndexTexts.h"
#include "tests/support/IndexStreams.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::Describe;
using testing::Element;
using testing::Index;
using testing::MemoryIndexFile;
using testing::MemorySource;
using testing::ReportRecorder;

constexpr std::size_t kSizes[] = {0,    1,    15,    16,    17,    1022,  1023,
                                  1024, 1025, 2047,  2048,  2049,  8190,  8191,
                                  8192, 8193, 10239, 10240, 10241, 16384, 100'000};

TEST(Boundaries, AFileCutAnywhereIsDamagedOrWhole) {
    const std::string bytes =
        Index(9, Element("A", "1") + Element("---", "-") + Element("B", "2", "<X>&amp;</X><CC/>"));
    StoreIndex whole;
    MemoryIndexFile(bytes).Load(whole);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        const ReportRecorder reports;
        StoreIndex index;
        const std::uint32_t status = MemoryIndexFile(bytes.substr(0, size)).Load(index);
        // Without the line break at its end the file is whole.
        EXPECT_EQ(status, size < bytes.size() - 2 ? kLoadFailed : kLoadFull) << size;
        EXPECT_EQ(reports.Joined(ReportChannel::Trace).empty(), status == kLoadFull) << size;
        if (status == kLoadFull) {
            EXPECT_EQ(Describe(index), Describe(whole));
        }
    }
}

// What looks as a save writes it is taken by a way of its own, which a byte at a time never is.
TEST(Boundaries, PiecesOfAnySizeLoadAlike) {
    static constexpr std::string_view kProperties[] = {"<A>v</A>",
                                                       "<A></A>",
                                                       "<A>&lt;&#xe9;</A>",
                                                       "<A>&#65;</A>",
                                                       "<A/>",
                                                       "<A&>v</A&>",
                                                       "&A>v</A>",
                                                       "v",
                                                       "v</A>",
                                                       "<A>v</A>v",
                                                       "<A>;</A>xx",
                                                       "<A>v<xA></A>",
                                                       "<A>&</A>",
                                                       "<A>v<!--<-->w</A>",
                                                       "<A >v</A>",
                                                       "<A>v</A >",
                                                       "<FIFTEENBYTENAME>v</FIFTEENBYTENAME>",
                                                       "<SIXTEENBYTENAMES>v</SIXTEENBYTENAMES>"};
    const std::pair<std::string_view, std::string_view> kIdsAndUids[] = {
        {"B", "7"},  {"B>", "7"}, {"C", "07"},         {"", "7"},  {"-", "7"},
        {"-B", "7"}, {"D", ""},   {"E", "4294967296"}, {"F", "x"}, {"SIXTEENBYTES.MAI", "7"}};
    std::mt19937 random(1);
    const auto anyOf = [&](const auto& list) { return list[random() % std::size(list)]; };
    for (int round = 0; round < 1000; ++round) {
        // Names are taken that way once they are known.
        std::string entries = Element("K", "1", "<A/><B/><FIFTEENBYTENAME/><SIXTEENBYTENAMES/>");
        for (int count = 0; count < 3; ++count) {
            const auto [id, uid] = anyOf(kIdsAndUids);
            std::string properties = "<A>p</A>";
            properties.append(anyOf(kProperties)).append("<B>q</B>");
            entries += Element(std::to_string(count), "7", count == 1 ? properties : "");
            if (random() % 2 == 0) entries += Element(id, uid);
        }
        MemoryIndexFile file(Index(9, entries));
        std::string expected;
        for (const std::size_t step : {1U, 37U, 8192U}) {
            const ReportRecorder reports;
            StoreIndex index;
            file.step = step;
            std::string loaded = std::to_string(file.Load(index)) + Describe(index);
            for (const StoreIndex::Entry& entry : index.InUidOrder()) {
                loaded.append(" ").append(std::to_string(entry.ItemOffset()));
                loaded.append("+").append(std::to_string(entry.ItemLength()));
            }
            loaded += (index.ExtentsTrusted() ? "" : "!") + reports.Joined(ReportChannel::Trace);
            if (step == 1) expected = loaded;
            ASSERT_EQ(loaded, expected) << file.bytes;
        }
    }
}

TEST(Boundaries, MarksAreThoseOfTheBytesAtHand) {
    std::mt19937 random(1);
    for (int round = 0; round < 1000; ++round) {
        std::string bytes(random() % 600, ' ');
        const std::size_t rarity = 4 + random() % 60;
        for (char& byte : bytes) byte = "&<x"[std::min<std::size_t>(random() % rarity, 2)];
        MemorySource source(bytes, 1 + random() % 300);
        IndexReader reader(source);
        while (reader.Offset() < bytes.size()) {
            const MarkedText text = reader.UpcomingMarked();
            std::vector<std::size_t> marks;
            for (std::size_t at = reader.Offset(); at < reader.BytesRead(); ++at) {
                if (bytes[at] != 'x') marks.push_back(text.end - reader.BytesRead() + at);
            }
            const std::size_t count = marks.size();
            marks.insert(marks.end(), 3, text.end);
            ASSERT_TRUE(std::equal(marks.begin(), marks.end(), text.marks)) << bytes;
            ASSERT_NE(text.bytes[text.end], '&') << "ends no row of them";
            reader.TakeMarks(random() % (count + 1));
        }
    }
}

TEST(Boundaries, TextsOfAnySizeAreJoined) {
    for (const std::size_t size : kSizes) {
        for (const std::size_t before : {0U, 1U, 700U}) {
            const std::string value = std::string(size, 'v') + "&lt;";
            const std::string bytes =
                Index(9, Element("P", "1", "<P>" + std::string(before, 'p') + "</P>") +
                             Element("A", "2", "<X>" + value + "</X><Y>1</Y>"));
            for (const std::size_t step : {1U, 1000U, 8192U}) {
                StoreIndex index;
                MemoryIndexFile file(bytes);
                file.step = step;
                ASSERT_EQ(file.Load(index), kLoadFull) << size;
                EXPECT_EQ(index.FindById("A")->Property("X"), std::string(size, 'v') + "<") << size;
                EXPECT_EQ(index.FindById("A")->Property("Y"), "1") << size;
            }
        }
    }
}

TEST(Boundaries, ATagIsTakenUpToItsLimitAndTheRestIsText) {
    for (const std::size_t size : kSizes) {
        if (size == 0) continue;
        const ReportRecorder reports;
        const std::string name(size, 'N');
        StoreIndex index;
        const std::uint32_t status =
            MemoryIndexFile(Index(9, Element("A", "1", "<" + name + ">v</" + name + ">")))
                .Load(index);
        // The end tag is a byte longer for its slash.
        const bool fits = size + 1 <= kTagLimit;
        EXPECT_EQ(status, fits ? kLoadFull : kLoadFailed) << size;
        if (fits) {
            EXPECT_EQ(index.FindById("A")->Property(name), "v") << size;
        }
        const std::string first(std::min(size, kTagLimit), 'N');
        const std::string cut(std::min(size, kTagLimit - 1), 'N');
        if (!fits) {
            EXPECT_EQ(reports.Joined(ReportChannel::Trace),
                      "Malformed index detected: Encountered property end tag (" + cut +
                          ") that does not match previous property start tag (" + first +
                          ") (F)\n");
        }
    }
}

TEST(Boundaries, AnAttributeThatItsTagDoesNotHoldIsNone) {
    for (const std::size_t size : kSizes) {
        if (size == 0) continue;
        const ReportRecorder reports;
        const std::string id(size, 'I');
        StoreIndex index;
        const std::uint32_t status = MemoryIndexFile(Index(9, Element(id, "1", ""))).Load(index);
        const std::string tag = "ELEMENT ID=\"" + id + "\" UID=\"1\"";
        EXPECT_EQ(status, tag.size() <= kTagLimit ? kLoadFull : kLoadFailed) << size;
        EXPECT_EQ(index.FindById(id) != nullptr, size + 13 <= kTagLimit) << size;
    }
}

TEST(Boundaries, CommentsOfAnySizeArePassedOver) {
    for (const std::size_t size : kSizes) {
        for (const std::size_t step : {1U, 2U, 8192U}) {
            const ReportRecorder reports;
            StoreIndex index;
            MemoryIndexFile file(
                Index(9, "<!--" + std::string(size, '-') + "<>-->" +
                             Element("A", "1", "<X>1<!--" + std::string(size, '<') + "-->2</X>")));
            file.step = step;
            EXPECT_EQ(file.Load(index), kLoadFull) << size;
            ASSERT_NE(index.FindById("A"), nullptr) << size;
            EXPECT_EQ(index.FindById("A")->Property("X"), "12") << size;
        }
    }
}

TEST(Boundaries, TextBeyondTheLimitIsAMalformation) {
    for (const std::size_t size : {kTextLimit, kTextLimit + 1}) {
        const ReportRecorder reports;
        StoreIndex index;
        const std::uint32_t status =
            MemoryIndexFile(Index(9, Element("A", "1", "<X>" + std::string(size, 'v') + "</X>")))
                .Load(index);
        EXPECT_EQ(status, size <= kTextLimit ? kLoadFull : kLoadFailed);
        EXPECT_EQ(reports.Joined(ReportChannel::EventLogError),
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

TEST(Boundaries, AnEntryThatEndsBeyondFourGibibytesIsNotTaken) {
    const std::string last = Element("A", "1", "");
    for (const bool fits : {true, false}) {
        const ReportRecorder reports;
        const std::uint64_t place = 0xFFFFFFFF - last.size() + (fits ? 0 : 1);
        const auto open = [&] { return std::make_unique<LargeSource>(place, last + last + "<"); };
        StoreIndex index;
        EXPECT_EQ(LoadIndex(index, open, "F", {}), kLoadFailed);
        EXPECT_EQ(Describe(index), fits ? "A 1 1 1;" : "");
        EXPECT_EQ(reports.Joined(ReportChannel::Trace),
                  "Malformed index detected: Index is longer than 4294967295 bytes (F)\n");
    }
}

TEST(Boundaries, MillionsOfUnclosedTagsEnd) {
    for (const std::string_view bytes :
         {"<A>", "<ELEMENT ID=\"A\">", "<BASEELEMENT>", "</X>", "<", ">", "<!--", "&#38;", "x"}) {
        ReportRecorder reports;
        StoreIndex index;
        std::string file;
        for (int count = 0; count < 1'000'000 / (bytes.size() > 9 ? 3 : 1); ++count) file += bytes;
        EXPECT_EQ(MemoryIndexFile(file).Load(index), kLoadFailed) << bytes;
        EXPECT_EQ(reports.Take().size(), 2U) << bytes;
        EXPECT_LE(index.Count(), 1U);
    }
}

}  // namespace
}  // namespace tarnwick
