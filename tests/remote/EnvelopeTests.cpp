#include <gtest/gtest.h>

#include <iterator>
#include <sstream>

#include "remote/Envelope.h"
#include "remote/shared/Base64.h"
#include "tests/remote/CodecBytes.h"
#include "tests/remote/PlainCodec.h"
#include "tests/support/FailingAllocations.h"
#include "tests/support/Model.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::Bytes;
using testing::BytesOf;
using testing::FailEachAllocation;
using testing::FailingAllocations;
using testing::Noise;
using testing::ReportRecorder;

using Tokens = std::vector<std::string>;
constexpr auto kNone = std::string::npos;
const std::string kKept = "kept";

std::string ValueText(const std::string& data) {
    const std::string stream = testing::PlainCompress(data);
    const auto [length, area] = testing::PlainEncode(stream, 2 * kRemoteTextSize);
    return area.substr(0, static_cast<std::size_t>(length));
}

std::string Element(const std::string& number, const std::string& value, int size = 4) {
    const std::string name = "PARAMETER" + number;
    return "<" + name + " SIZE=" + std::to_string(size) + ">" + value + "</" + name + ">";
}

std::string Cut(const std::string& text, std::size_t size) {
    return text.substr(0, size - 1);
}

// A request behind adding a parameter, and the trace of that.
std::pair<std::string, std::string> PlainAdded(std::string request, std::size_t room, int number,
                                               const std::string& data) {
    const std::string stream = testing::PlainCompress(data);
    const auto [length, area] = testing::PlainEncode(stream, kRemoteTextSize);
    const std::string text = length < 0 ? "" : area.substr(0, static_cast<std::size_t>(length));
    std::string trace = "compressing...\nCompressed size: " + std::to_string(stream.size()) +
                        "\nResult of base64 encoding: " + text +
                        "\nSize:" + std::to_string(length) + "\n" +
                        (text.empty() ? "Warning: Serialising returned empty buffer\n" : "");
    const std::string element =
        Element(std::to_string(number), text, static_cast<int>(data.size()));
    const std::size_t place = request.find("</PARAMETERS>");
    if (place == kNone) return {request, trace + "{" + request + "}\n"};
    return {Cut(request.insert(place, Cut(element, kRemoteTextSize)), room), trace};
}

std::optional<std::pair<std::string, long long>> PlainFound(std::string reply) {
    reply.resize(std::min(reply.find('\0'), reply.size()));
    const std::size_t start = reply.find("<PARAMETER1");
    const std::size_t close = reply.find('>', start);
    const std::size_t size = reply.substr(0, close).find("SIZE=", start);
    const std::size_t end = close == kNone ? close : reply.find("</PARAMETER1>", close + 1);
    if (end == kNone || size == kNone) return std::nullopt;
    const long long number = std::strtoll(reply.substr(size + 5, 255).c_str(), nullptr, 10);
    return {{Cut(reply.substr(close + 1, end - close - 1), kRemoteTextSize),
             std::clamp<long long>(number, INT32_MIN, INT32_MAX)}};
}

// What a reply leaves in a record of four bytes that held "kept", and the one report of it.
std::pair<std::string, std::string> PlainReceived(const std::string& reply) {
    const auto found = PlainFound(reply);
    const std::string text = found ? found->first : "";
    const auto [count, area] = testing::PlainDecode(text, text.size());
    const std::string trace = "decompressing\nB64Source length: " + std::to_string(text.size()) +
                              " parameter size=4\nDecoded size=" + std::to_string(count) + "\n";
    if (count < 0) return {kKept, trace};
    const std::string stream = area.substr(0, static_cast<std::size_t>(count));
    const auto [bytes, fault] = testing::PlainExpand(stream, 4);
    return {fault == LzwFault::None && bytes.size() == 4 ? bytes : kKept,
            trace + (fault == LzwFault::LostString ? "Something wrong\n" : "") +
                "Uncompressed size=" + std::to_string(bytes.size()) + "\nFreeing\n"};
}

std::string ReplyDifference(const Tokens& tokens) {
    std::string reply;
    for (const std::string& token : tokens) reply += token;
    const auto found = FindResponseParameter(reply, 1);
    const auto plain = PlainFound(reply);
    if (found.has_value() != plain.has_value()) return "whether it is found";
    if (found && found->valueText != plain->first) return "the value";
    if (found && found->size != plain->second) return "the size";
    ReportRecorder reports;
    Bytes record = BytesOf(kKept);
    const bool isFilled = GetResponseParameter(reply, 1, record);
    const auto [expected, trace] = PlainReceived(reply);
    if (testing::TextOf(record) != expected) return "the record";
    if (isFilled != (expected != kKept)) return "the result";
    const auto taken = reports.Take();
    return taken.size() == 1 && taken[0].second == trace ? "" : "the trace";
}

TEST(Request, IsTheEnvelopeCutToItsArea) {
    const std::string whole =
        "<DATA><METHOD>EXEC</METHOD><FUNCTION>F</FUNCTION><PARAMETERS></PARAMETERS></DATA>";
    const std::string_view text = "a</PARAMETERS b</PARAMETERS>c</PARAMETERS>";
    EXPECT_TRUE(BuildExecRequest({}, "F"));
    for (std::size_t size = 1; size <= whole.size() + 2; ++size) {
        std::vector<char> area(size, '#');
        EXPECT_TRUE(BuildExecRequest(area, "F"));
        EXPECT_EQ(area.data(), Cut(whole, size));
        EXPECT_TRUE(InsertBeforeParametersEnd(text, "b", "[x]", area));
        EXPECT_EQ(area.data(), Cut("a</PARAMETERS b[x]</PARAMETERS>c</PARAMETERS>", size));
        EXPECT_FALSE(InsertBeforeParametersEnd("a</parameters>", "a", "[x]", area));
        EXPECT_EQ(area.data(), Cut("a</parameters>", size));
    }
}

TEST(Request, ParametersAreAddedAndTracedLikePlainOnes) {
    // Noise whose texts end around the bounds.
    Tokens values = {"AAA", "", std::string(16000, 'a'), Noise(16000, 1)};
    for (std::size_t size = 12404; size < 12424; ++size) values.push_back(Noise(size, 7));
    std::mt19937 random(1);
    while (values.size() < 40) values.push_back(testing::MixedText(random));
    for (const std::string& value : values) {
        for (const std::size_t room : {100U, 150U, 32768U, 70000U}) {
            const ReportRecorder reports;
            const int number = static_cast<int>(random() % 12);  // 0: no place for parameters
            std::vector<char> request(room);
            BuildExecRequest(request, "F");
            if (number == 0) request[27] = '\0';
            const auto [expected, trace] = PlainAdded(request.data(), room, number, value);
            EXPECT_TRUE(AddRequestParameter(request, number, BytesOf(value)));
            ASSERT_EQ(request.data(), expected) << value.size();
            ASSERT_EQ(reports.Joined(ReportChannel::StandardOutput), trace);
        }
    }
}

TEST(Request, TheLargestRecordsFitWhateverTheyHold) {
    const ReportRecorder unseen;
    std::vector<char> larger(2 * kRemoteTextSize);
    EXPECT_EQ(EncodeParameter(BytesOf(Noise(16000, 1)), larger), 0U) << "whatever the area";
    for (const std::size_t size : {1U, 513U, 648U, 1023U, 1024U, 5388U, 8772U}) {
        const Bytes record = BytesOf(Noise(size, 99));
        std::vector<char> request(kRemoteTextSize);
        BuildExecRequest(request, "AppointmentItemWriteNextChunk");
        ASSERT_TRUE(AddRequestParameter(request, 1, record));
        Bytes back(size);
        ASSERT_TRUE(GetResponseParameter(request.data(), 1, back)) << size;
        EXPECT_EQ(back, record) << size;
    }
}

TEST(Reply, IsReadLikeAPlainOne) {
    using std::string_literals::operator""s;
    const std::string good = ValueText("good");
    const std::string goody = ValueText("goody");
    // Values that fill the record, and all that may be wrong with one.
    Tokens values = {good,  " " + good + "\r\n", "", "????????????", ValueText("goo"), goody,
                     "QQ=="};
    for (const auto& stream : {"g\0o\0o\0\xFF\xFF"s, "g\0o\0\x2C\x01"s, "g\0o\0o\0d\0\xE7\x03"s}) {
        values.push_back(Base64EncodeAlloc(BytesOf(stream)));
    }
    for (const std::size_t size : {32766U, 32767U, 32768U}) values.emplace_back(size, 'A');
    for (const std::string& value : values) {
        EXPECT_EQ(ReplyDifference({Element("1", value)}), "") << value;
    }
    EXPECT_EQ(PlainReceived(Element("1", good)).first, "good");
    const std::string whole = Element("1", good);
    for (std::size_t cut = 0; cut < whole.size(); ++cut) {
        EXPECT_EQ(ReplyDifference({whole.substr(0, cut)}), "") << cut;
    }
    std::istringstream words(
        "<PARAMETER1 SIZE= 4 > " + good +
        " </PARAMETER1> 0 -5 99999999999 size= </PARAMETER1 <PARAMETER <PARAMETER1SIZE=4> " +
        std::string(254, '0') + " " + Element("10", good) + " " + Element("1", goody));
    Tokens tokens(std::istream_iterator<std::string>(words), {});
    tokens.insert(tokens.end(), {" ", "\0"s});
    testing::ExpectAgreement(
        20000,
        [&](std::mt19937& random) {
            Tokens reply(1 + random() % 9);
            for (std::string& token : reply) token = tokens[random() % tokens.size()];
            const std::size_t right = std::min<std::size_t>(random() % 7, reply.size());
            std::copy_n(tokens.begin(), right, reply.begin());
            return reply;
        },
        ReplyDifference);
}

TEST(Envelope, WithoutMemoryNothingIsAddedOrFilled) {
    const testing::ReportWatcher silence;
    const Bytes record = BytesOf(Noise(648, 99));
    const int adding = FailEachAllocation([&](int number, bool andAllAfter) {
        std::vector<char> request(kRemoteTextSize);
        BuildExecRequest(request, "AppointmentAdd");
        const std::string before = request.data();
        const FailingAllocations failing(number, andAllAfter);
        const bool added = AddRequestParameter(request, 1, record);
        EXPECT_EQ(before == request.data(), !added) << number;
        return !added;
    });
    EXPECT_GE(adding, 3);
    const std::string reply = Element("1", ValueText(testing::TextOf(record)));
    const int filling = FailEachAllocation([&](int number, bool andAllAfter) {
        Bytes area(record.size());
        const FailingAllocations failing(number, andAllAfter);
        const bool filled = GetResponseParameter(reply, 1, area);
        EXPECT_EQ(area == record, filled) << number;
        return !filled;
    });
    EXPECT_GE(filling, 2);
}

TEST(ElementText, IsWhatStandsBetweenTheFirstTags) {
    const std::pair<const char*, std::optional<std::string>> cases[] = {
        {"<METHOD>a</METHOD><METHOD>b</METHOD>", "a"}, {"<METHOD></METHOD>", ""},
        {"<METHODS>a</METHODS>", std::nullopt},        {"</METHOD><METHOD>a", std::nullopt},
        {"<METHOD>a</METHOD", std::nullopt},           {"<method>a</method>", std::nullopt},
    };
    for (const auto& [text, value] : cases) EXPECT_EQ(ElementText(text, "METHOD"), value) << text;
}

}  // namespace
}  // namespace tarnwick
