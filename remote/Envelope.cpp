#include "remote/Envelope.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <new>
#include <string>

#include "common/Reports.h"
#include "common/Scan.h"
#include "common/Text.h"
#include "remote/Lzw.h"
#include "remote/shared/Base64.h"

namespace tarnwick {
namespace {

constexpr std::string_view kParametersEnd = "</PARAMETERS>";
constexpr std::string_view kSizeAttribute = "SIZE=";
// Digits of a size that are looked at.
constexpr std::size_t kSizeDigitsLimit = 255;

std::string Decimal(std::int64_t number) {
    std::string digits;
    AppendDecimal(digits, number);
    return digits;
}

// Joins the parts in `area`, cut to leave room for the terminator. The result is the joined text.
std::string_view Join(std::span<char> area, std::initializer_list<std::string_view> parts) {
    if (area.empty()) return {};
    std::size_t length = 0;
    for (const std::string_view part : parts) {
        const std::size_t taken = std::min(part.size(), area.size() - 1 - length);
        if (taken != 0) std::memcpy(area.data() + length, part.data(), taken);
        length += taken;
    }
    area[length] = '\0';
    return {area.data(), length};
}

// Uninitialised memory: a call's scratch areas are written before they are read.
template <typename Element>
std::span<Element> Allocate(std::unique_ptr<Element[]>& owner, std::size_t size) {
    owner = std::make_unique_for_overwrite<Element[]>(size);
    return {owner.get(), size};
}

void AddParameter(std::span<char> request, int number, std::span<const std::byte> data) {
    std::unique_ptr<char[]> owners[2];
    const std::span<char> work = Allocate(owners[0], kRemoteTextSize);
    const std::span<char> elementArea = Allocate(owners[1], kRemoteTextSize);
    const std::string_view encoded(work.data(), EncodeParameter(data, work));
    if (encoded.empty()) PrintStandardOutput("Warning: Serialising returned empty buffer\n");
    const std::string digits = Decimal(number);
    const std::string size = Decimal(static_cast<std::int64_t>(data.size()));
    const std::string_view element = Join(elementArea, {"<PARAMETER", digits, " SIZE=", size, ">",
                                                        encoded, "</PARAMETER", digits, ">"});
    const std::string_view before = Join(work, {FieldText(request)});
    if (InsertBeforeParametersEnd(before, kParametersEnd, element, request)) return;
    PrintStandardOutput("{" + std::string(before) + "}\n");
}

// The decoded bytes of a value, expanded; what each step gives goes into the trace.
bool Expand(std::span<const std::byte> codes, std::span<std::byte> scratch, std::string& trace) {
    const LzwExpansion expansion = LzwExpand(codes, scratch);
    if (expansion.fault == LzwFault::LostString) trace += "Something wrong\n";
    trace +=
        "Uncompressed size=" + Decimal(static_cast<std::int64_t>(expansion.length)) + "\nFreeing\n";
    return expansion.fault == LzwFault::None && expansion.length == scratch.size();
}

}  // namespace

bool BuildExecRequest(std::span<char> request, std::string_view functionName) {
    Join(request, {"<DATA><METHOD>EXEC</METHOD><FUNCTION>", functionName,
                   "</FUNCTION><PARAMETERS></PARAMETERS></DATA>"});
    return true;
}

bool AddRequestParameter(std::span<char> request, int number, std::span<const std::byte> data) {
    try {
        AddParameter(request, number, data);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool InsertBeforeParametersEnd(std::string_view text, std::string_view /*marker*/,
                               std::string_view element, std::span<char> result) {
    const std::size_t at = FindText(text, kParametersEnd);
    if (at == kNotFound) {
        Join(result, {text});
        return false;
    }
    Join(result, {text.substr(0, at), element, text.substr(at)});
    return true;
}

std::size_t EncodeParameter(std::span<const std::byte> data, std::span<char> encoded) {
    std::unique_ptr<std::byte[]> owner;
    const std::span<std::byte> scratch = Allocate(owner, LzwWorstSize(data.size()));
    const std::size_t compressed = LzwCompress(data, scratch);
    const std::span<char> area = encoded.first(std::min(encoded.size(), kRemoteTextSize));
    const std::ptrdiff_t result = Base64Encode(scratch.first(compressed), area);
    const std::size_t length = result == kBase64Failed ? 0 : static_cast<std::size_t>(result);
    if (!area.empty()) area[length] = '\0';

    // The traces of one value go out as one text.
    std::string trace = "compressing...\nCompressed size: ";
    trace.reserve(length + 128);
    AppendDecimal(trace, static_cast<std::int64_t>(compressed));
    trace.append("\nResult of base64 encoding: ").append(area.data(), length).append("\nSize:");
    AppendDecimal(trace, result);
    trace += '\n';
    PrintStandardOutput(trace);
    return length;
}

std::optional<ResponseParameter> FindResponseParameter(std::string_view reply, int number) {
    const std::string digits = Decimal(number);
    const std::string_view text = UpToNul(reply);
    const std::size_t start = FindText(text, "<PARAMETER" + digits);
    if (start == kNotFound) return std::nullopt;
    const std::size_t tagEnd = FindByte(text, '>', start);
    if (tagEnd == kNotFound) return std::nullopt;
    const std::string_view tag = text.substr(start, tagEnd - start);
    const std::size_t attribute = FindText(tag, kSizeAttribute);
    if (attribute == kNotFound) return std::nullopt;
    const std::size_t valueStart = tagEnd + 1;
    const std::size_t valueEnd = FindText(text, "</PARAMETER" + digits + ">", valueStart);
    if (valueEnd == kNotFound) return std::nullopt;
    const std::size_t length = std::min(valueEnd - valueStart, kRemoteTextSize - 1);
    const std::string_view size = tag.substr(attribute + kSizeAttribute.size(), kSizeDigitsLimit);
    return ResponseParameter{text.substr(valueStart, length), ParseInt32(size)};
}

bool DecodeParameter(std::string_view valueText, std::span<std::byte> data) {
    std::string trace =
        "decompressing\nB64Source length: " + Decimal(static_cast<std::int64_t>(valueText.size())) +
        " parameter size=" + Decimal(static_cast<std::int64_t>(data.size()));
    std::unique_ptr<std::byte[]> owners[2];
    const std::span<std::byte> decodeArea =
        Allocate(owners[0], std::min(valueText.size(), kRemoteTextSize));
    const std::ptrdiff_t decoded = Base64Decode(valueText, decodeArea);
    trace += "\nDecoded size=" + Decimal(decoded) + "\n";
    bool whole = false;
    if (decoded != kBase64Failed) {
        const std::span<std::byte> scratch = Allocate(owners[1], data.size());
        whole = Expand(decodeArea.first(static_cast<std::size_t>(decoded)), scratch, trace);
    }
    PrintStandardOutput(trace);
    if (whole && !data.empty()) std::memcpy(data.data(), owners[1].get(), data.size());
    return whole;
}

bool GetResponseParameter(std::string_view reply, int number, std::span<std::byte> data) {
    try {
        const auto parameter = FindResponseParameter(reply, number);
        return DecodeParameter(parameter ? parameter->valueText : std::string_view(), data);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

std::optional<std::string_view> ElementText(std::string_view text, std::string_view name) {
    const std::string tag = std::string(name) + ">";
    const std::size_t start = FindText(text, "<" + tag);
    if (start == kNotFound) return std::nullopt;
    const std::size_t valueStart = start + 1 + tag.size();
    const std::size_t end = FindText(text, "</" + tag, valueStart);
    if (end == kNotFound) return std::nullopt;
    return text.substr(valueStart, end - valueStart);
}

}  // namespace tarnwick
