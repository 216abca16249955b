#include "Library/convert/ContactReader.h"

#include <algorithm>
#include <limits>

#include "common/Scan.h"
#include "Library/convert/CalendarValues.h"
#include "Library/convert/Components.h"
#include "Library/convert/PropertyNames.h"
#include "Library/convert/RuleParts.h"
#include "Library/convert/ValueText.h"

namespace tarnwick {
namespace {

constexpr const char* kNameComponents[] = {property::kSurname, property::kGivenName,
                                           property::kMiddleName, property::kNamePrefix,
                                           property::kGeneration};

// How much an address is preferred, lower is more; addresses that do not say come last.
constexpr std::int32_t kNotPreferred = 101;

bool NamesPreference(std::string_view types) {
    while (const auto type = NextListItem(types)) {
        if (EqualsIgnoreCase(*type, "PREF")) return true;
    }
    return false;
}

std::int32_t PreferenceOf(std::string_view parameters) {
    while (const auto parameter = NextParameter(parameters)) {
        if (EqualsIgnoreCase(parameter->name, "PREF")) {
            return ParseWholeNumber(parameter->value).value_or(kNotPreferred);
        }
        const bool isType = parameter->name.empty() || EqualsIgnoreCase(parameter->name, "TYPE");
        if (isType && NamesPreference(parameter->value)) return 1;
    }
    return kNotPreferred;
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
    explicit CardReader(ContentLines& lines) : lines_(lines) { lines_.KeepFoldBlanks(false); }

    void Take(const ContentLine& line);
    ItemPropertyContainer Finish() { return std::move(contact_); }

  private:
    void SetText(const char* name, std::string_view value, const ContentLine& line) {
        std::string text = TextOfValue(value, line.parameters, escapes_);
        if (!text.empty()) contact_.Set(name, std::move(text));
    }
    void TakeVersion(const ContentLine& line);
    void TakeName(const ContentLine& line);
    void TakeEmail(const ContentLine& line);

    ContentLines& lines_;
    Escapes escapes_ = Escapes::Modern;
    std::int32_t preference_ = std::numeric_limits<std::int32_t>::max();
    ItemPropertyContainer contact_;
};

void CardReader::Take(const ContentLine& line) {
    const auto is = [&line](std::string_view name) { return EqualsIgnoreCase(line.name, name); };
    if (is("VERSION")) {
        TakeVersion(line);
    } else if (is("N")) {
        TakeName(line);
    } else if (is("EMAIL")) {
        TakeEmail(line);
    } else if (is("FN")) {
        SetText(property::kDisplayName, line.value, line);
    } else if (is("NICKNAME")) {
        SetText(property::kNickname, line.value, line);
    } else if (is("NOTE")) {
        SetText(property::kBody, line.value, line);
    } else {
        return;
    }
    if (!line.hasValue) {
        throw ReadFailure(line.number, std::string(line.name) + " without a value");
    }
}

void CardReader::TakeVersion(const ContentLine& line) {
    if (line.value != "2.1") return;
    escapes_ = Escapes::Old;
    lines_.KeepFoldBlanks(true);
}

void CardReader::TakeName(const ContentLine& line) {
    std::string_view value = line.value;
    for (const char* name : kNameComponents) SetText(name, TakeNameComponent(value), line);
}

void CardReader::TakeEmail(const ContentLine& line) {
    const std::int32_t preference = PreferenceOf(line.parameters);
    if (preference >= preference_ || line.value.empty()) return;
    preference_ = preference;
    SetText(property::kEmailAddress, line.value, line);
}

ContactReading ReadCards(std::string_view text) {
    ContactReading reading;
    ContentLines lines(text);
    while (const auto line = lines.Next()) {
        const auto open = BeginningOf(*line);
        if (!open || !open->Is("VCARD")) {
            throw ReadFailure(line->number, "BEGIN:VCARD expected");
        }
        CardReader card(lines);
        ReadComponent(
            lines, *open, [&lines](const OpenComponent& child) { SkipComponent(lines, child); },
            [&card](const ContentLine& property) { card.Take(property); });
        reading.contacts.push_back(card.Finish());
    }
    if (reading.contacts.empty()) throw ReadFailure(lines.LineNumber(), "BEGIN:VCARD expected");
    return reading;
}

}  // namespace

ContactReading ReadContactText(std::string_view text) try {
    RequireText(text);
    return ReadCards(text);
} catch (const ReadFailure& failure) {
    ContactReading failed;
    failed.failure = failure.problem;
    return failed;
}

}  // namespace tarnwick
