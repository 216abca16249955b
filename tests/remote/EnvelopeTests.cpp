#include <gtest/gtest.h>

#include "remote/Envelope.h"
#include "remote/Lzw.h"
#include "remote/shared/Base64.h"
#include "tests/remote/CodecBytes.h"
#include "tests/support/FailingAllocations.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::Bytes;
using testing::BytesOf;
using testing::Codes;
using testing::FailEachAllocation;
using testing::FailingAllocations;
using testing::ReportRecorder;

constexpr std::string_view kEnvelopeStart = "<DATA><METHOD>EXEC</METHOD><FUNCTION>";
constexpr std::string_view kEnvelopeEnd = "</FUNCTION><PARAMETERS></PARAMETERS></DATA>";

std::string TextOf(const std::vector<char>& area) {
    return {area.data()};
}

// The value text of `data`: what a peer writes.
std::string ValueText(const Bytes& data) {
    Bytes stream(LzwWorstSize(data.size()));
    stream.resize(LzwCompress(data, stream));
    return Base64EncodeAlloc(stream);
}

std::string StreamText(const Codes& codes) {
    return Base64EncodeAlloc(testing::Stream(codes));
}

std::string Element(const std::string& number, const std::string& value) {
    return "<PARAMETER" + number + " SIZE=4>" + value + "</PARAMETER" + number + ">";
}

// A record filled so that its value needs most of what such a record can need.
Bytes Noise(std::size_t size) {
    return BytesOf(testing::Noise(size, 99));
}

const std::string kKept = "kept";

// What a reply leaves in a record of four bytes that held "kept".
std::string Received(const std::string& reply, int number = 1) {
    ReportRecorder reports;
    Bytes record = BytesOf(kKept);
    const bool received = GetResponseParameter(reply, number, record);
    const std::string text(reinterpret_cast<const char*>(record.data()), record.size());
    EXPECT_TRUE(received || text == kKept) << reply;
    return text;
}

TEST(BuildExecRequest, WritesTheEnvelopeCutToItsArea) {
    std::vector<char> request(kRemoteTextSize, '#');
    EXPECT_TRUE(BuildExecRequest(request, "AppointmentAdd"));
    const std::string whole =
        std::string(kEnvelopeStart) + "AppointmentAdd" + std::string(kEnvelopeEnd);
    EXPECT_EQ(TextOf(request), whole);
    for (const std::size_t size : {std::size_t{1}, std::size_t{40}, whole.size()}) {
        std::vector<char> small(size, '#');
        EXPECT_TRUE(BuildExecRequest(small, "AppointmentAdd"));
        EXPECT_EQ(TextOf(small), whole.substr(0, size - 1));
    }
    EXPECT_TRUE(BuildExecRequest({}, "AppointmentAdd"));
}

TEST(AddRequestParameter, TracesEachStepInOneReport) {
    ReportRecorder reports;
    std::vector<char> request(kRemoteTextSize);
    BuildExecRequest(request, "AppointmentListItemListSetPosition");
    EXPECT_TRUE(AddRequestParameter(request, 1, BytesOf("AAA")));
    EXPECT_TRUE(AddRequestParameter(request, 2, {}));
    const std::vector<std::pair<ReportChannel, std::string>> expected = {
        {ReportChannel::StandardOutput,
         "compressing...\nCompressed size: 4\nResult of base64 encoding: QQAAAQ==\nSize:8\n"},
        {ReportChannel::StandardOutput,
         "compressing...\nCompressed size: 0\nResult of base64 encoding: \nSize:0\n"},
        {ReportChannel::StandardOutput, "Warning: Serialising returned empty buffer\n"}};
    EXPECT_EQ(reports.Take(), expected);
    EXPECT_NE(TextOf(request).find("<PARAMETER2 SIZE=0></PARAMETER2></PARAMETERS>"),
              std::string::npos);
}

TEST(AddRequestParameter, LeavesATextWithoutAPlaceForParametersAndTracesIt) {
    ReportRecorder reports;
    std::vector<char> request(64, '\0');
    BuildExecRequest(request, "F");
    const std::string cut = TextOf(request).substr(0, 50);
    request[50] = '\0';
    EXPECT_TRUE(AddRequestParameter(request, 1, BytesOf("A")));
    EXPECT_EQ(TextOf(request), cut);
    EXPECT_EQ(reports.Take().back().second, "{" + cut + "}\n");
}

TEST(AddRequestParameter, TheLargestRecordsFitWhateverTheyHold) {
    ReportRecorder reports;
    for (const std::size_t size : {513U, 648U, 1023U, 1024U, 5388U, 8772U}) {
        const Bytes record = Noise(size);
        std::vector<char> request(kRemoteTextSize);
        BuildExecRequest(request, "AppointmentItemWriteNextChunk");
        ASSERT_TRUE(AddRequestParameter(request, 1, record));
        Bytes back(size);
        ASSERT_TRUE(GetResponseParameter(TextOf(request), 1, back)) << size;
        EXPECT_EQ(back, record) << size;
    }
}

TEST(AddRequestParameter, AValueBeyondTheTextBufferBecomesAnEmptyOne) {
    ReportRecorder reports;
    std::vector<char> request(kRemoteTextSize);
    BuildExecRequest(request, "F");
    EXPECT_TRUE(AddRequestParameter(request, 1, Noise(16000)));
    EXPECT_NE(TextOf(request).find("<PARAMETER1 SIZE=16000></PARAMETER1>"), std::string::npos);
    EXPECT_NE(reports.Joined(ReportChannel::StandardOutput).find("\nSize:-1\nWarning: "),
              std::string::npos);
}

TEST(InsertBeforeParametersEnd, UsesTheFirstEndWhateverTheMarkerSays) {
    std::vector<char> result(64, '#');
    EXPECT_TRUE(InsertBeforeParametersEnd("a</PARAMETERS>b</PARAMETERS>", "b", "[x]", result));
    EXPECT_EQ(TextOf(result), "a[x]</PARAMETERS>b</PARAMETERS>");
    EXPECT_FALSE(InsertBeforeParametersEnd("a</parameters>", "a", "[x]", result));
    EXPECT_EQ(TextOf(result), "a</parameters>");
    std::vector<char> small(6, '#');
    EXPECT_TRUE(InsertBeforeParametersEnd("a</PARAMETERS>", "", "[x]", small));
    EXPECT_EQ(TextOf(small), "a[x]<");
}

TEST(FindResponseParameter, ReadsTheFirstElementWhoseTagBeginsSo) {
    const struct {
        const char* reply;
        int number;
        const char* value;  // null: none
        int size;
    } cases[] = {
        {"<DATA><PARAMETER0 SIZE=4>QQ==</PARAMETER0></DATA>", 0, "QQ==", 4},
        {"<X/><PARAMETER1 SIZE=648 >v</PARAMETER1>", 1, "v", 648},
        {"<PARAMETER1 SIZE=-5>v</PARAMETER1>", 1, "v", -5},
        {"<PARAMETER1 SIZE=99999999999>v</PARAMETER1>", 1, "v", 2147483647},
        {"<PARAMETER1 SIZE= 12x>v</PARAMETER1>", 1, "v", 12},
        {"<PARAMETER1 SIZE=>v</PARAMETER1>", 1, "v", 0},
        {"<PARAMETER1SIZE=4>v</PARAMETER1>", 1, "v", 4},
        // No size, or no end of the start tag, in the element itself.
        {"<PARAMETER1>v</PARAMETER1><PARAMETER1 SIZE=4>w</PARAMETER1>", 1, nullptr, 0},
        {"<PARAMETER1 SIZE=4", 1, nullptr, 0},
        {"<PARAMETER1 size=4>v</PARAMETER1>", 1, nullptr, 0},
        // No end tag behind the value.
        {"<PARAMETER1 SIZE=4>v", 1, nullptr, 0},
        {"<PARAMETER1 SIZE=4>v</PARAMETER1", 1, nullptr, 0},
        {"</PARAMETER1><PARAMETER1 SIZE=4>v</PARAMETER2>", 1, nullptr, 0},
        {"", 0, nullptr, 0},
        // Nested.
        {"<PARAMETER0 SIZE=4>a<PARAMETER1 SIZE=5>b</PARAMETER1>c</PARAMETER0>", 1, "b", 5},
        {"<PARAMETER1 SIZE=4>a<PARAMETER1 SIZE=5>b</PARAMETER1></PARAMETER1>", 1,
         "a<PARAMETER1 SIZE=5>b", 4},
    };
    for (const auto& row : cases) {
        const auto found = FindResponseParameter(row.reply, row.number);
        ASSERT_EQ(found.has_value(), row.value != nullptr) << row.reply;
        if (!found) continue;
        EXPECT_EQ(found->valueText, row.value) << row.reply;
        EXPECT_EQ(found->size, row.size) << row.reply;
    }
}

TEST(FindResponseParameter, Number1TakesTheStartTagOfNumber10ThatComesFirst) {
    const std::string reply = Element("10", "ten") + Element("1", "one");
    EXPECT_EQ(FindResponseParameter(reply, 1)->valueText,
              "ten</PARAMETER10><PARAMETER1 SIZE=4>one");
    EXPECT_EQ(Received(Element("10", ValueText(BytesOf("tenx"))) +
                       Element("1", ValueText(BytesOf("onex")))),
              kKept);
    EXPECT_EQ(Received(Element("1", ValueText(BytesOf("onex"))) +
                       Element("10", ValueText(BytesOf("tenx")))),
              "onex");
}

TEST(FindResponseParameter, LooksAt255SizeDigitsAndEndsAtTheFirstNul) {
    const std::string zeros(254, '0');
    const std::string reply = "<PARAMETER1 SIZE=" + zeros + "79>v</PARAMETER1>";
    EXPECT_EQ(FindResponseParameter(reply, 1)->size, 7);
    const std::string withNul = "<PARAMETER1 SIZE=4>v" + std::string(1, '\0') + "</PARAMETER1>";
    EXPECT_FALSE(FindResponseParameter(withNul, 1).has_value());
    // A value is cut like the text buffer that it was once copied to.
    const std::string huge = Element("1", std::string(40000, 'A'));
    EXPECT_EQ(FindResponseParameter(huge, 1)->valueText.size(), kRemoteTextSize - 1);
}

TEST(GetResponseParameter, TakesARecordOnlyWhole) {
    const std::string good = ValueText(BytesOf("good"));
    const struct {
        const char* what;
        std::string reply;
        std::string record;
    } cases[] = {
        {"whole", Element("1", good), "good"},
        {"white space in the value", Element("1", " " + good + "\r\n"), "good"},
        {"SIZE bounds nothing", "<PARAMETER1 SIZE=-1>" + good + "</PARAMETER1>", "good"},
        {"the first of two", Element("1", good) + Element("1", ValueText(BytesOf("late"))), "good"},
        {"empty value", Element("1", ""), kKept},
        {"base64 without its padding", Element("1", "QQA"), kKept},
        {"expands short", Element("1", ValueText(BytesOf("goo"))), kKept},
        {"expands beyond the record", Element("1", ValueText(BytesOf("goody"))), kKept},
        {"half a code", Element("1", "QQ=="), kKept},
        {"lost string", Element("1", StreamText({'g', 'o', 'o', 0xFFFF})), kKept},
        {"code above the count", Element("1", StreamText({'g', 'o', 300})), kKept},
        {"fault behind a whole record", Element("1", StreamText({'g', 'o', 'o', 'd', 999})), kKept},
    };
    for (const auto& row : cases) EXPECT_EQ(Received(row.reply), row.record) << row.what;
    const std::string whole = Element("1", good);
    for (std::size_t cut = 0; cut < whole.size(); ++cut) {
        EXPECT_EQ(Received(whole.substr(0, cut)), kKept) << cut;
    }
}

TEST(GetResponseParameter, TracesEachStepInOneReport) {
    const struct {
        std::string reply;
        std::string trace;
    } cases[] = {
        {Element("1", ValueText(BytesOf("AAAA"))),
         "decompressing\nB64Source length: 8 parameter size=4\nDecoded size=6\n"
         "Uncompressed size=4\nFreeing\n"},
        {Element("1", "????"),
         "decompressing\nB64Source length: 4 parameter size=4\nDecoded size=-1\n"},
        {Element("1", StreamText({'A', 0xFFFF})),
         "decompressing\nB64Source length: 8 parameter size=4\nDecoded size=4\n"
         "Something wrong\nUncompressed size=1\nFreeing\n"},
        {"",
         "decompressing\nB64Source length: 0 parameter size=4\nDecoded size=0\n"
         "Uncompressed size=0\nFreeing\n"},
    };
    for (const auto& row : cases) {
        ReportRecorder reports;
        Bytes record(4);
        GetResponseParameter(row.reply, 1, record);
        const auto taken = reports.Take();
        ASSERT_EQ(taken.size(), 1U) << row.reply;
        EXPECT_EQ(taken[0].second, row.trace) << row.reply;
    }
}

class Silence : public ReportSink {
  public:
    Silence() { SetReportSink(this); }
    ~Silence() override { SetReportSink(nullptr); }
    void Report(ReportChannel /*channel*/, std::string_view /*text*/) override {}
};

TEST(Envelope, WithoutMemoryNothingIsAddedOrFilled) {
    const Silence silence;
    const Bytes record = Noise(648);
    const int adding = FailEachAllocation([&](int number, bool andAllAfter) {
        std::vector<char> request(kRemoteTextSize);
        BuildExecRequest(request, "AppointmentAdd");
        const std::string before = TextOf(request);
        const FailingAllocations failing(number, andAllAfter);
        const bool added = AddRequestParameter(request, 1, record);
        EXPECT_EQ(before == request.data(), !added) << number;
        return !added;
    });
    EXPECT_GE(adding, 3);
    const std::string reply = Element("1", ValueText(record));
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
