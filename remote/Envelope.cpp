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
#include "remote/ParameterTraces.h"
#include "remote/shared/Base64.h"

namespace tarnwick {
namespace {

constexpr std::string_view kParametersEnd = "</PARAMETERS>";
constexpr std::string_view kSizeAttribute = "SIZE=";
// Room for the tags of an element, with the longest numbers, and a terminator.
constexpr std::size_t kElementFrame = 80;
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

// What a value's text can need, up to what a text may have.
std::size_t EncodedCapacity(std::size_t size) {
    return std::min(kRemoteTextSize, Base64EncodedLength(LzwWorstSize(size)) + 1);
}

// The areas are as large as the value can need, not as the texts may become: some heaps give blocks
// of that size back to the system at once, which takes longer than all the rest.
void AddParameter(std::span<char> request, int number, std::span<const std::byte> data) {
    std::unique_ptr<char[]> owners[3];
    const std::span<char> encodedArea = Allocate(owners[0], EncodedCapacity(data.size()));
    const std::string_view encoded(encodedArea.data(), EncodeParameter(data, encodedArea));
    // Kept for compatibility: the element goes out empty, and the service decides.
    if (encoded.empty()) PrintStandardOutput("Warning: Serialising returned empty buffer\n");

    const std::string digits = Decimal(number);
    const std::string size = Decimal(static_cast<std::int64_t>(data.size()));
    const std::span<char> elementArea =
        Allocate(owners[1], std::min(kRemoteTextSize, encoded.size() + kElementFrame));
    const std::string_view element = Join(elementArea, {"<PARAMETER", digits, " SIZE=", size, ">",
                                                        encoded, "</PARAMETER", digits, ">"});
    const std::string_view before = FieldText(request);
    const std::string_view copy = Join(Allocate(owners[2], before.size() + 1), {before});
    if (InsertBeforeParametersEnd(copy, kParametersEnd, element, request)) return;
    // No failure: kept for compatibility, like the trace, which alone tells.
    PrintStandardOutput("{" + std::string(copy) + "}\n");
}

}  // namespace

void BuildExecRequest(std::span<char> request, std::string_view functionName) {
    Join(request, {"<DATA><METHOD>EXEC</METHOD><FUNCTION>", functionName,
                   "</FUNCTION><PARAMETERS></PARAMETERS></DATA>"});
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
    // The marker is part of the operation's form; searching for it would change what callers get.
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
    PrintStandardOutput(EncodeTrace(compressed, {area.data(), length}, result));
    return length;
}

std::optional<ResponseParameter> FindResponseParameter(std::string_view reply, int number) {
    const std::string digits = Decimal(number);
    const std::string_view text = UpToNul(reply);
    const std::size_t start = FindText(text, "<PARAMETER" + digits);
    if (start == kNotFound) return std::nullopt;
    // What is malformed ends the search: a later element's size and value are not this one's.
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
    const std::size_t decodedLimit = std::min(valueText.size(), kRemoteTextSize);
    std::unique_ptr<std::byte[]> owner;
    const std::span<std::byte> scratch = Allocate(owner, data.size() + decodedLimit);
    const std::span<std::byte> record = scratch.first(data.size());
    const std::span<std::byte> codes = scratch.subspan(data.size());
    const std::ptrdiff_t decoded = Base64Decode(valueText, codes);
    std::string trace = DecodeTrace(valueText.size(), data.size(), decoded);
    bool whole = false;
    if (decoded != kBase64Failed) {
        const LzwExpansion expansion =
            LzwExpand(codes.first(static_cast<std::size_t>(decoded)), record);
        whole = expansion.fault == LzwFault::None && expansion.length == data.size();
        AppendExpandTrace(trace, expansion);
    }
    PrintStandardOutput(trace);
    if (whole && !data.empty()) std::memcpy(data.data(), record.data(), data.size());
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
