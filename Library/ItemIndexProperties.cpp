#include "Library/ItemIndexProperties.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "common/Scan.h"
#include "common/Text.h"
#include "Library/convert/CalendarDate.h"
#include "Library/convert/CalendarReader.h"
#include "Library/convert/ContactReader.h"
#include "Library/convert/PropertyNames.h"

namespace tarnwick {
namespace {

// The header of a mail is looked for in so many bytes, and no more.
constexpr std::size_t kMailHeaderLimit = std::size_t{1} << 16;
// What lies behind so many of another item does not matter to an index.
constexpr std::size_t kItemTextLimit = std::size_t{16} << 20;

using Properties = std::vector<NamedValue>;

std::string UnixSeconds(std::uint64_t fileTime) {
    return std::to_string(SecondsOfFileTime(fileTime));
}

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

bool Has(const Properties& properties, std::string_view name) {
    return std::any_of(properties.begin(), properties.end(),
                       [&](const NamedValue& property) { return property.name == name; });
}

Properties MailProperties(std::string_view text) {
    Properties properties;
    while (!text.empty()) {
        const std::string_view line = TakeLine(text);
        if (line.empty() || line == "\r") break;
        const Field* field = FieldOf(line);
        if (field == nullptr || Has(properties, field->property)) continue;
        properties.push_back({field->property, TakeValue(line.substr(field->header.size()), text)});
    }
    return properties;
}

void AddText(Properties& properties, const char* name, const std::string& value) {
    if (!value.empty()) properties.push_back({name, value});
}

void AddNumber(Properties& properties, const char* name, std::optional<std::int32_t> value) {
    if (value) properties.push_back({name, std::to_string(*value)});
}

void AddTime(Properties& properties, const char* name, std::optional<std::uint64_t> fileTime) {
    if (fileTime) properties.push_back({name, UnixSeconds(*fileTime)});
}

// The name as people write it, or what else there is to call the contact by.
std::string DisplayName(PropertySource& contact) {
    std::string name = contact.TextOr(property::kGivenName);
    const std::string surname = contact.TextOr(property::kSurname);
    if (!name.empty() && !surname.empty()) name += ' ';
    name += surname;
    if (name.empty()) name = contact.TextOr(property::kNickname);
    return name.empty() ? contact.TextOr(property::kDisplayName) : name;
}

Properties ContactProperties(std::string_view text) {
    Properties properties;
    ContactReading reading = ReadContactText(text);
    if (reading.contacts.empty()) return properties;
    PropertySource& contact = reading.contacts.front();
    AddText(properties, "SUBJECT", DisplayName(contact));
    AddText(properties, "FROM", contact.TextOr(property::kEmailAddress));
    return properties;
}

// The calendar objects of a file, which may hold other text around them. A text within an item may
// look like the end of one, so they last until the last end; damage behind the first spares it.
CalendarReading ReadCalendars(std::string_view text) {
    constexpr std::string_view kEnd = "END:VCALENDAR";
    const std::size_t start = FindText(text, "BEGIN:VCALENDAR");
    if (start == kNotFound) return {};
    CalendarReading reading;
    for (const std::size_t end : {text.rfind(kEnd), FindText(text, kEnd, start)}) {
        if (end == kNotFound || end < start) break;
        reading = ReadCalendarText(text.substr(start, end + kEnd.size() - start));
        if (!reading.failure) break;
    }
    return reading;
}

Properties CalendarProperties(std::string_view text) {
    Properties properties;
    CalendarReading reading = ReadCalendars(text);
    if (reading.items.empty()) return properties;
    PropertySource& item = reading.items.front().properties;
    const bool isTask = reading.items.front().kind == ItemKind::Task;
    AddText(properties, "SUBJECT", item.TextOr(property::kSubject));
    AddTime(properties, "MESSAGEDATE",
            item.FileTime(isTask ? property::kTaskStart : property::kEventStart));
    AddNumber(properties, "IMPORTANCE", item.Number(property::kImportance));
    AddNumber(properties, "SENSITIVITY", item.Number(property::kSensitivity));
    AddNumber(properties, "STATE", item.Number(property::kStatus));
    AddNumber(properties, "MODIFIEDDATE", item.Number(property::kModifiedDate));
    return properties;
}

}  // namespace

std::size_t ItemTextLimit(FolderType folderType) {
    if (folderType == kGroupsFolder) return 0;
    return folderType == kMailFolder ? kMailHeaderLimit : kItemTextLimit;
}

std::vector<NamedValue> ItemIndexProperties(FolderType folderType, std::string_view text) {
    text = text.substr(0, ItemTextLimit(folderType));
    switch (folderType) {
        case kMailFolder:
            return MailProperties(text);
        case kContactsFolder:
            return ContactProperties(text);
        case kCalendarFolder:
        case kTaskFolder:
            return CalendarProperties(text);
        default:
            return {};
    }
}

}  // namespace tarnwick
