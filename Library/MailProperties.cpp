#include "Library/MailProperties.h"

#include <algorithm>

#include "common/Scan.h"
#include "common/Text.h"

namespace tarnwick {
namespace {

struct Field {
    std::string_view header;
    const char* property;
};
constexpr Field kFields[] = {{"From:", "FROM"},
                             {"To:", "TO"},
                             {"Cc:", "CC"},
                             {"Subject:", "SUBJECT"},
                             {"Date:", "MESSAGEDATE"}};

bool IsBlank(char character) {
    return character == ' ' || character == '\t';
}

std::string_view Trimmed(std::string_view text) {
    while (!text.empty() && (IsBlank(text.back()) || text.back() == '\r')) text.remove_suffix(1);
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    return text;
}

// Cuts the next line off `text`, without its end.
std::string_view TakeLine(std::string_view& text) {
    const std::size_t end = FindByte(text, '\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == kNotFound ? text.size() : end + 1);
    return line;
}

const Field* FieldOf(std::string_view line) {
    const auto* const found =
        std::find_if(std::begin(kFields), std::end(kFields),
                     [&](auto& field) { return StartsWithIgnoreCase(line, field.header); });
    return found == std::end(kFields) ? nullptr : found;
}

// The rest of a field's first line and its continuations, one blank between them.
std::string TakeValue(std::string_view firstLine, std::string_view& text) {
    std::string value(Trimmed(firstLine));
    while (!text.empty() && IsBlank(text.front())) {
        value.append(" ").append(Trimmed(TakeLine(text)));
    }
    return std::string(Trimmed(value));
}

bool Has(const std::vector<NamedValue>& properties, std::string_view name) {
    return std::any_of(properties.begin(), properties.end(),
                       [&](const NamedValue& property) { return property.name == name; });
}

}  // namespace

std::vector<NamedValue> MailProperties(std::string_view text) {
    text = text.substr(0, kMailHeaderLimit);
    std::vector<NamedValue> properties;
    while (!text.empty()) {
        const std::string_view line = TakeLine(text);
        if (line.empty() || line == "\r") break;
        const Field* field = FieldOf(line);
        if (field == nullptr || Has(properties, field->property)) continue;
        properties.push_back({field->property, TakeValue(line.substr(field->header.size()), text)});
    }
    return properties;
}

}  // namespace tarnwick
