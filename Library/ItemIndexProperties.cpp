#include "Library/ItemIndexProperties.h"

#include <algorithm>
#include <optional>

#include "common/Files.h"
#include "common/Scan.h"
#include "Library/convert/CalendarDate.h"
#include "Library/convert/CalendarReader.h"
#include "Library/convert/ContactReader.h"
#include "Library/convert/PropertyNames.h"

namespace tarnwick {
namespace {

// Item files are read up to this size; what lies behind it does not matter to an index.
constexpr std::size_t kItemTextLimit = std::size_t{16} << 20;

using Properties = std::vector<NamedValue>;

std::string UnixSeconds(std::uint64_t fileTime) {
    return std::to_string(SecondsOfFileTime(fileTime));
}

std::string ReadUpTo(const std::string& path, std::size_t limit) {
    std::string text;
    File file(path, kOpenRead);
    if (!file.IsOpen()) return text;
    const auto size = static_cast<std::uint64_t>(file.Size().value_or(0));
    limit = static_cast<std::size_t>(std::min<std::uint64_t>(limit, size));
    text.resize(limit);
    std::size_t length = 0;
    while (length < limit) {
        const auto count =
            file.Read(text.data() + length, static_cast<std::uint32_t>(limit - length));
        if (count.value_or(0) == 0) break;
        length += *count;
    }
    text.resize(length);
    return text;
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

Properties ContentProperties(const std::string& path, std::uint32_t folderType) {
    switch (folderType) {
        case kMailFolder:
            return MailProperties(ReadUpTo(path, kMailHeaderLimit));
        case kContactsFolder:
            return ContactProperties(ReadUpTo(path, kItemTextLimit));
        case kCalendarFolder:
        case kTaskFolder:
            return CalendarProperties(ReadUpTo(path, kItemTextLimit));
        default:
            return {};
    }
}

}  // namespace

std::vector<NamedValue> ItemIndexProperties(const std::string& folder, std::uint32_t folderType,
                                            const MessageFile& file) {
    Properties properties{
        {"SIZE", std::to_string(file.size)},
        {folderType == kMailFolder ? "RECEIVED" : "MODIFIEDDATE", UnixSeconds(file.lastWrite)}};
    // What the content says of the item comes later and so counts more than the file's own times.
    for (NamedValue& property : ContentProperties(folder + "\\" + file.name, folderType)) {
        properties.push_back(std::move(property));
    }
    return properties;
}

}  // namespace tarnwick
