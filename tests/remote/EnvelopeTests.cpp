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
using testing::FailEachAllocation;
using testing::FailingAllocations;
using testing::Noise;
using testing::ReportRecorder;

std::string TextIn(const std::vector<char>& area) {
    return {area.data()};
}

// The value text of `data`: what a peer writes.
std::string ValueText(const Bytes& data) {
    Bytes stream(LzwWorstSize(data.size()));
    stream.resize(LzwCompress(data, stream));
    return Base64EncodeAlloc(stream);
}

std::string Element(const std::string& number, const std::string& value) {
    return "<PARAMETER" + number + " SIZE=4>" + value + "</PARAMETER" + number + ">";
}

const std::string kKept = "kept";

// What a reply leaves in a record of four bytes that held "kept", and the traces of that.
std::pair<std::string, std::string> Received(const std::string& reply) {
    ReportRecorder reports;
    Bytes record = BytesOf(kKept);
    const bool received = GetResponseParameter(reply, 1, record);
    EXPECT_TRUE(received || testing::TextOf(record) == kKept) << reply;
    const auto taken = reports.Take();
    EXPECT_EQ(taken.size(), 1U) << "one report for all steps";
    return {testing::TextOf(record), taken.front().second};
}

TEST(Request, IsTheEnvelopeCutToItsArea) {
    const std::string whole =
        "<DATA><METHOD>EXEC</METHOD><FUNCTION>F</FUNCTION><PARAMETERS></PARAMETERS></DATA>";
    for (std::size_t size = 0; size <= whole.size() + 2; ++size) {
        std::vector<char> request(size, '#');
        EXPECT_TRUE(BuildExecRequest(request, "F"));
        EXPECT_TRUE(size == 0 || TextIn(request) == whole.substr(0, size - 1)) << size;
    }
    const std::string_view text = "a</PARAMETERS>b</PARAMETERS>";
    for (std::size_t size = 1; size < 40; ++size) {
        std::vector<char> result(size, '#');
        EXPECT_TRUE(InsertBeforeParametersEnd(text, "b", "[x]", result));
        EXPECT_EQ(TextIn(result),
                  std::string("a[x]</PARAMETERS>b</PARAMETERS>").substr(0, size - 1));
        EXPECT_FALSE(InsertBeforeParametersEnd("a</parameters>", "a", "[x]", result));
        EXPECT_EQ(TextIn(result), std::string("a</parameters>").substr(0, size - 1));
    }
}

TEST(Request, ParametersAreTracedAsTheyAreAdded) {
    const std::string large = Noise(16000, 1);
    Bytes stream(LzwWorstSize(large.size()));
    const std::string largeSize = std::to_string(LzwCompress(BytesOf(large), stream));
    const struct {
        std::string value;
        std::string element;  // none: the request has no place for it
        std::string trace;
    } rows[] = {
        {"AAA", "<PARAMETER12 SIZE=3>QQAAAQ==</PARAMETER12>",
         "compressing...\nCompressed size: 4\nResult of base64 encoding: QQAAAQ==\nSize:8\n"},
        {"", "<PARAMETER12 SIZE=0></PARAMETER12>",
         "compressing...\nCompressed size: 0\nResult of base64 encoding: \nSize:0\n"
         "Warning: Serialising returned empty buffer\n"},
        {large, "<PARAMETER12 SIZE=16000></PARAMETER12>",
         "compressing...\nCompressed size: " + largeSize +
             "\nResult of base64 encoding: \nSize:-1\n"
             "Warning: Serialising returned empty buffer\n"},
        {"A", "",
         "compressing...\nCompressed size: 2\nResult of base64 encoding: QQA=\nSize:4\n"
         "{<DATA><METHOD>EXEC</METHOD>}\n"},
    };
    for (const auto& row : rows) {
        const ReportRecorder reports;
        std::vector<char> request(kRemoteTextSize);
        BuildExecRequest(request, "F");
        if (row.element.empty()) request[27] = '\0';
        std::string expected = TextIn(request);
        expected.insert(row.element.empty() ? 0 : expected.find("</PARAMETERS>"), row.element);
        EXPECT_TRUE(AddRequestParameter(request, 12, BytesOf(row.value)));
        EXPECT_EQ(TextIn(request), expected);
        EXPECT_EQ(reports.Joined(ReportChannel::StandardOutput), row.trace);
    }
}

TEST(Request, TheLargestRecordsFitWhateverTheyHold) {
    const ReportRecorder unseen;
    for (const std::size_t size : {1U, 513U, 648U, 1023U, 1024U, 5388U, 8772U}) {
        const Bytes record = BytesOf(Noise(size, 99));
        std::vector<char> request(kRemoteTextSize);
        BuildExecRequest(request, "AppointmentItemWriteNextChunk");
        ASSERT_TRUE(AddRequestParameter(request, 1, record));
        Bytes back(size);
        ASSERT_TRUE(GetResponseParameter(TextIn(request), 1, back)) << size;
        EXPECT_EQ(back, record) << size;
    }
}

TEST(Reply, HasTheFirstElementWhoseTagBeginsSo) {
    const std::string huge(40000, 'A');
    const std::string zeros(254, '0');
    const struct {
        std::string reply;
        std::optional<std::string> value;
        int size = 0;
    } cases[] = {
        {"<DATA><PARAMETER1 SIZE=4>QQ==</PARAMETER1></DATA>", "QQ==", 4},
        {"<X/><PARAMETER1 SIZE=648 >v</PARAMETER1>", "v", 648},
        {"<PARAMETER1 SIZE=-5>v</PARAMETER1>", "v", -5},
        {"<PARAMETER1 SIZE=99999999999>v</PARAMETER1>", "v", 2147483647},
        {"<PARAMETER1 SIZE= 12x>v</PARAMETER1>", "v", 12},
        {"<PARAMETER1 SIZE=>v</PARAMETER1>", "v", 0},
        {"<PARAMETER1SIZE=4>v</PARAMETER1>", "v", 4},
        {"<PARAMETER1 SIZE=" + zeros + "79>v</PARAMETER1>", "v", 7},
        {Element("1", huge), huge.substr(0, kRemoteTextSize - 1), 4},
        // No size, or no end of the start tag, in the element itself.
        {"<PARAMETER1>v</PARAMETER1><PARAMETER1 SIZE=4>w</PARAMETER1>", {}},
        {"<PARAMETER1 SIZE=4", {}},
        {"<PARAMETER1 size=4>v</PARAMETER1>", {}},
        // No end tag behind the value.
        {"<PARAMETER1 SIZE=4>v", {}},
        {"<PARAMETER1 SIZE=4>v</PARAMETER1", {}},
        {"<PARAMETER1 SIZE=4>v" + std::string(1, '\0') + "</PARAMETER1>", {}},
        {"</PARAMETER1><PARAMETER1 SIZE=4>v</PARAMETER2>", {}},
        {"", {}},
        // Nested, and number 10 in front.
        {"<PARAMETER0 SIZE=4>a<PARAMETER1 SIZE=5>b</PARAMETER1>c</PARAMETER0>", "b", 5},
        {"<PARAMETER1 SIZE=4>a<PARAMETER1 SIZE=5>b</PARAMETER1></PARAMETER1>",
         "a<PARAMETER1 SIZE=5>b", 4},
        {Element("10", "ten") + Element("1", "one"), "ten</PARAMETER10><PARAMETER1 SIZE=4>one", 4},
    };
    for (const auto& row : cases) {
        const auto found = FindResponseParameter(row.reply, 1);
        ASSERT_EQ(found.has_value(), row.value.has_value()) << row.reply;
        if (!found) continue;
        EXPECT_EQ(found->valueText, *row.value) << row.reply;
        EXPECT_EQ(found->size, row.size) << row.reply;
    }
}

TEST(Reply, FillsARecordOnlyWhole) {
    const std::string good = ValueText(BytesOf("good"));
    const auto codes = [](std::string_view stream) { return Base64EncodeAlloc(BytesOf(stream)); };
    using std::string_view_literals::operator""sv;
    const std::string counts = "decompressing\nB64Source length: 12 parameter size=4\n";
    const struct {
        const char* what;
        std::string reply;
        std::string record;
        std::string trace = "";  // empty: any
    } cases[] = {
        {"whole", Element("1", good), "good",
         counts + "Decoded size=8\nUncompressed size=4\nFreeing\n"},
        {"white space in the value", Element("1", " " + good + "\r\n"), "good"},
        {"SIZE bounds nothing", "<PARAMETER1 SIZE=-1>" + good + "</PARAMETER1>", "good"},
        {"the first of two", Element("1", good) + Element("1", ValueText(BytesOf("late"))), "good"},
        {"none", "", kKept,
         "decompressing\nB64Source length: 0 parameter size=4\nDecoded size=0\n"
         "Uncompressed size=0\nFreeing\n"},
        {"empty value", Element("1", ""), kKept},
        {"no base64", Element("1", "????????????"), kKept, counts + "Decoded size=-1\n"},
        {"expands short", Element("1", ValueText(BytesOf("goo"))), kKept},
        {"expands beyond the record", Element("1", ValueText(BytesOf("goody"))), kKept},
        {"half a code", Element("1", "QQ=="), kKept},
        {"lost string", Element("1", codes("g\0o\0o\0\xFF\xFF"sv)), kKept,
         counts + "Decoded size=8\nSomething wrong\nUncompressed size=3\nFreeing\n"},
        {"code above the count", Element("1", codes("g\0o\0\x2C\x01"sv)), kKept},
        {"fault behind a whole record", Element("1", codes("g\0o\0o\0d\0\xE7\x03"sv)), kKept},
    };
    for (const auto& row : cases) {
        const auto [record, trace] = Received(row.reply);
        EXPECT_EQ(record, row.record) << row.what;
        EXPECT_TRUE(row.trace.empty() || trace == row.trace) << row.what << ": " << trace;
    }
    const std::string whole = Element("1", good);
    for (std::size_t cut = 0; cut < whole.size(); ++cut) {
        EXPECT_EQ(Received(whole.substr(0, cut)).first, kKept) << cut;
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
    const Bytes record = BytesOf(Noise(648, 99));
    const int adding = FailEachAllocation([&](int number, bool andAllAfter) {
        std::vector<char> request(kRemoteTextSize);
        BuildExecRequest(request, "AppointmentAdd");
        const std::string before = TextIn(request);
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
