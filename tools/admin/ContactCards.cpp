#include "tools/admin/ContactCards.h"

#include <algorithm>
#include <array>
#include <map>
#include <nlohmann/json.hpp>

#include "common/Text.h"
#include "Library/convert/Components.h"
#include "Library/convert/ItemText.h"
#include "Library/convert/PropertyNames.h"
#include "Library/convert/TextEncoding.h"

namespace tarnwick::admin {
namespace {

// Where the store's card has a property.
enum class Place { None, Name, Line };

struct ContactProperty {
    const char* key;
    const char* name;
    Place place;
};

constexpr ContactProperty kProperties[] = {
    {"displayName", property::kDisplayName, Place::None},
    {"surname", property::kSurname, Place::Name},
    {"givenName", property::kGivenName, Place::Name},
    {"middleName", property::kMiddleName, Place::Name},
    {"prefix", property::kNamePrefix, Place::Name},
    {"generation", property::kGeneration, Place::Name},
    {"nickname", property::kNickname, Place::Line},
    {"email", property::kEmailAddress, Place::Line},
    {"note", property::kBody, Place::None},
};

// Empty when it is missing.
std::string_view TextOf(const ItemPropertyContainer& contact, std::string_view name) {
    const PropertyValue* value = contact.Find(name);
    const auto* text = value == nullptr ? nullptr : std::get_if<std::string>(value);
    return text == nullptr ? std::string_view() : *text;
}

char UpperAscii(char character) {
    return character >= 'a' && character <= 'z' ? static_cast<char>(character - ('a' - 'A'))
                                                : character;
}

bool IsBlank(std::string_view text) {
    return text.find_first_not_of(" \t;,") == std::string_view::npos;
}

// The display name, else what the parts of the name make.
std::string NameOf(const ItemPropertyContainer& contact) {
    std::string name(TextOf(contact, property::kDisplayName));
    if (!name.empty()) return name;
    for (const char* part : {property::kNamePrefix, property::kGivenName, property::kMiddleName,
                             property::kSurname, property::kGeneration}) {
        const std::string_view text = TextOf(contact, part);
        if (!name.empty() && !text.empty()) name += ' ';
        name += text;
    }
    return name;
}

constexpr const char* kNoName = "(no name)";

// What a note calls a contact.
std::string CalledBy(const ItemPropertyContainer& contact) {
    const std::string name = NameOf(contact);
    for (const std::string_view text :
         {std::string_view(name), TextOf(contact, property::kNickname),
          TextOf(contact, property::kEmailAddress)}) {
        if (!IsBlank(text)) return std::string(text);
    }
    return kNoName;
}

// Takes the next word, which blanks and commas end; nothing when none is left.
std::optional<std::string_view> NextWord(std::string_view& text) {
    constexpr const char* kSeparators = " \t,";
    const std::size_t from = text.find_first_not_of(kSeparators);
    if (from == std::string_view::npos) return std::nullopt;
    text.remove_prefix(from);
    const std::string_view word = text.substr(0, text.find_first_of(kSeparators));
    text.remove_prefix(word.size());
    return word;
}

// Whether the display name has no word that the parts of the name lack.
bool IsNameOfParts(const ItemPropertyContainer& contact) {
    std::vector<std::string_view> words;
    for (const ContactProperty& property : kProperties) {
        if (property.place != Place::Name) continue;
        std::string_view part = TextOf(contact, property.name);
        while (const auto word = NextWord(part)) words.push_back(*word);
    }
    std::sort(words.begin(), words.end());
    std::string_view name = TextOf(contact, property::kDisplayName);
    while (const auto word = NextWord(name)) {
        if (!std::binary_search(words.begin(), words.end(), *word)) return false;
    }
    return true;
}

// What of a card no property of the store's card holds: names of its lines, and how many of each.
class CardRest {
  public:
    explicit CardRest(std::size_t line) : line_(line) {}

    void Take(const ContentLine& line);
    void TakeComponent(const OpenComponent& component) { Add(component.name); }
    // Takes off the lines that became what `contact` holds.
    void Release(const ItemPropertyContainer& contact);

    std::size_t Line() const { return line_; }
    // "EMAIL (1 of 2), ORG, TEL (2)"; empty when there is nothing.
    std::string Text() const;

  private:
    struct Count {
        std::size_t lines = 0;
        std::size_t held = 0;
    };

    void Add(std::string_view name) {
        std::string key = Excerpt(name);
        std::transform(key.begin(), key.end(), key.begin(), UpperAscii);
        ++counts_[key].lines;
    }
    void Release(const char* name) {
        if (const auto found = counts_.find(name); found != counts_.end()) found->second.held = 1;
    }

    std::size_t line_;
    bool hasMoreNameParts_ = false;
    std::map<std::string, Count> counts_;
};

bool HasMoreThanFiveParts(std::string_view name) {
    int parts = 0;
    for (std::size_t at = 0; at < name.size(); ++at) {
        if (name[at] == '\\') {
            ++at;
        } else if (name[at] == ';' && ++parts == 5) {
            return !IsBlank(name.substr(at));
        }
    }
    return false;
}

void CardRest::Take(const ContentLine& line) {
    const auto is = [&line](std::string_view name) { return EqualsIgnoreCase(line.name, name); };
    // Lines that are no property are noted by the reader; the others say nothing of the contact.
    if (line.name.empty() || is("VERSION") || is("PRODID") || is("REV")) return;
    if (IsBlank(line.value)) return;
    Add(line.name);
    if (is("N") && HasMoreThanFiveParts(line.value)) hasMoreNameParts_ = true;
}

void CardRest::Release(const ItemPropertyContainer& contact) {
    const auto has = [&contact](const char* name) { return !TextOf(contact, name).empty(); };
    const bool hasName = std::any_of(std::begin(kProperties), std::end(kProperties),
                                     [&](const ContactProperty& property) {
                                         return property.place == Place::Name && has(property.name);
                                     });
    if (hasName) Release("N");
    if (has(property::kNickname)) Release("NICKNAME");
    if (has(property::kEmailAddress)) Release("EMAIL");
    if (IsNameOfParts(contact)) Release("FN");
}

std::string CardRest::Text() const {
    std::string text;
    const auto add = [&text](const std::string& what) {
        text += (text.empty() ? "" : ", ") + what;
    };
    for (const auto& [name, count] : counts_) {
        const std::size_t left = count.lines - count.held;
        if (left == 0) continue;
        std::string number = count.lines == 1 ? "" : " (" + std::to_string(left);
        if (count.held != 0) number += " of " + std::to_string(count.lines);
        add(name + number + (number.empty() ? "" : ")"));
    }
    if (hasMoreNameParts_) add("parts of N behind the fifth");
    return text;
}

// One for each contact that the reader made of the same text.
std::vector<CardRest> RestsOfCards(std::string_view text) {
    std::vector<CardRest> rests;
    ContentLines lines(text);
    while (const auto first = lines.Next()) {
        const auto open = BeginningOf(*first);
        if (!open || !open->Is("VCARD")) continue;
        CardRest rest(open->line);
        ReadComponent(
            lines, *open,
            [&](const OpenComponent& child) {
                rest.TakeComponent(child);
                SkipComponent(lines, child);
            },
            [&](const ContentLine& line) {
                // Where the reader keeps the blanks of folds, they decide what a line is.
                const bool isVersion = EqualsIgnoreCase(line.name, "VERSION");
                if (isVersion && TrimBlanks(line.value) == "2.1") lines.KeepFoldBlanks(true);
                rest.Take(line);
            });
        lines.KeepFoldBlanks(false);
        rests.push_back(std::move(rest));
    }
    return rests;
}

// Drops the last backslash of each odd run of them in front of a semicolon, with which it would be
// read as one; `atEnd` tells whether a semicolon follows the value.
std::string WithoutEscapes(std::string_view value, bool atEnd) {
    std::string text;
    std::size_t run = 0;
    const auto endRun = [&](bool isBeforeSemicolon) {
        if (isBeforeSemicolon && run % 2 != 0) text.pop_back();
        run = 0;
    };
    for (const char byte : value) {
        if (byte != '\\') endRun(byte == ';');
        text += byte;
        if (byte == '\\') ++run;
    }
    endRun(atEnd);
    return text;
}

std::string WithEscapes(std::string_view value) {
    std::string text;
    for (const char byte : value) {
        if (byte == ';') text += '\\';
        text += byte;
    }
    return text;
}

std::string ChangeText(const StoreCard::Change& change, const ToCodePage& toCodePage) {
    return std::string(change.property) + " is written as \"" +
           ShownBriefly(change.value, toCodePage) + "\": the store's card cannot hold it as it was";
}

}  // namespace

std::string ContactTable(const std::vector<ItemPropertyContainer>& contacts,
                         const ToCodePage& toCodePage) {
    std::vector<std::vector<std::string>> rows{{"NAME", "E-MAIL", "NICKNAME"}};
    for (const ItemPropertyContainer& contact : contacts) {
        const std::string name = NameOf(contact);
        rows.push_back({IsBlank(name) ? kNoName : name,
                        std::string(TextOf(contact, property::kEmailAddress)),
                        std::string(TextOf(contact, property::kNickname))});
    }
    return TextTable(rows, toCodePage);
}

nlohmann::ordered_json ContactJson(const ItemPropertyContainer& contact) {
    nlohmann::ordered_json object = nlohmann::ordered_json::object();
    for (const ContactProperty& property : kProperties) {
        const std::string_view text = TextOf(contact, property.name);
        if (!text.empty()) object[property.key] = Utf8OrWindows1252(std::string(text));
    }
    return object;
}

StoreCard ToStoreCard(const ItemPropertyContainer& contact) {
    StoreCard card;
    ItemPropertyContainer written;
    for (const auto& [key, name, place] : kProperties) {
        const std::string_view value = TextOf(contact, name);
        if (place == Place::None || value.empty()) continue;
        std::string text = WithoutEscapes(OnOneLine(value), place == Place::Name);
        if (text != value) card.changes.push_back({key, text});
        written.Set(name, place == Place::Name ? WithEscapes(text) : std::move(text));
    }
    card.text = ContactText(written);
    return card;
}

ConvertedContacts ConvertContacts(std::string_view text, const ContactReading& reading,
                                  const ToCodePage& toCodePage) {
    const std::optional<std::string> utf8 = Utf8OfUtf16(text);
    std::vector<CardRest> rests = RestsOfCards(utf8 ? *utf8 : text);
    ConvertedContacts converted{{}, reading.notes};
    for (std::size_t number = 0; number < reading.contacts.size(); ++number) {
        const ItemPropertyContainer& contact = reading.contacts[number];
        CardRest& rest = rests.at(number);
        const auto note = [&](const std::string& reason) {
            std::string line = ShownBriefly(CalledBy(contact), toCodePage);
            line.append(": ").append(reason);
            converted.notes.push_back({rest.Line(), std::move(line)});
        };
        StoreCard card = ToStoreCard(contact);
        converted.text += card.text;
        rest.Release(contact);
        if (const std::string names = rest.Text(); !names.empty()) note("left out: " + names);
        for (const StoreCard::Change& change : card.changes) note(ChangeText(change, toCodePage));
    }
    std::stable_sort(
        converted.notes.begin(), converted.notes.end(),
        [](const ReadProblem& left, const ReadProblem& right) { return left.line < right.line; });
    return converted;
}

}  // namespace tarnwick::admin
