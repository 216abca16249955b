#include "tools/admin/MimeOutline.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <map>

#include "common/Scan.h"
#include "common/Text.h"

namespace tarnwick::admin {
namespace {

constexpr std::size_t kDeepest = 32;

std::string Lower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), LowerAscii);
    return lower;
}

std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    const std::size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
    const std::size_t end = text.find_last_not_of(kBlanks);
    return end == text.npos ? std::string_view() : text.substr(begin, end + 1 - begin);
}

// A line with its break, from `at` on.
std::string_view LineAt(std::string_view text, std::size_t at) {
    const std::size_t end = FindByte(text, '\n', at);
    return text.substr(at, end == kNotFound ? end : end + 1 - at);
}

bool IsEmpty(std::string_view line) {
    return line == "\r\n" || line == "\n";
}

// Where the body begins that follows a header: behind its empty line.
std::size_t BodyStart(std::string_view part) {
    std::size_t at = 0;
    while (at < part.size()) {
        const std::string_view line = LineAt(part, at);
        at += line.size();
        if (IsEmpty(line)) break;
    }
    return at;
}

std::string FromPercents(std::string_view text) {
    std::string bytes;
    for (std::size_t at = 0; at < text.size(); ++at) {
        unsigned value = 0;
        const char* const digits = text.data() + at + 1;
        const bool isCoded = text[at] == '%' && at + 2 < text.size() &&
                             std::from_chars(digits, digits + 2, value, 16).ptr == digits + 2;
        bytes += isCoded ? static_cast<char>(value) : text[at];
        if (isCoded) at += 2;
    }
    return bytes;
}

// The parameters of a field by their names in small letters, as they stand but for quotes.
std::map<std::string, std::string> ParametersOf(std::string_view value) {
    std::map<std::string, std::string> parameters;
    std::string name;
    std::string text;
    bool isNamed = false;
    bool isQuoted = false;
    const auto finish = [&] {
        const std::string key = Lower(Trimmed(name));
        if (isNamed) parameters.emplace(key, Trimmed(text));
        name.clear();
        text.clear();
        isNamed = false;
    };
    for (std::size_t at = 0; at < value.size(); ++at) {
        const char byte = value[at];
        if (byte == '"') {
            isQuoted = !isQuoted;
        } else if (!isQuoted && byte == ';') {
            finish();
        } else if (!isQuoted && byte == '=' && !isNamed) {
            isNamed = true;
        } else {
            const bool isEscape = isQuoted && byte == '\\' && at + 1 < value.size();
            (isNamed ? text : name) += isEscape ? value[++at] : byte;
        }
    }
    finish();
    return parameters;
}

// A parameter that may be given in pieces and with a character set.
std::string ParameterOf(const std::map<std::string, std::string>& parameters,
                        const std::string& name) {
    const auto valueOf = [&](const std::string& key) {
        const auto found = parameters.find(key);
        return found == parameters.end() ? std::string() : found->second;
    };
    const auto withoutCharset = [](const std::string& text) {
        const std::size_t second = text.find('\'', text.find('\'') + 1);
        return second == text.npos ? text : text.substr(second + 1);
    };
    if (parameters.contains(name + "*")) return FromPercents(withoutCharset(valueOf(name + "*")));
    if (parameters.contains(name)) return valueOf(name);
    std::string joined;
    for (int number = 0;; ++number) {
        const std::string key = name + "*" + std::to_string(number);
        if (parameters.contains(key + "*")) {
            const std::string value = valueOf(key + "*");
            joined += FromPercents(number == 0 ? withoutCharset(value) : value);
        } else if (parameters.contains(key)) {
            joined += valueOf(key);
        } else {
            return joined;
        }
    }
}

std::size_t Base64Size(std::string_view text) {
    const auto digits = std::count_if(text.begin(), text.end(), [](unsigned char byte) {
        return std::isalnum(byte) != 0 || byte == '+' || byte == '/';
    });
    return static_cast<std::size_t>(digits) * 3 / 4;
}

std::size_t QuotedPrintableSize(std::string_view text) {
    std::size_t size = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '=') {
            ++size;
        } else if (text.substr(at + 1, 2) == "\r\n") {
            at += 2;
        } else if (text.substr(at + 1, 1) == "\n") {
            at += 1;
        } else {
            ++size;
            at += 2;
        }
    }
    return size;
}

std::size_t DecodedSize(std::string_view body, const std::string& encoding) {
    if (encoding == "base64") return Base64Size(body);
    if (encoding == "quoted-printable") return QuotedPrintableSize(body);
    return body.size();
}

class Outline {
  public:
    explicit Outline(std::string_view message) : message_(message) {}

    std::vector<MimePart> Run() {
        TakePart(0, message_.size(), "0", 0, "text/plain");
        return std::move(parts_);
    }

  private:
    void TakePart(std::size_t begin, std::size_t end, const std::string& number, std::size_t depth,
                  std::string_view defaultType) {
        const std::string_view bytes = message_.substr(begin, end - begin);
        const std::vector<HeaderField> fields = HeaderFieldsOf(bytes);
        const std::string type = FieldValue(fields, "Content-Type");
        const auto parameters = ParametersOf(type);
        const auto disposition = ParametersOf(FieldValue(fields, "Content-Disposition"));
        MimePart part{.number = number, .depth = depth, .type = {}, .offset = begin};
        part.type = type.empty() ? defaultType : Lower(Trimmed(type.substr(0, type.find(';'))));
        part.name = ParameterOf(disposition, "filename");
        if (part.name.empty()) part.name = ParameterOf(parameters, "name");
        part.encoding = Lower(FieldValue(fields, "Content-Transfer-Encoding"));
        part.body = begin + BodyStart(bytes);
        part.length = end - part.body;
        part.decoded = DecodedSize(message_.substr(part.body, part.length), part.encoding);
        const std::size_t place = parts_.size();
        parts_.push_back(part);
        if (depth == kDeepest) {
            parts_[place].problem = "what is in it is nested too deep";
        } else if (part.type.starts_with("multipart/")) {
            parts_[place].problem = TakeParts(part, ParameterOf(parameters, "boundary"));
        } else if (part.type == "message/rfc822") {
            TakePart(part.body, end, number + ".1", depth + 1, "text/plain");
        }
    }

    // Takes the parts between the boundaries; what is wrong with them.
    std::string TakeParts(const MimePart& whole, const std::string& boundary) {
        if (boundary.empty()) return "its boundary is not declared";
        const std::string delimiter = "--" + boundary;
        const std::string prefix = whole.depth == 0 ? "" : whole.number + ".";
        const std::string_view type =
            whole.type == "multipart/digest" ? "message/rfc822" : "text/plain";
        const std::size_t end = whole.body + whole.length;
        std::size_t begin = 0;  // of the part that is open
        std::size_t count = 0;
        std::string problem;
        for (std::size_t at = whole.body; at < end;) {
            const std::string_view line = LineAt(message_.substr(0, end), at);
            const std::string_view rest =
                Trimmed(line.substr(std::min(line.size(), delimiter.size())));
            const bool isDelimiter = line.starts_with(delimiter) && (rest.empty() || rest == "--");
            if (isDelimiter && count == 0) problem = Preamble(whole.body, at);
            if (isDelimiter && count != 0) {
                const std::string number = prefix + std::to_string(count);
                TakePart(begin, BeforeBreak(begin, at), number, whole.depth + 1, type);
            }
            at += line.size();
            if (!isDelimiter) continue;
            ++count;
            begin = at;
            if (rest == "--") return problem;
        }
        if (count == 0) return "its boundary occurs nowhere";
        TakePart(begin, end, prefix + std::to_string(count), whole.depth + 1, type);
        return "its closing boundary is missing";
    }

    // The line break before a boundary belongs to it.
    std::size_t BeforeBreak(std::size_t begin, std::size_t at) const {
        if (at > begin && message_[at - 1] == '\n') --at;
        if (at > begin && message_[at - 1] == '\r') --at;
        return at;
    }

    std::string Preamble(std::size_t begin, std::size_t at) const {
        const std::size_t size = Trimmed(message_.substr(begin, at - begin)).size();
        if (size == 0) return {};
        return std::to_string(size) + " bytes of text stand before its first part";
    }

    std::string_view message_;
    std::vector<MimePart> parts_;
};

}  // namespace

std::vector<HeaderField> HeaderFieldsOf(std::string_view message) {
    std::vector<HeaderField> fields;
    for (std::size_t at = 0; at < message.size();) {
        const std::string_view line = LineAt(message, at);
        if (IsEmpty(line)) break;
        if ((line[0] == ' ' || line[0] == '\t') && !fields.empty()) {
            fields.back().value.append(" ").append(Trimmed(line));
        } else {
            const std::size_t colon = FindByte(line, ':');
            const bool isField = colon != kNotFound;
            fields.push_back({std::string(isField ? Trimmed(line.substr(0, colon)) : ""),
                              std::string(Trimmed(isField ? line.substr(colon + 1) : line)), at});
        }
        at += line.size();
    }
    return fields;
}

std::string FieldValue(const std::vector<HeaderField>& fields, std::string_view name) {
    const auto found = std::find_if(fields.begin(), fields.end(), [&](const HeaderField& field) {
        return EqualsIgnoreCase(field.name, name);
    });
    return found == fields.end() ? std::string() : found->value;
}

std::vector<MimePart> MimeOutline(std::string_view message) {
    return Outline(message).Run();
}

}  // namespace tarnwick::admin
