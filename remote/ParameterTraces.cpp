#include "remote/ParameterTraces.h"

#include <cstdint>

#include "common/Text.h"

namespace tarnwick {
namespace {

// Room for the lines around a base64 text, so that the text is copied once.
constexpr std::size_t kLinesRoom = 160;

void AppendLine(std::string& trace, std::string_view label, std::int64_t number) {
    trace += label;
    AppendDecimal(trace, number);
    trace += '\n';
}

}  // namespace

std::string EncodeTrace(std::size_t compressedSize, std::string_view encoded,
                        std::ptrdiff_t result) {
    std::string trace;
    trace.reserve(encoded.size() + kLinesRoom);
    AppendLine(trace,
               "compressing...\nCompressed size: ", static_cast<std::int64_t>(compressedSize));
    trace.append("Result of base64 encoding: ").append(encoded);
    AppendLine(trace, "\nSize:", result);
    return trace;
}

std::string DecodeTrace(std::size_t textLength, std::size_t recordSize, std::ptrdiff_t decoded) {
    std::string trace;
    trace.reserve(kLinesRoom);
    trace += "decompressing\nB64Source length: ";
    AppendDecimal(trace, static_cast<std::int64_t>(textLength));
    AppendLine(trace, " parameter size=", static_cast<std::int64_t>(recordSize));
    AppendLine(trace, "Decoded size=", decoded);
    return trace;
}

void AppendExpandTrace(std::string& trace, LzwExpansion expansion) {
    if (expansion.fault == LzwFault::LostString) trace += "Something wrong\n";
    AppendLine(trace, "Uncompressed size=", static_cast<std::int64_t>(expansion.length));
    trace += "Freeing\n";
}

}  // namespace tarnwick
