#include "Library/convert/ContactReader.h"

#include <gtest/gtest.h>

#include "Library/convert/ItemText.h"
#include "tests/Library/convert/ItemDescription.h"

namespace tarnwick {
namespace {

std::string Card(const std::string& version, const std::string& lines) {
    return "BEGIN:VCARD\r\nVERSION:" + version + "\r\n" + lines + "END:VCARD\r\n";
}

std::string Wide(const std::string& ascii) {
    std::string wide;
    for (const char letter : ascii) wide.append({letter, '\0'});
    return wide;
}

std::string Read(const std::string& text) {
    const ContactReading reading = ReadContactText(text);
    if (reading.failure) {
        return std::to_string(reading.failure->line) + ": " + reading.failure->reason;
    }
    std::string contacts;
    for (const ItemPropertyContainer& contact : reading.contacts) {
        contacts += (contacts.empty() ? "" : "--\n") + testing::Describe(contact);
    }
    return contacts;
}

TEST(ContactReader, Cards) {
    const struct {
        const char* label;
        std::string text;
        const char* expected;
    } rows[] = {
        {"a card of this system",
         Card("2.1", "N:Smith;Anna;B.;Dr.;III\r\nNICKNAME:Ann\r\nEMAIL;PREF;INTERNET:a@b\r\n"),
         "SURNAME='Smith'\nGIVEN_NAME='Anna'\nMIDDLE_NAME='B.'\nDISPLAY_NAME_PREFIX='Dr.'\n"
         "GENERATION='III'\nNICKNAME='Ann'\nEMAIL_ADDRESS='a@b'\n"},
        {"empty values", Card("2.1", "N:;;;;\r\nNICKNAME:\r\nEMAIL;PREF;INTERNET:\r\n"), ""},
        {"components that are missing or too many", Card("3.0", "N:a;;b;c;d;e\r\n"),
         "SURNAME='a'\nMIDDLE_NAME='b'\nDISPLAY_NAME_PREFIX='c'\nGENERATION='d'\n"},
        {"escapes", Card("3.0", "N:a\\;b;c\\,d\\\\;e\r\nNOTE:x\\ny\\\"\r\nFN:f\r\n"),
         "SURNAME='a;b'\nGIVEN_NAME='c,d\\'\nMIDDLE_NAME='e'\nBODY='x\r\ny\"'\n"
         "DISPLAY_NAME='f'\n"},
        {"escapes of the old format", Card("2.1", "N:a\\;b;c\\,d\r\nNOTE:x\\ny\r\n"),
         "SURNAME='a;b'\nGIVEN_NAME='c\\,d'\nBODY='x\\ny'\n"},
        {"quoted-printable components",
         Card("2.1", "N;CHARSET=UTF-8;ENCODING=QUOTED-PRINTABLE:=C3=91=3Bx;=\r\n=20b\r\n"),
         "SURNAME='\xC3\x91;x'\nGIVEN_NAME=' b'\n"},
        {"quoted-printable with a soft break before a blank",
         Card("2.1", "NOTE;QUOTED-PRINTABLE:one=\r\n two\r\nNICKNAME:n\r\n"),
         "BODY='one two'\nNICKNAME='n'\n"},
        {"folded", Card("3.0", "NOTE:a\r\n b\r\n") + Card("2.1", "NOTE:a\r\n b\r\n"),
         "BODY='ab'\n--\nBODY='a b'\n"},
        {"groups", Card("3.0", "item1.EMAIL:a@b\r\nX.Y.NICKNAME:n\r\n"),
         "EMAIL_ADDRESS='a@b'\nNICKNAME='n'\n"},
        {"base64 without blanks",
         Card("2.1", "PHOTO;ENCODING=BASE64:AAAA\r\nAA+/\r\nAA==\r\n\r\nNICKNAME:n\r\n"),
         "NICKNAME='n'\n"},
        {"a card inside a card", Card("2.1", "AGENT:\r\n" + Card("2.1", "NICKNAME:no\r\n")), ""},
    };
    for (const auto& row : rows) EXPECT_EQ(row.expected, Read(row.text)) << row.label;
}

TEST(ContactReader, TakesThePreferredAddress) {
    const struct {
        const char* lines;
        const char* address;
    } rows[] = {
        {"EMAIL:a\r\nEMAIL:b\r\n", "a"},
        {"EMAIL;INTERNET:a\r\nEMAIL;PREF;INTERNET:b\r\n", "b"},
        {"EMAIL:a\r\nEMAIL;TYPE=INTERNET,pref:b\r\n", "b"},
        {"EMAIL;TYPE=\"home,pref\":a\r\nEMAIL;PREF:b\r\n", "a"},
        {"EMAIL;PREF=7:a\r\nEMAIL;PREF=3:b\r\nEMAIL;PREF=5:c\r\n", "b"},
        {"EMAIL;PREF=x:a\r\nEMAIL;PREF=100:b\r\n", "b"},
        {"EMAIL;PREF:\r\nEMAIL:b\r\n", "b"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ("EMAIL_ADDRESS='" + std::string(row.address) + "'\n",
                  Read(Card("4.0", row.lines)))
            << row.lines;
    }
}

TEST(ContactReader, PassesOverWhatItCannotRead) {
    const struct {
        std::string text;
        const char* contacts;
        const char* notes;
    } rows[] = {
        {Card("3.0", "NICKNAME:a\r\nb c\r\nEMAIL\r\nEMAIL:d\r\n"),
         "NICKNAME='a'\nEMAIL_ADDRESS='d'\n",
         "4: the line is not a property: b c\n5: the line is not a property: EMAIL\n"},
        {"Dear all\r\nsee\r\n" + Card("3.0", "FN:a\r\n") + "\x1a\r\n" + Card("3.0", "FN:b\r\n"),
         "DISPLAY_NAME='a'\n--\nDISPLAY_NAME='b'\n",
         "1: text outside of cards is passed over: Dear all\n"
         "7: text outside of cards is passed over: (blank)\n"},
        {Card("3.0", "EMAIL;X400;PREF:C=US\r\nEMAIL;TYPE=INTERNET, pref :b\r\nEMAIL:c\r\n"),
         "EMAIL_ADDRESS='b'\n", "3: an X.400 address is left out: C=US\n"},
        {"\xFF\xFE" + Wide(Card("3.0", "FN:a\r\n")), "DISPLAY_NAME='a'\n", ""},
        {"BEGIN:VCARD\rVERSION:2.1\rFN:a\rEND:VCARD", "DISPLAY_NAME='a'\n", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.contacts, Read(row.text)) << row.text;
        std::string notes;
        for (const ReadProblem& note : ReadContactText(row.text).notes) {
            notes += std::to_string(note.line) + ": " + note.reason + "\n";
        }
        EXPECT_EQ(row.notes, notes) << row.text;
    }
}

TEST(ContactReader, RefusesWhatHasNoStructure) {
    const struct {
        std::string text;
        const char* expected;
    } rows[] = {
        {"", "1: BEGIN:VCARD expected"},
        {"BEGIN:VCARD\r\nN:a\r\n", "1: BEGIN:VCARD is never ended"},
        {"BEGIN:VCARD\r\nEND:VCALENDAR\r\n", "2: END:VCALENDAR where the VCARD of line 1 is open"},
        {Card("3.0", "") + std::string(1, '\0'), "4: not a text"},
    };
    for (const auto& row : rows) EXPECT_EQ(row.expected, Read(row.text)) << row.expected;
}

}  // namespace
}  // namespace tarnwick
