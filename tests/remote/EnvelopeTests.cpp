// Requests and replies beside plain ones, also cut, damaged and short of memory.
#include <gtest/gtest.h>

#include <iterator>
#include <numeric>
#include <sstream>

#include "remote/Envelope.h"
#include "tests/remote/PlainCodec.h"
#include "tests/support/FailingAllocations.h"
#include "tests/support/Model.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::AreaOf;
using testing::BytesOf;
using testing::FailingAllocations;
using testing::Noise;
using testing::ReportRecorder;

using Tokens = std::vector<std::string>;
constexpr auto kNone = std::string::npos;

std::string Cut(const std::string& text, std::size_t size) {
    return text.substr(0, size - 1);
}

// The value text of some bytes, empty when it does not fit, and its trace.
std::pair<std::string, std::string> PlainValue(const std::string& data) {
    const std::string stream = testing::PlainCompress(data);
    const auto [length, area] = testing::PlainEncode(stream, kRemoteTextSize);
    const std::string text = area.substr(0, static_cast<std::size_t>(length < 0 ? 0 : length));
    return {text, "compressing...\nCompressed size: " + std::to_string(stream.size()) +
                      "\nResult of base64 encoding: " + text + "\nSize:" + std::to_string(length) +
                      "\n"};
}

std::string Element(const std::string& number, const std::string& value, std::size_t size = 4) {
    const std::string name = "PARAMETER" + number;
    return "<" + name + " SIZE=" + std::to_string(size) + ">" + value + "</" + name + ">";
}

std::optional<std::pair<std::string, long long>> PlainFound(std::string reply) {
    reply = reply.c_str();
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
    const std::string text = PlainFound(reply).value_or(std::pair("", 0)).first;
    const auto [count, area] = testing::PlainDecode(text, text.size());
    const std::string trace = "decompressing\nB64Source length: " + std::to_string(text.size()) +
                              " parameter size=4\nDecoded size=" + std::to_string(count) + "\n";
    if (count < 0) return {"kept", trace};
    const std::string stream = area.substr(0, static_cast<std::size_t>(count));
    const auto [bytes, fault] = testing::PlainExpand(stream, 4);
    return {fault == LzwFault::None && bytes.size() == 4 ? bytes : "kept",
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
    const ReportRecorder reports;
    std::string record = "kept";
    const bool isFilled = GetResponseParameter(reply, 1, AreaOf(record));
    const auto [expected, trace] = PlainReceived(reply);
    if (record != expected) return "the record";
    if (isFilled != (expected != "kept")) return "the result";
    return reports.Joined(ReportChannel::StandardOutput) == trace ? "" : "the trace";
}

TEST(Request, IsBuiltAndTracedLikeAPlainOneCutToItsArea) {
    // Noise whose texts end around the bounds, and the sizes of records.
    Tokens values = {
        "", "AAA", std::string(16000, 'a'), Noise(16000, 1), Noise(648, 1), Noise(8772, 1)};
    for (std::size_t size = 12404; size < 12424; ++size) values.push_back(Noise(size, 7));
    std::vector<std::size_t> rooms(150);
    std::iota(rooms.begin(), rooms.end(), 1);
    rooms.insert(rooms.end(), {32768, 70000});
    std::mt19937 random(1);
    for (const std::string& value : values) {
        auto [text, trace] = PlainValue(value);
        if (text.empty()) trace += "Warning: Serialising returned empty buffer\n";
        for (const std::size_t room : rooms) {
            if (room < 150 && value.size() > 10) continue;
            const ReportRecorder reports;
            const int number = static_cast<int>(random() % 12);
            std::vector<char> request(room, '#');
            BuildExecRequest(request, "F");
            std::string expected = Cut(
                "<DATA><METHOD>EXEC</METHOD><FUNCTION>F</FUNCTION><PARAMETERS></PARAMETERS></DATA>",
                room);
            ASSERT_EQ(request.data(), expected);
            const std::string element =
                Cut(Element(std::to_string(number), text, value.size()), kRemoteTextSize);
            const std::size_t place = expected.find("</PARAMETERS>");
            if (place != kNone) expected = Cut(expected.insert(place, element), room);
            EXPECT_TRUE(AddRequestParameter(request, number, BytesOf(value)));
            ASSERT_EQ(request.data(), expected) << value.size();
            ASSERT_EQ(reports.Joined(ReportChannel::StandardOutput),
                      trace + (place == kNone ? "{" + expected + "}\n" : ""));
        }
    }
    std::vector<char> larger(2 * kRemoteTextSize);
    EXPECT_EQ(EncodeParameter(BytesOf(Noise(16000, 1)), larger), 0U) << "whatever the area";
    BuildExecRequest({}, "F");
    EXPECT_TRUE(InsertBeforeParametersEnd("b</PARAMETERS></PARAMETERS>", "b", "[x]", larger));
    EXPECT_STREQ(larger.data(), "b[x]</PARAMETERS></PARAMETERS>");
}

TEST(Reply, IsReadLikeAPlainOne) {
    using std::string_literals::operator""s;
    const std::string good = PlainValue("good").first;
    const std::string goody = PlainValue("goody").first;
    EXPECT_EQ(PlainReceived(Element("1", good)).first, "good");
    // Values that fill the record, and all that may be wrong with one.
    Tokens values = {good,  " " + good + "\r\n", "", "????????????", PlainValue("goo").first, goody,
                     "QQ=="};
    for (const auto& stream : {"g\0o\0o\0\xFF\xFF"s, "g\0o\0\x2C\x01"s, "g\0o\0o\0d\0\xE7\x03"s}) {
        const auto [length, area] = testing::PlainEncode(stream, 100);
        values.push_back(area.substr(0, static_cast<std::size_t>(length)));
    }
    for (const std::size_t size : {32766U, 32767U, 32768U}) values.emplace_back(size, 'A');
    for (const std::string& value : values) {
        EXPECT_EQ(ReplyDifference({Element("1", value)}), "") << value;
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
    const std::string record = Noise(648, 99);
    const std::string reply = Element("1", PlainValue(record).first);
    testing::FailEachAllocation([&](int number, bool andAllAfter) {
        std::vector<char> request(kRemoteTextSize);
        BuildExecRequest(request, "AppointmentAdd");
        const std::string before = request.data();
        std::string area(record.size(), '\0');
        const FailingAllocations failing(number, andAllAfter);
        const bool isAdded = AddRequestParameter(request, 1, BytesOf(record));
        const bool isFilled = GetResponseParameter(reply, 1, AreaOf(area));
        const bool failed = FailingAllocations::Any();
        EXPECT_EQ(before == request.data(), !isAdded) << number;
        EXPECT_EQ(area == record, isFilled) << number;
        EXPECT_NE(failed, isAdded && isFilled);
        return failed;
    });
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
