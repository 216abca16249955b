// The EXEC envelope: a request's text with its numbered parameters, and the parameters of a reply.
// Values are compressed (Lzw.h) and then written as base64 (shared/Base64.h). Requests and replies
// have one form, so a service answers with the same operations.
//
// Texts lie in areas of fixed size and end with a NUL; what does not fit is cut. Every parameter
// leaves its trace on the standard output. Nothing here keeps state. Where no result stands for a
// lack of memory, that is std::bad_alloc, and nothing else is thrown.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace tarnwick {

// Size in bytes of a request, an encoded value and a parameter element, each with its terminator,
// and of the longest reply, which needs none.
inline constexpr std::size_t kRemoteTextSize = 32768;

// Writes the envelope of a call to `functionName`, without parameters yet.
void BuildExecRequest(std::span<char> request, std::string_view functionName);

// Adds parameter `number` with the bytes of `data` behind those that `request` has. False, with
// nothing added, when there is no memory. True, with nothing added and the request traced, also
// when the request has no place for parameters.
bool AddRequestParameter(std::span<char> request, int number, std::span<const std::byte> data);

// Writes `text` into `result` with `element` inserted before its first "</PARAMETERS>", whatever
// `marker` says. False, with `text` copied unchanged, when it has none. `result` overlaps neither.
bool InsertBeforeParametersEnd(std::string_view text, std::string_view marker,
                               std::string_view element, std::span<char> result);

// Writes the base64 text of the compressed `data` into `encoded`, at most kRemoteTextSize bytes of
// it. The result is the length of the text: 0, with an empty text, when it does not fit.
std::size_t EncodeParameter(std::span<const std::byte> data, std::span<char> encoded);

struct ResponseParameter {
    std::string_view valueText;  // within the reply, cut to kRemoteTextSize - 1
    std::int32_t size;           // the number behind "SIZE=", which bounds nothing
};

// Finds parameter `number` in `reply`, which ends at its first NUL. No value when its start tag,
// "SIZE=" within that, the tag's ">" or the end tag is missing. The start tag is found by its
// beginning, so number 1 also takes the start tag of number 10 when that comes first.
std::optional<ResponseParameter> FindResponseParameter(std::string_view reply, int number);

// Fills `data` from a value text. False, with `data` as it was, unless the text expands to exactly
// its size: a stream has no end code, so only its size tells that it arrived whole.
bool DecodeParameter(std::string_view valueText, std::span<std::byte> data);

// Finds and decodes. A missing element is decoded as an empty text, which fills nothing. False,
// with `data` as it was, also when there is no memory.
bool GetResponseParameter(std::string_view reply, int number, std::span<std::byte> data);

// The text of the first element `name` ("METHOD") of `text`, or no value.
std::optional<std::string_view> ElementText(std::string_view text, std::string_view name);

}  // namespace tarnwick
