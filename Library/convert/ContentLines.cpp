#include "Library/convert/ContentLines.h"

#include <algorithm>

#include "common/Scan.h"
#include "common/Text.h"
#include "Library/convert/TextEncoding.h"

namespace tarnwick {
namespace {

bool IsNameByte(char byte) {
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
           (byte >= '0' && byte <= '9') || byte == '-' || byte == '_' || byte == '.';
}

bool IsFoldBlank(char byte) {
    return byte == ' ' || byte == '\t';
}

std::string_view WithoutCarriageReturns(std::string_view line) {
    while (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    return line;
}

// Position of the first `byte` outside quotes, or kNotFound. A quote that is never closed is text.
std::size_t FindUnquoted(std::string_view text, char byte) {
    std::size_t at = FindEither(text, byte, '"');
    while (at != kNotFound && text[at] == '"') {
        const std::size_t close = FindByte(text, '"', at + 1);
        if (close == kNotFound) return FindByte(text, byte, at + 1);
        at = FindEither(text, byte, '"', close + 1);
    }
    return at;
}

LineEncoding EncodingOf(std::string_view parameters) {
    while (const auto parameter = NextParameter(parameters)) {
        if (!parameter->name.empty() && !EqualsIgnoreCase(parameter->name, "ENCODING")) continue;
        if (EqualsIgnoreCase(parameter->value, "QUOTED-PRINTABLE")) {
            return LineEncoding::QuotedPrintable;
        }
        if (EqualsIgnoreCase(parameter->value, "BASE64")) return LineEncoding::Base64;
    }
    return LineEncoding::None;
}

// Cuts an unfolded line. Its number is the caller's to fill in.
ContentLine Cut(std::string_view line) {
    std::size_t nameEnd = 0;
    while (nameEnd < line.size() && IsNameByte(line[nameEnd])) ++nameEnd;
    ContentLine cut;
    cut.text = line;
    if (nameEnd != line.size() && line[nameEnd] != ':' && line[nameEnd] != ';') return cut;
    cut.name = line.substr(0, nameEnd);
    if (const std::size_t dot = cut.name.rfind('.'); dot != std::string_view::npos) {
        cut.name.remove_prefix(dot + 1);
    }
    std::string_view rest = line.substr(nameEnd);
    if (!rest.empty() && rest.front() == ';') {
        rest.remove_prefix(1);
        const std::size_t colon = FindUnquoted(rest, ':');
        cut.parameters = rest.substr(0, colon);
        rest = colon == kNotFound ? std::string_view() : rest.substr(colon);
        cut.encoding = EncodingOf(cut.parameters);
    }
    cut.hasValue = !rest.empty();
    if (cut.hasValue) cut.value = rest.substr(1);
    return cut;
}

// Whether the line's value is quoted-printable and goes on in the next line.
bool EndsInSoftBreak(const ContentLine& line) {
    return line.value.ends_with('=') && line.encoding == LineEncoding::QuotedPrintable;
}

std::string_view Unquoted(std::string_view value) {
    const bool quoted = value.size() >= 2 && value.front() == '"' && value.back() == '"';
    return quoted ? value.substr(1, value.size() - 2) : value;
}

}  // namespace

std::optional<Parameter> NextParameter(std::string_view& parameters) {
    if (parameters.empty()) return std::nullopt;
    const std::size_t end = FindUnquoted(parameters, ';');
    const std::string_view text = parameters.substr(0, end);
    parameters.remove_prefix(end == kNotFound ? parameters.size() : end + 1);
    const std::size_t equals = FindByte(text, '=');
    if (equals == kNotFound) return Parameter{{}, text};
    return Parameter{text.substr(0, equals), Unquoted(text.substr(equals + 1))};
}

std::string_view ParameterValue(std::string_view parameters, std::string_view name) {
    while (const auto parameter = NextParameter(parameters)) {
        if (EqualsIgnoreCase(parameter->name, name)) return parameter->value;
    }
    return {};
}

std::optional<std::string_view> NextListItem(std::string_view& list, char delimiter) {
    if (list.empty()) return std::nullopt;
    const std::size_t end = FindByte(list, delimiter);
    const std::string_view item = list.substr(0, end);
    list.remove_prefix(end == kNotFound ? list.size() : end + 1);
    return item;
}

std::string_view TrimBlanks(std::string_view text) {
    while (!text.empty() && IsFoldBlank(text.back())) text.remove_suffix(1);
    while (!text.empty() && IsFoldBlank(text.front())) text.remove_prefix(1);
    return text;
}

ContentLines::ContentLines(std::string_view text) : text_(text), hasControls_(HasControls(text)) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text_.starts_with(kByteOrderMark)) position_ = kByteOrderMark.size();
    if (FindByte(text_, '\n') == kNotFound) lineEnd_ = '\r';
}

std::string_view ContentLines::TakeLine() {
    const std::size_t start = position_;
    const std::size_t end = FindByte(text_, lineEnd_, start);
    position_ = end == kNotFound ? text_.size() : end + 1;
    ++lineNumber_;
    const std::string_view line =
        text_.substr(start, end == kNotFound ? std::string_view::npos : end - start);
    if (!hasControls_) return WithoutCarriageReturns(line);
    clean_ = WithoutCarriageReturns(line);
    if (std::erase_if(clean_, IsControl) != 0 && remarks_ != nullptr) {
        remarks_->Note(lineNumber_ - 1, "control characters are left out");
    }
    return clean_;
}

std::string_view ContentLines::PeekLine() const {
    const std::size_t end = FindByte(text_, lineEnd_, position_);
    const std::size_t length = end == kNotFound ? std::string_view::npos : end - position_;
    return WithoutCarriageReturns(text_.substr(position_, length));
}

void ContentLines::SkipBlankLines() {
    while (position_ < text_.size()) {
        std::size_t end = position_;
        while (end < text_.size() && text_[end] == '\r' && lineEnd_ != '\r') ++end;
        if (end < text_.size() && text_[end] != lineEnd_) return;
        position_ = std::min(end + 1, text_.size());
        ++lineNumber_;
    }
}

void ContentLines::Skip(std::size_t length) {
    const std::string_view passed = text_.substr(position_, length);
    lineNumber_ += static_cast<std::size_t>(std::count(passed.begin(), passed.end(), lineEnd_));
    position_ += passed.size();
}

// Whether the line that follows, behind any blank ones, goes on with the present one; the place is
// then its first byte behind the fold.
bool ContentLines::SkipToContinuation() {
    if (position_ < text_.size() && !IsFoldBlank(text_[position_])) {
        // The usual case at the cost of one look.
        if (text_[position_] != '\r' && text_[position_] != '\n') return false;
        SkipBlankLines();
    }
    if (position_ >= text_.size() || !IsFoldBlank(text_[position_])) return false;
    if (!keepFoldBlanks_) ++position_;
    return true;
}

// Joins the lines of a quoted-printable value that ends in a soft line break.
void ContentLines::AppendSoftLines(std::size_t from) {
    while (unfolded_.size() > from && unfolded_.back() == '=' && position_ < text_.size()) {
        unfolded_.pop_back();
        unfolded_ += TakeLine();
    }
}

// Old writers leave the lines of a base64 value without a blank at their beginnings; they end at a
// blank line or at the next property.
void ContentLines::AppendBareBase64() {
    while (position_ < text_.size()) {
        const std::string_view line = PeekLine();
        if (line.empty() || FindEither(line, ':', ';') != kNotFound) return;
        unfolded_ += TakeLine();
    }
}

std::optional<ContentLine> ContentLines::Next() {
    SkipBlankLines();
    if (position_ >= text_.size()) return std::nullopt;
    const std::size_t number = lineNumber_;
    std::string_view line = TakeLine();
    // Behind a soft line break a blank is the text's own and no fold.
    const bool isSoft = line.ends_with('=') && EndsInSoftBreak(Cut(line));
    if (!isSoft && SkipToContinuation()) {
        unfolded_ = line;
        do unfolded_ += TakeLine();
        while (SkipToContinuation());
        line = unfolded_;
    }
    ContentLine cut = Cut(line);
    const bool goesOn = EndsInSoftBreak(cut);
    if (goesOn || cut.encoding == LineEncoding::Base64) {
        if (line.data() != unfolded_.data()) unfolded_ = line;
        if (goesOn) {
            AppendSoftLines(unfolded_.size() - cut.value.size());
        } else {
            AppendBareBase64();
        }
        cut = Cut(unfolded_);
    }
    cut.number = number;
    return cut;
}

}  // namespace tarnwick
