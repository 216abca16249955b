// The quick codings, requests and replies beside plain ones, also cut, damaged and short of memory.
// Areas end where the sanitizers look.
#include <gtest/gtest.h>

#include <iterator>
#include <numeric>
#include <sstream>

#include "remote/Envelope.h"
#include "remote/shared/Base64.h"
#include "tests/remote/PlainCodec.h"
#include "tests/support/AllTexts.h"
#include "tests/support/FailingAllocations.h"
#include "tests/support/Model.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::Agrees;
using testing::AllTexts;
using testing::AreaOf;
using testing::BytesOf;
using testing::Coded;
using testing::FailingAllocations;
using testing::Noise;
using testing::ReportRecorder;

std::string Base64Difference(const std::string& text, std::size_t size) {
    std::string area(size, '#');
    const std::ptrdiff_t result = Base64Decode(text, AreaOf(area));
    if (testing::PlainDecode(text, size) != Coded{result, area}) return "decoding";
    if (Base64Decode(text, nullptr) != testing::PlainDecode(text, text.size() + 1).first)
        return "counting";
    std::string encoded(size, '#');
    const std::ptrdiff_t length = Base64Encode(BytesOf(text), encoded);
    if (testing::PlainEncode(text, size) != Coded{length, encoded}) return "encoding";
    return "";
}

TEST(Base64, CodesLikeThePlainCoder) {
    for (const std::string& text : AllTexts("Zm9=-\n", 5)) {
        for (std::size_t size = 0; size < 9; ++size)
            ASSERT_EQ(Base64Difference(text, size), "") << text;
    }
    // Each character anywhere in a text.
    const std::string text = Base64EncodeAlloc(BytesOf(Noise(24, 5)));
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (int character = 0; character < 256; ++character) {
            std::string changed = text;
            changed[at] = static_cast<char>(character);
            ASSERT_EQ(Base64Difference(changed, 25), "") << at << " " << character;
        }
    }
    // Long texts as a peer sends them, whole, damaged and with white space, and areas around their
    // size.
    for (const int less : {-1, 0, 1, 3, 40}) {
        testing::ExpectAgreement(
            20,
            [](std::mt19937& random) {
                std::string sent = Base64EncodeAlloc(BytesOf(testing::MixedText(random)));
                for (unsigned damages = random() % 3; damages > 0; --damages) {
                    sent.insert(random() % sent.size(), 1, " \n=A-"[random() % 5]);
                }
                return sent;
            },
            [&](const std::string& sent) {
                const int size = static_cast<int>(sent.size() / 4 * 3) - less;
                return Base64Difference(sent, static_cast<std::size_t>(std::max(size, 0)));
            });
    }
}

TEST(Base64, IntoMemoryOfItsOwn) {
    for (const std::string text : {"", "f", "fo", "foo", "foob"}) {
        const std::string encoded = Base64EncodeAlloc(BytesOf(text));
        EXPECT_EQ(encoded, testing::PlainEncode(text, 9).second.substr(0, encoded.size()));
        EXPECT_EQ(encoded.size(), Base64EncodedLength(text.size()));
        const auto decoded = Base64DecodeAlloc(encoded);
        EXPECT_TRUE(decoded && std::ranges::equal(*decoded, BytesOf(text)));
        EXPECT_EQ(Base64DecodeAlloc(encoded + "-"), std::nullopt);
    }
}

std::string Compressed(const std::string& text) {
    std::string stream(LzwWorstSize(text.size()), '\0');
    stream.resize(LzwCompress(BytesOf(text), AreaOf(stream)));
    return stream;
}

std::string ExpansionDifference(const std::string& stream, std::size_t size) {
    std::string area(size, '\0');
    const LzwExpansion expansion = LzwExpand(BytesOf(stream), AreaOf(area));
    area.resize(expansion.length);
    const auto [plain, fault] = testing::PlainExpand(stream, size);
    if (expansion.fault != fault) return "the fault";
    return area == plain ? "" : "the bytes";
}

// The quick coder writes the plain coder's codes, and the text comes back from them.
std::string CodingDifference(const std::string& text) {
    const std::string stream = Compressed(text);
    if (stream != testing::PlainCompress(text)) return "the codes";
    return testing::PlainExpand(stream, text.size()).first == text
               ? ExpansionDifference(stream, text.size())
               : "the text";
}

TEST(Lzw, CodesLikeThePlainCoder) {
    using std::string_literals::operator""s;
    EXPECT_EQ(Compressed("ABABABA"), "A\0B\0\0\1\2\1"s);
    std::string area(7, '#');
    EXPECT_EQ(LzwCompress(BytesOf("aaaa"), AreaOf(area)), 0U) << "below the worst case";
    EXPECT_EQ(area, "#######");
    for (const std::string& text : AllTexts("ab", 12)) ASSERT_TRUE(Agrees(text, CodingDifference));
    // Behind runs up to the longest string, and dictionaries nearly and wholly full.
    for (const std::string& head :
         {std::string(62 * 63 / 2, 'a'), std::string(62 * 70, 'a'), Noise(760, 1), Noise(1500, 2),
          Noise(600, 3) + std::string(62 * 40, 'a')}) {
        for (const std::string& tail : AllTexts("ab", 4)) {
            ASSERT_TRUE(Agrees(head + tail, CodingDifference));
        }
    }
    testing::ExpectAgreement(60, testing::MixedText, CodingDifference);
}

std::string CodeOf(int code) {
    return {static_cast<char>(code), static_cast<char>(code >> 8)};
}

TEST(LzwExpand, StopsLikeThePlainExpander) {
    // Single bytes, codes that are being added, far ones, the lost string.
    const int codes[] = {'a', 'b', 256, 257, 258, 1022, 1023, 0x7FFF, 0x8000, 0xFFFF};
    for (const std::string& letters : AllTexts("0123456789", 4)) {
        std::string stream;
        for (const char letter : letters) stream += CodeOf(codes[letter - '0']);
        for (std::size_t size = 0; size < 7; ++size) {
            ASSERT_EQ(ExpansionDifference(stream, size), "") << letters << " into " << size;
            ASSERT_EQ(ExpansionDifference(stream + 'a', size), "") << letters << " into " << size;
        }
    }
    // Long streams whole, cut, with a code changed, and into areas that are too small.
    testing::ExpectAgreement(
        200,
        [](std::mt19937& random) {
            std::string stream = Compressed(testing::MixedText(random));
            stream.resize(stream.size() - (random() % 2 == 0 ? random() % stream.size() : 0));
            if (stream.size() > 1 && random() % 2 == 0) {
                stream.replace(random() % (stream.size() / 2) * 2, 2,
                               CodeOf(static_cast<int>(random() % 1280)));
            }
            return stream;
        },
        [](const std::string& stream) -> std::string {
            const std::size_t size = testing::PlainExpand(stream, 20000).first.size();
            for (const std::size_t less : {0U, 1U, 2U, 15U, 40U, 70U, 1000U}) {
                const std::string difference =
                    ExpansionDifference(stream, size > less ? size - less : 20000);
                if (!difference.empty()) return difference + " of " + std::to_string(size);
            }
            return "";
        });
    // Entries as long as the longest string and one byte more, and behind the last one that fits:
    // 767 codes add 766, the next may name 1022.
    std::vector<std::string> heads = {Compressed(std::string(62 * 63 / 2, 'a')) + CodeOf('b')};
    heads.push_back(heads[0].substr(0, heads[0].size() - 2));
    for (std::size_t singles = 764; singles < 770; ++singles) {
        heads.emplace_back();
        for (const char byte : Noise(singles, 4)) heads.back() += {byte, '\0'};
    }
    for (const std::string& head : heads) {
        for (const int code : {315, 316, 317, 318, 1021, 1022, 1023})
            ASSERT_EQ(ExpansionDifference(head + CodeOf(code) + CodeOf(code), 4000), "") << code;
    }
}

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
