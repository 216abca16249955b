#include "Library/convert/LineWriter.h"

#include <algorithm>

#include "common/Text.h"
#include "Library/convert/Components.h"

namespace tarnwick {
namespace {

bool IsOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
    return std::any_of(names.begin(), names.end(),
                       [name](std::string_view other) { return EqualsIgnoreCase(name, other); });
}

// Whether a value is made of parts that stand as they are, and not a text.
bool IsStructured(std::string_view name) {
    return IsOneOf(name,
                   {"AALARM", "ATTACH", "ATTENDEE", "COMPLETED", "CREATED", "DALARM", "DCREATED",
                    "DTSTAMP", "GEO", "LAST-MODIFIED", "MALARM", "ORGANIZER", "PALARM",
                    "PERCENT-COMPLETE", "PRIORITY", "SEQUENCE", "TRIGGER", "TZID", "URL"});
}

// What the older format writes otherwise.
std::string_view ModernWord(std::string_view name, std::string_view value) {
    if (EqualsIgnoreCase(name, "STATUS") && EqualsIgnoreCase(value, "NEEDS ACTION")) {
        return "NEEDS-ACTION";
    }
    if (EqualsIgnoreCase(name, "TRANSP") && !value.empty() &&
        value.find_first_not_of("0123456789") == value.npos) {
        return value == "0" ? "OPAQUE" : "TRANSPARENT";
    }
    return value;
}

std::string WithoutBlanks(std::string_view value) {
    std::string kept(value);
    std::erase_if(kept, [](char byte) { return byte == ' ' || byte == '\t'; });
    return kept;
}

// The items of an old list, which semicolons separate, as a list of today.
std::string ModernList(std::string_view value) {
    std::string list;
    for (bool isFirst = true; isFirst || !value.empty(); isFirst = false) {
        std::size_t end = value.find_first_of(";,");
        while (end != value.npos && end != 0 && value[end - 1] == '\\') {
            end = value.find_first_of(";,", end + 1);
        }
        if (!isFirst) list += ',';
        list += EscapeText(Unescape(value.substr(0, end), Escapes::Old));
        value.remove_prefix(end == value.npos ? value.size() : end + 1);
    }
    return list;
}

bool IsLatin1(std::string_view charset) {
    return IsOneOf(charset, {"ISO-8859-1", "WINDOWS-1252", "ISO8859-1", "LATIN1", "CP1252"});
}

}  // namespace

void LineWriter::Append(std::string& lines, const ContentLine& line) {
    const bool isEncoded = line.encoding == LineEncoding::QuotedPrintable;
    if (escapes_ == Escapes::Modern && !isEncoded) {
        AppendUtf8(lines, line.text, line.number);
        lines += '\n';
    } else {
        AppendValue(lines, line, StandardValue(line));
    }
}

void LineWriter::AppendValue(std::string& lines, const ContentLine& line, std::string_view value,
                             std::string_view parameter) {
    AppendName(lines, line);
    lines.append(parameter).append(":");
    std::copy_if(value.begin(), value.end(), std::back_inserter(lines),
                 [](char byte) { return !IsControl(byte); });
    lines += '\n';
}

void LineWriter::AppendUtf8(std::string& lines, std::string_view bytes, std::size_t number) {
    const bool isUtf8 = remarks_.IsUtf8Text() && (escapes_ == Escapes::Modern || IsUtf8(bytes));
    if (isUtf8) {
        lines.append(bytes);
        return;
    }
    const std::string utf8 = Utf8OfWindows1252(bytes);
    if (utf8.size() != bytes.size()) remarks_.NoteEncoding(number);
    lines += utf8;
}

// The name and its parameters, without those that tell of an encoding that is gone.
void LineWriter::AppendName(std::string& lines, const ContentLine& line) {
    const bool isEncoded = line.encoding == LineEncoding::QuotedPrintable;
    if (escapes_ == Escapes::Modern && !isEncoded) {
        const std::size_t length = line.text.size() - line.value.size() - (line.hasValue ? 1 : 0);
        AppendUtf8(lines, line.text.substr(0, length), line.number);
        return;
    }
    lines += line.name;
    std::string_view parameters = line.parameters;
    while (const auto parameter = NextParameter(parameters)) {
        if (parameter->name.empty() || IsOneOf(parameter->name, {"ENCODING", "CHARSET"})) continue;
        AppendUtf8(lines, ";" + std::string(parameter->name) + "=", line.number);
        const bool isQuoted = parameter->value.find_first_of(":;,") != std::string_view::npos;
        if (isQuoted) lines += '"';
        std::string value(parameter->value);
        std::replace(value.begin(), value.end(), '"', '\'');
        AppendUtf8(lines, value, line.number);
        if (isQuoted) lines += '"';
    }
    if (line.encoding == LineEncoding::Base64) {
        lines += ";ENCODING=BASE64";
        if (ParameterValue(line.parameters, "VALUE").empty()) lines += ";VALUE=BINARY";
    }
}

std::string LineWriter::Utf8Value(const ContentLine& line) {
    const bool isEncoded = line.encoding == LineEncoding::QuotedPrintable;
    const std::string_view charset = ParameterValue(line.parameters, "CHARSET");
    std::string bytes = isEncoded ? DecodeQuotedPrintable(line.value) : std::string(line.value);
    const auto isStray = [](char byte) { return IsControl(byte) && byte != '\r' && byte != '\n'; };
    if (isEncoded && std::any_of(bytes.begin(), bytes.end(), isStray)) {
        remarks_.Note(line.number, "control characters are left out");
    }
    if (IsLatin1(charset)) return Utf8OfWindows1252(bytes);
    if (!charset.empty() && !IsOneOf(charset, {"UTF-8", "US-ASCII"})) {
        remarks_.Note(line.number, "the character set " + Excerpt(charset) +
                                       " is not known; the text is taken as UTF-8 or Windows-1252");
    } else if (charset.empty() && !isEncoded && !remarks_.IsUtf8Text()) {
        std::string utf8 = Utf8OfWindows1252(bytes);
        if (utf8.size() != bytes.size()) remarks_.NoteEncoding(line.number);
        return utf8;
    }
    return Utf8OrWindows1252(std::move(bytes));
}

std::string LineWriter::StandardValue(const ContentLine& line) {
    if (line.encoding == LineEncoding::Base64) return WithoutBlanks(Utf8Value(line));
    std::string value = Utf8Value(line);
    if (IsStructured(line.name)) return value;
    if (escapes_ == Escapes::Modern) return EscapeText(Unescape(value, escapes_));
    if (IsOneOf(line.name, {"CATEGORIES", "RESOURCES"})) return ModernList(value);
    return EscapeText(Unescape(ModernWord(line.name, value), escapes_));
}

}  // namespace tarnwick
