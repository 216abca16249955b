// Requests and replies beside plain ones, also cut, damaged and short of memory.
#include <gtest/gtest.h>

#include <iterator>
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

TEST(Request, IsTheEnvelopeCutToItsArea) {
    const std::string whole =
        "<DATA><METHOD>EXEC</METHOD><FUNCTION>F</FUNCTION><PARAMETERS></PARAMETERS></DATA>";
    const std::string_view text = "a</PARAMETERS b</PARAMETERS>c</PARAMETERS>";
    BuildExecRequest({}, "F");
    for (std::size_t size = 1; size <= whole.size() + 2; ++size) {
        std::vector<char> area(size, '#');
        BuildExecRequest(area, "F");
        EXPECT_EQ(area.data(), Cut(whole, size));
        EXPECT_TRUE(InsertBeforeParametersEnd(text, "b", "[x]", area));
        EXPECT_EQ(area.data(), Cut("a</PARAMETERS b[x]</PARAMETERS>c</PARAMETERS>", size));
        EXPECT_FALSE(InsertBeforeParametersEnd("a</parameters>", "a", "[x]", area));
        EXPECT_EQ(area.data(), Cut("a</parameters>", size));
    }
}

TEST(Request, ParametersAreAddedAndTracedLikePlainOnes) {
    // Noise whose texts end around the bounds, and the sizes of records.
    Tokens values = {
        "AAA",         "", std::string(16000, 'a'), Noise(16000, 1), Noise(648, 1), Noise(5388, 1),
        Noise(8772, 1)};
    for (std::size_t size = 12404; size < 12424; ++size) values.push_back(Noise(size, 7));
    std::mt19937 random(1);
    while (values.size() < 40) values.push_back(testing::MixedText(random));
    for (const std::string& value : values) {
        auto [text, trace] = PlainValue(value);
        if (text.empty()) trace += "Warning: Serialising returned empty buffer\n";
        for (const std::size_t room : {100U, 150U, 32768U, 70000U}) {
            const ReportRecorder reports;
            const int number = static_cast<int>(random() % 12);  // 0: no place for parameters
            std::vector<char> request(room);
            BuildExecRequest(request, "F");
            if (number == 0) request[27] = '\0';
            std::string expected = request.data();
            const std::string element =
                Cut(Element(std::to_string(number), text, value.size()), kRemoteTextSize);
            const std::size_t place = expected.find("</PARAMETERS>");
            if (place != kNone) expected = Cut(expected.insert(place, element), room);
            EXPECT_TRUE(AddRequestParameter(request, number, BytesOf(value)));
            ASSERT_EQ(request.data(), expected) << value.size();
            ASSERT_EQ(reports.Joined(ReportChannel::StandardOutput),
                      trace + (place == kNone ? "{" + expected + "}\n" : ""));
            std::string back(value.size(), '\0');
            const bool isWhole = number > 0 && room > 9000 && !text.empty() && value.size() < 9000;
            EXPECT_TRUE(!isWhole || (GetResponseParameter(request.data(), number, AreaOf(back)) &&
                                     back == value));
        }
    }
    std::vector<char> larger(2 * kRemoteTextSize);
    EXPECT_EQ(EncodeParameter(BytesOf(Noise(16000, 1)), larger), 0U) << "whatever the area";
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
    const std::string record = Noise(648, 99);
    const std::string reply = Element("1", PlainValue(record).first);
    const int count = testing::FailEachAllocation([&](int number, bool andAllAfter) {
        std::vector<char> request(kRemoteTextSize);
        BuildExecRequest(request, "AppointmentAdd");
        const std::string before = request.data();
        std::string area(record.size(), '\0');
        bool isAdded = false, isFilled = false;
        {
            const FailingAllocations failing(number, andAllAfter);
            isAdded = AddRequestParameter(request, 1, BytesOf(record));
        }
        EXPECT_EQ(before == request.data(), !isAdded) << number;
        const bool isAddingShort = FailingAllocations::Any();
        {
            const FailingAllocations failing(number, andAllAfter);
            isFilled = GetResponseParameter(reply, 1, AreaOf(area));
        }
        EXPECT_EQ(area == record, isFilled) << number;
        return isAddingShort || FailingAllocations::Any();
    });
    EXPECT_GE(count, 3);
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
