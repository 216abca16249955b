// The parameter codecs against the plain coder and against the coders of other libraries, on the
// same bytes and in the same run.
#include <cstdio>
#include <cstdlib>

#include "bench/BenchReport.h"
#include "bench/CodecPeers.h"
#include "bench/CodecSamples.h"
#include "bench/PlainLzw.h"
#include "remote/Lzw.h"
#include "remote/shared/Base64.h"

namespace tarnwick::bench {
namespace {

using Bytes = std::vector<std::byte>;

const std::uint8_t* Raw(const Bytes& bytes) {
    return reinterpret_cast<const std::uint8_t*>(bytes.data());
}

std::uint8_t* Raw(Bytes& bytes) {
    return reinterpret_cast<std::uint8_t*>(bytes.data());
}

Bytes Compressed(const Bytes& value) {
    Bytes stream(LzwWorstSize(value.size()));
    stream.resize(LzwCompress(value, stream));
    return stream;
}

// The figures mean nothing unless both coders write the same bytes.
void RequireSameCodes(const CodecSample& sample) {
    Bytes plain(LzwWorstSize(sample.value.size()));
    plain.resize(testing::PlainCompress(Raw(sample.value), sample.value.size(), Raw(plain)));
    const Bytes stream = Compressed(sample.value);
    Bytes back(sample.value.size());
    const LzwExpansion expansion = LzwExpand(stream, back);
    if (stream == plain && back == sample.value && expansion.length == back.size()) return;
    std::fprintf(stderr, "%s: the coders differ\n", sample.name.c_str());
    std::exit(1);
}

void CompareCompression(BenchReport& report, const CodecSample& sample) {
    Bytes stream(LzwWorstSize(sample.value.size()));
    const Work ours = [&] { Keep(&stream[LzwCompress(sample.value, stream) - 1]); };
    const Work plain = [&] {
        testing::PlainCompress(Raw(sample.value), sample.value.size(), Raw(stream));
        Keep(stream.data());
    };
    const auto row = [&](const char* other, const Work& work, double goal) {
        const PairTimes times = BestOfPair(ours, work);
        report.AtLeast("lzw compress, " + sample.name + ", " + other, times.ours, times.other,
                       goal);
    };
    GifCompressor gif;
    TiffStrip tiff(sample.value);
    row("plain", plain, sample.value.size() == 648 ? 60 : 50);
    row(
        "giflib", [&] { gif.Compress(sample.value); }, 1);
    row(
        "libtiff", [&] { tiff.Compress(); }, 1);
}

void CompareExpansion(BenchReport& report, const CodecSample& sample) {
    const Bytes stream = Compressed(sample.value);
    Bytes area(sample.value.size());
    const bool isSmall = sample.value.size() == 648;
    const Work ours = [&] { LzwExpand(stream, area), Keep(area.data()); };
    const Work plain = [&] {
        testing::PlainExpand(Raw(stream), stream.size(), Raw(area), area.size());
        Keep(area.data());
    };
    const auto row = [&](const char* other, const Work& work, double goal) {
        const PairTimes times = BestOfPair(ours, work);
        report.AtLeast("lzw expand, " + sample.name + ", " + other, times.ours, times.other, goal);
    };
    TiffStrip tiff(sample.value);
    row("plain", plain, isSmall ? 2.4 : 4);
    row(
        "libtiff", [&] { tiff.Expand(); }, isSmall ? 1.1 : 1.2);
}

void ShowFullChunk(BenchReport& report, const CodecSample& sample) {
    RequireSameCodes(sample);
    Bytes stream = Compressed(sample.value);
    const std::size_t size = stream.size();
    stream.resize(LzwWorstSize(sample.value.size()));
    Bytes area(sample.value.size());
    TiffStrip tiff(sample.value);
    const PairTimes compress = BestOfPair(
        [&] { Keep(&stream[LzwCompress(sample.value, stream) - 1]); }, [&] { tiff.Compress(); });
    report.Inform("lzw compress, " + sample.name + ", libtiff", compress.ours, compress.other);
    const std::span<const std::byte> codes = std::span(stream).first(size);
    const PairTimes plain =
        BestOfPair([&] { LzwExpand(codes, area), Keep(area.data()); },
                   [&] {
                       Keep(area.data() +
                            testing::PlainExpand(Raw(stream), size, Raw(area), area.size()).length);
                   });
    report.Inform("lzw expand, " + sample.name + ", plain", plain.ours, plain.other);
    const PairTimes expand =
        BestOfPair([&] { LzwExpand(codes, area), Keep(area.data()); }, [&] { tiff.Expand(); });
    report.Inform("lzw expand, " + sample.name + ", libtiff", expand.ours, expand.other);
}

void CompareBase64(BenchReport& report, const CodecSample& sample) {
    const Bytes stream = Compressed(sample.value);
    std::vector<char> text(Base64EncodedLength(stream.size()) + 1);
    Base64Encode(stream, text);
    const std::string_view view(text.data(), text.size() - 1);
    std::vector<unsigned char> otherText(text.size());
    std::vector<unsigned char> otherData(stream.size() + 4);
    std::vector<char> ourText(text.size());
    Bytes ourData(stream.size() + 4);
    const std::string name = ", " + std::to_string(stream.size()) + " bytes, OpenSSL EVP";
    const PairTimes encode =
        BestOfPair([&] { Base64Encode(stream, ourText), Keep(ourText.data()); },
                   [&] { OpensslEncode(stream, otherText), Keep(otherText.data()); });
    report.AtLeast("base64 encode" + name, encode.ours, encode.other, 1.7);
    const PairTimes decode =
        BestOfPair([&] { Base64Decode(view, ourData), Keep(ourData.data()); },
                   [&] { OpensslDecode(view, otherData), Keep(otherData.data()); });
    report.AtLeast("base64 decode" + name, decode.ours, decode.other, 1.4);
}

}  // namespace
}  // namespace tarnwick::bench

int main(int argumentCount, char** arguments) {
    using namespace tarnwick::bench;
    BenchReport report(argumentCount, arguments);
    for (const CodecSample& sample : CodecSamples()) {
        RequireSameCodes(sample);
        CompareCompression(report, sample);
        CompareExpansion(report, sample);
        CompareBase64(report, sample);
    }
    ShowFullChunk(report, FullChunkSample());
    return 0;
}
