#include <gtest/gtest.h>

#include <map>
#include <random>
#include <regex>

#include "Library/convert/PropertyNames.h"
#include "tools/admin/ContactCards.h"

namespace tarnwick::admin {
namespace {

constexpr std::pair<const char*, const char*> kWritten[] = {
    {"surname", property::kSurname},       {"givenName", property::kGivenName},
    {"middleName", property::kMiddleName}, {"prefix", property::kNamePrefix},
    {"generation", property::kGeneration}, {"nickname", property::kNickname},
    {"email", property::kEmailAddress},
};

// A code page of ASCII and a U umlaut.
std::optional<std::string> ToTestCodePage(std::string_view utf8) {
    if (utf8 == "\xC3\xBC") return "\xFC";
    return utf8.size() == 1 ? std::optional<std::string>(utf8) : std::nullopt;
}

// Expects that the store's card reads back as the contact with the changes that it tells.
void ExpectKept(ItemPropertyContainer& contact, const StoreCard& card) {
    std::map<std::string, std::string> changes;
    for (const auto& [property, value] : card.changes) changes[property] = value;
    ContactReading reading = ReadContactText(card.text);
    ASSERT_EQ(1U, reading.contacts.size()) << card.text;
    EXPECT_TRUE(reading.notes.empty()) << card.text;
    for (const auto& [key, name] : kWritten) {
        const auto change = changes.find(key);
        const std::string kept = change == changes.end() ? contact.TextOr(name) : change->second;
        EXPECT_EQ(kept, reading.contacts.front().TextOr(name)) << key << " in " << card.text;
    }
}

TEST(ContactCards, ReadBackAsTheContactOrTellTheChange) {
    const std::regex unfitName(R"([\x01-\x08\x0a-\x1f\x7f]|(^|[^\\])\\(\\\\)*(;|$))");
    const std::regex unfit(R"([\x01-\x08\x0a-\x1f\x7f]|(^|[^\\])\\(\\\\)*;)");
    constexpr std::string_view kBytes = "a;\\\r\n\x01\t :=,\xFC";
    std::vector<std::string> values{""};
    for (std::size_t at = 0; at < values.size() && values[at].size() < 4; ++at) {
        for (const char byte : kBytes) values.push_back(values[at] + byte);
    }
    std::size_t number = 0;
    for (const std::string& value : values) {
        const auto& [key, name] = kWritten[number++ % std::size(kWritten)];
        ItemPropertyContainer contact;
        for (const auto& other : kWritten) contact.Set(other.second, std::string("x"));
        contact.Set(name, value);
        const StoreCard card = ToStoreCard(contact);
        ExpectKept(contact, card);
        const bool isLine = std::string_view(key) == "nickname" || std::string_view(key) == "email";
        EXPECT_EQ(std::regex_search(value, isLine ? unfit : unfitName), !card.changes.empty())
            << key << " " << ::testing::PrintToString(value);
    }
}

// Whatever the reader takes for cards, the conversion finds the same ones.
TEST(ContactCards, AreThoseOfTheReader) {
    const std::string lines[] = {"BEGIN:VCARD\n",
                                 "END:VCARD\n",
                                 "VERSION:2.1\n",
                                 "E\n ND:VCARD\n",
                                 "N:a;b;c;d;e;f\n",
                                 "NOTE:x\n",
                                 " y\n",
                                 "\n",
                                 "BEGIN:X\n",
                                 "END:X\n",
                                 "EMAIL;QUOTED-PRINTABLE:a=\n",
                                 "PHOTO;BASE64:AA\n",
                                 "stray\n"};
    std::mt19937 random(1);
    std::size_t read = 0;
    for (int round = 0; round < 5000; ++round) {
        std::string text = "BEGIN:VCARD\n";
        for (std::size_t count = random() % 12; count > 0; --count) {
            text += lines[random() % std::size(lines)];
        }
        text += "END:VCARD\n";
        const ContactReading reading = ReadContactText(text);
        if (reading.failure) continue;
        ++read;
        const auto converted = ConvertContacts(text, reading, ToTestCodePage);
        ASSERT_EQ(reading.contacts.size(), ReadContactText(converted.text).contacts.size()) << text;
    }
    EXPECT_GT(read, 500U);
}

TEST(ContactCards, TellWhatIsLeftOut) {
    const struct {
        const char* lines;
        const char* note;
    } rows[] = {
        {"N:Smith;Anna;;Dr.\nFN:Dr. Anna Smith\nREV:1\nADR:;;;\nORG: ;\n", ""},
        {"N:Smith;Anna;;;Jr.\nFN:Smith\\, Anna\n", ""},
        {"N:Smith;Anna\nFN:Anna Smith (Acme)\n", "Anna Smith (Acme): left out: FN"},
        {"FN:M\xC3\xBCller \xE2\x82\xAC\n", "M\xFCller ?: left out: FN"},
        {"EMAIL:a\nEMAIL:b\nEMAIL:c\ntel:1\nx.TEL:2\nORG:o\n",
         "a: left out: EMAIL (2 of 3), ORG, TEL (2)"},
        {"N:a\nN:b\nNICKNAME:c\nNOTE:d\n", "b: left out: N (1 of 2), NOTE"},
        {"EMAIL;QUOTED-PRINTABLE:=00\n", "(no name): left out: EMAIL"},
        {"N:a;;;;;;b\n", "a: left out: parts of N behind the fifth"},
        {"N:a\\;b;c\\;;;;;\n", ""},
        {"AGENT:\nBEGIN:VCARD\nTEL:1\nEND:VCARD\n", "(no name): left out: VCARD"},
        {"NICKNAME:a\\nb\n",
         "a b: nickname is written as \"a b\": the store's card cannot hold it as it was"},
    };
    for (const auto& [lines, note] : rows) {
        const std::string text =
            "BEGIN:VCARD\nEND:VCARD\nBEGIN:VCARD\nstray\n" + std::string(lines) + "END:VCARD\n";
        std::vector<ReadProblem> wanted{{4, "the line is not a property: stray"}};
        if (*note != '\0') wanted.insert(wanted.begin(), {3, note});
        EXPECT_EQ(wanted, ConvertContacts(text, ReadContactText(text), ToTestCodePage).notes)
            << text;
    }
    // A fold of the old format does not make an END.
    const std::string fold = "BEGIN:VCARD\nVERSION:2.1\nE\n ND:VCARD\nTEL:1\nEND:VCARD\n";
    EXPECT_EQ("(no name): left out: TEL",
              ConvertContacts(fold, ReadContactText(fold), ToTestCodePage).notes.front().reason);
    const std::string longest = std::string(61, 'n');
    const std::string text = "BEGIN:VCARD\nFN:" + longest + "\nEND:VCARD\n";
    EXPECT_EQ(longest.substr(1) + "...: left out: FN",
              ConvertContacts(text, ReadContactText(text), ToTestCodePage).notes.front().reason);
}

}  // namespace
}  // namespace tarnwick::admin
