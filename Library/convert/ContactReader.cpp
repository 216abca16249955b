#include "Library/convert/ContactReader.h"

#include <limits>

#include "common/Scan.h"
#include "Library/convert/Components.h"
#include "Library/convert/PropertyNames.h"
#include "Library/convert/TextEncoding.h"
#include "Library/convert/ValueText.h"

namespace tarnwick {
namespace {

constexpr const char* kNameComponents[] = {property::kSurname, property::kGivenName,
                                           property::kMiddleName, property::kNamePrefix,
                                           property::kGeneration};

// How much an address is preferred, lower is more; addresses that do not say come last.
constexpr std::int32_t kNotPreferred = 101;

// Whether one of the types of a line (the parameter TYPE, or a lone word) is `wanted`.
bool HasType(std::string_view parameters, std::string_view wanted) {
    while (const auto parameter = NextParameter(parameters)) {
        if (!parameter->name.empty() && !EqualsIgnoreCase(parameter->name, "TYPE")) continue;
        std::string_view types = parameter->value;
        while (const auto type = NextListItem(types)) {
            if (EqualsIgnoreCase(TrimBlanks(*type), wanted)) return true;
        }
    }
    return false;
}

std::int32_t PreferenceOf(std::string_view parameters) {
    if (HasType(parameters, "PREF")) return 1;
    const std::string_view preference = TrimBlanks(ParameterValue(parameters, "PREF"));
    return ParseWholeNumber(preference).value_or(kNotPreferred);
}

// Takes the text before the next semicolon that has no backslash before it.
std::string_view TakeNameComponent(std::string_view& value) {
    std::size_t at = FindEither(value, ';', '\\');
    while (at != kNotFound && value[at] == '\\') at = FindEither(value, ';', '\\', at + 2);
    const std::string_view component = value.substr(0, at);
    value.remove_prefix(at == kNotFound ? value.size() : at + 1);
    return component;
}

class CardReader {
  public:
    CardReader(ContentLines& lines, std::vector<ReadProblem>& notes)
        : lines_(lines), notes_(notes) {
        lines_.KeepFoldBlanks(false);
    }

    void Take(const ContentLine& line);
    ItemPropertyContainer Finish() { return std::move(contact_); }

  private:
    void SetText(const char* name, std::string_view value, const ContentLine& line) {
        std::string text = TextOfValue(value, line.encoding, escapes_);
        if (!text.empty()) contact_.Set(name, std::move(text));
    }
    void TakeName(const ContentLine& line);
    void TakeEmail(const ContentLine& line);

    ContentLines& lines_;
    std::vector<ReadProblem>& notes_;
    Escapes escapes_ = Escapes::Modern;
    std::int32_t preference_ = std::numeric_limits<std::int32_t>::max();
    ItemPropertyContainer contact_;
};

void CardReader::Take(const ContentLine& line) {
    if (!line.IsProperty()) {
        notes_.push_back({line.number, NotAProperty(line)});
    } else if (line.Is("VERSION")) {
        if (TrimBlanks(line.value) != "2.1") return;
        escapes_ = Escapes::Old;
        lines_.KeepFoldBlanks(true);
    } else if (line.Is("N")) {
        TakeName(line);
    } else if (line.Is("EMAIL")) {
        TakeEmail(line);
    } else if (line.Is("FN")) {
        SetText(property::kDisplayName, line.value, line);
    } else if (line.Is("NICKNAME")) {
        SetText(property::kNickname, line.value, line);
    } else if (line.Is("NOTE")) {
        SetText(property::kBody, line.value, line);
    }
}

void CardReader::TakeName(const ContentLine& line) {
    std::string_view value = line.value;
    for (const char* name : kNameComponents) SetText(name, TakeNameComponent(value), line);
}

void CardReader::TakeEmail(const ContentLine& line) {
    if (line.value.empty()) return;
    if (HasType(line.parameters, "X400")) {
        notes_.push_back({line.number, "an X.400 address is left out: " + Excerpt(line.value)});
        return;
    }
    const std::int32_t preference = PreferenceOf(line.parameters);
    if (preference >= preference_) return;
    preference_ = preference;
    SetText(property::kEmailAddress, line.value, line);
}

ContactReading ReadCards(std::string_view text) {
    ContactReading reading;
    ContentLines lines(text);
    const std::size_t firstLine = lines.LineNumber();
    bool isStray = false;
    while (const auto line = lines.Next()) {
        const auto open = BeginningOf(*line);
        const bool isCard = open && open->Is("VCARD");
        if (isCard) {
            CardReader card(lines, reading.notes);
            ReadComponent(
                lines, *open, [&lines](const OpenComponent& child) { SkipComponent(lines, child); },
                [&card](const ContentLine& property) { card.Take(property); });
            reading.contacts.push_back(card.Finish());
            lines.KeepFoldBlanks(false);
        } else if (!isStray) {
            reading.notes.push_back(
                {line->number, "text outside of cards is passed over: " + Excerpt(line->text)});
        }
        isStray = !isCard;
    }
    if (reading.contacts.empty()) throw ReadFailure(firstLine, "BEGIN:VCARD expected");
    return reading;
}

}  // namespace

ContactReading ReadContactText(std::string_view text) {
    return ReadingOf(text, ReadCards);
}

}  // namespace tarnwick
