#include "tools/admin/FileDump.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <span>

#include "common/Scan.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "tools/admin/IndexPieces.h"
#include "tools/admin/Times.h"

namespace tarnwick::admin {
namespace {

constexpr std::array<std::string_view, 3> kCalendarFields{"start", "end", "ID"};
constexpr std::array<std::string_view, 9> kActivityFields{
    "server", "protocol", "account", "address", "port", "time", "folder", "instance", "session"};

bool IsTimeField(std::string_view name) {
    return name == "start" || name == "end" || name == "time";
}

std::string MeaningOf(std::string_view name, std::string_view value) {
    const auto time = IsTimeField(name) ? ParseTime(value) : std::nullopt;
    return std::string(name) + (time ? ", " + FormatTime(*time) : "");
}

std::vector<DumpRow> DumpLines(std::string_view bytes, std::span<const std::string_view> names) {
    std::vector<DumpRow> rows;
    std::size_t line = 1;
    std::size_t field = 0;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t end = std::min(bytes.find_first_of("\t\r\n", at), bytes.size());
        const std::string_view name = field < names.size() ? names[field] : "beyond the last field";
        if (end != at) {
            rows.push_back({at, end - at,
                            "line " + std::to_string(line) + ": " +
                                MeaningOf(name, bytes.substr(at, end - at))});
        }
        if (end == bytes.size()) break;
        const bool isPair = bytes.substr(end, 2) == "\r\n";
        const bool isTab = bytes[end] == '\t';
        const bool isLast = isTab && field + 1 >= names.size();
        const char* const mark = isLast ? "tab beyond the last field" : isTab ? "tab" : "line end";
        rows.push_back({end, isPair ? 2U : 1U, mark});
        at = end + (isPair ? 2 : 1);
        field = isTab ? field + 1 : 0;
        if (!isTab) ++line;
    }
    return rows;
}

std::string MeaningOf(const IndexPiece& piece, std::string_view bytes) {
    const std::string id = piece.id + (piece.uid ? ", UID " + std::to_string(*piece.uid) : "");
    switch (piece.kind) {
        case IndexPieceKind::Header: {
            std::uint32_t lastUid = 0;
            const bool isCurrent =
                ParseLastUidAttribute(bytes.substr(piece.offset, piece.length), lastUid);
            return "header, LASTUID " + std::to_string(lastUid) +
                   (isCurrent ? "" : ", older format");
        }
        case IndexPieceKind::Entry:
            return "entry " + id;
        case IndexPieceKind::Blanked:
            return "blanked entry";
        case IndexPieceKind::Trailer:
            return "trailer";
        case IndexPieceKind::Lost:
            break;
    }
    return "damaged: " + piece.reason + (id.empty() ? "" : " (" + id + ")");
}

}  // namespace

std::vector<DumpRow> DumpIndex(std::string_view bytes) {
    std::vector<DumpRow> rows;
    for (const IndexPiece& piece : TakeApartIndex(bytes)) {
        rows.push_back({piece.offset, piece.length, MeaningOf(piece, bytes)});
    }
    return rows;
}

std::vector<DumpRow> DumpCalendar(std::string_view bytes) {
    return DumpLines(bytes, kCalendarFields);
}

std::vector<DumpRow> DumpActivity(std::string_view bytes) {
    return DumpLines(bytes, kActivityFields);
}

std::string QuotedBriefly(std::string_view text) {
    constexpr std::size_t kLongest = 60;
    std::string quoted(text.substr(0, kLongest));
    std::ranges::replace_if(
        quoted, [](unsigned char byte) { return byte < ' ' || byte == 0x7F; }, '.');
    return "\"" + quoted + (text.size() > kLongest ? "\"..." : "\"");
}

std::string DumpText(std::string_view bytes, const DumpRow& row, std::size_t limit) {
    constexpr std::size_t kBytesInLine = 16;
    std::string text;
    std::array<char, 16> number{};
    const std::string_view all = row.decoded ? *row.decoded : bytes.substr(row.offset, row.length);
    const std::string_view shown = all.substr(0, limit);
    for (std::size_t at = 0; at < shown.size(); at += kBytesInLine) {
        if (row.decoded) text += "  ";
        std::snprintf(number.data(), number.size(), "%08zx ", row.offset + at);
        text += number.data();
        std::string letters;
        for (std::size_t place = at; place < at + kBytesInLine; ++place) {
            if (place >= shown.size()) {
                text += "   ";
                continue;
            }
            const auto code = static_cast<unsigned char>(shown[place]);
            std::snprintf(number.data(), number.size(), " %02x", code);
            text += number.data();
            letters += code >= ' ' && code < 0x7F ? shown[place] : '.';
        }
        letters.resize(kBytesInLine, ' ');
        text += "  " + letters;
        if (at == 0) text += "  " + std::to_string(row.length) + ": " + row.meaning;
        text += "\n";
    }
    return text;
}

}  // namespace tarnwick::admin
