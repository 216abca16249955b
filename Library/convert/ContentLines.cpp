#include "Library/convert/ContentLines.h"

#include "common/Scan.h"
#include "common/Text.h"

namespace tarnwick {
namespace {

bool IsNameByte(char byte) {
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
           (byte >= '0' && byte <= '9') || byte == '-' || byte == '_' || byte == '.';
}

bool IsFoldBlank(char byte) {
    return byte == ' ' || byte == '\t';
}

std::string_view WithoutCarriageReturn(std::string_view line) {
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
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

// Cuts an unfolded line. Its number is the caller's to fill in.
ContentLine Cut(std::string_view line) {
    std::size_t nameEnd = 0;
    while (nameEnd < line.size() && IsNameByte(line[nameEnd])) ++nameEnd;
    ContentLine cut;
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
    }
    cut.hasValue = !rest.empty();
    if (cut.hasValue) cut.value = rest.substr(1);
    return cut;
}

// Whether the line's value is quoted-printable and goes on in the next line.
bool EndsInSoftBreak(const ContentLine& line) {
    return line.value.ends_with('=') && HasEncoding(line.parameters, "QUOTED-PRINTABLE");
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

bool HasEncoding(std::string_view parameters, std::string_view encoding) {
    while (const auto parameter = NextParameter(parameters)) {
        if ((parameter->name.empty() || EqualsIgnoreCase(parameter->name, "ENCODING")) &&
            EqualsIgnoreCase(parameter->value, encoding)) {
            return true;
        }
    }
    return false;
}

ContentLines::ContentLines(std::string_view text) : text_(text) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text_.starts_with(kByteOrderMark)) position_ = kByteOrderMark.size();
}

std::string_view ContentLines::TakeLine() {
    const std::size_t start = position_;
    const std::size_t end = FindByte(text_, '\n', start);
    position_ = end == kNotFound ? text_.size() : end + 1;
    ++lineNumber_;
    return WithoutCarriageReturn(
        text_.substr(start, end == kNotFound ? std::string_view::npos : end - start));
}

std::string_view ContentLines::PeekLine() const {
    const std::size_t end = FindByte(text_, '\n', position_);
    const std::size_t length = end == kNotFound ? std::string_view::npos : end - position_;
    return WithoutCarriageReturn(text_.substr(position_, length));
}

void ContentLines::SkipBlankLines() {
    while (position_ < text_.size()) {
        const bool pair = text_.substr(position_, 2) == "\r\n";
        if (!pair && text_[position_] != '\n') return;
        position_ += pair ? 2 : 1;
        ++lineNumber_;
    }
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
// blank line or at the next property. No such value is carried.
void ContentLines::SkipBareBase64() {
    while (position_ < text_.size()) {
        const std::string_view line = PeekLine();
        if (line.empty() || FindEither(line, ':', ';') != kNotFound) return;
        TakeLine();
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
    if (!cut.parameters.empty()) {
        if (EndsInSoftBreak(cut)) {
            const auto valueStart = static_cast<std::size_t>(cut.value.data() - line.data());
            if (line.data() != unfolded_.data()) unfolded_ = line;
            AppendSoftLines(valueStart);
            cut = Cut(unfolded_);
        } else if (HasEncoding(cut.parameters, "BASE64")) {
            SkipBareBase64();
        }
    }
    cut.number = number;
    return cut;
}

std::optional<ContentLine> ContentLines::NextVerbatim(std::span<const std::string_view> beginnings,
                                                      std::size_t& at) {
    const auto beginsWith = [&](std::size_t from) {
        std::size_t number = from;
        while (number < beginnings.size() &&
               !text_.substr(position_).starts_with(beginnings[number])) {
            ++number;
        }
        return number;
    };
    const std::size_t found = beginsWith(at);
    if (found == beginnings.size()) return std::nullopt;
    at = found;
    ContentLine line;
    line.number = lineNumber_;
    const std::size_t start = position_;
    std::size_t end = 0;
    do {
        const std::string_view piece = TakeLine();
        end = static_cast<std::size_t>(piece.data() - text_.data()) + piece.size();
    } while (at + 1 < beginnings.size() && position_ < text_.size() &&
             beginsWith(at + 1) == beginnings.size());
    const std::string_view whole = text_.substr(start, end - start);
    const std::size_t colon = FindByte(whole, ':');
    line.name = whole.substr(0, colon);
    line.value = whole.substr(colon + 1);
    line.hasValue = true;
    return line;
}

}  // namespace tarnwick
