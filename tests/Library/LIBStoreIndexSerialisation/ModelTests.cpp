// The product beside the naive index: on short and on random files, attributes, changes and texts.
#include <gtest/gtest.h>

#include "Library/LIBStoreIndexSerialisation/IndexEscape.h"
#include "tests/Library/LIBStoreIndexSerialisation/IndexSteps.h"
#include "tests/support/Model.h"

namespace tarnwick::testing {
namespace {

const std::string kEnd = "</BASEELEMENT>\r\n";

// What a letter of a case stands for; small letters are steps, and others stand for themselves.
const std::map<char, std::string> kPieces{
    {'H', "<BASEELEMENT LASTUID=\"x00000009\">"},
    {'O', "<BASEELEMENT LASTUID=\"012\">"},
    {'S', "<BASEELEMENT LASTUID=\"x00000009\"/>"},
    {'Y', "<BASEELEMENT LASTUID=\"xFFFFFFFF\" >"},
    {'T', kEnd},
    {'U', "</BASEELEMENT>"},
    {'A', Element("A", "1", "<P>a</P><Q>&lt;&#xe9;</Q>")},
    {'B', Element("B", "2", "<P></P><SUBJECT>R&amp;D</SUBJECT>")},
    {'C', "<ELEMENT id=\"C\" UID=\"15\"></ELEMENT>"},
    {'D', "<ELEMENT ID=\"A\"><FIFTEENBYTENAME>v</FIFTEENBYTENAME></ELEMENT>"},
    {'G', Element("--", "--", "<P>old</P>")},
    {'E', "<ELEMENT ID=\"SIXTEENBYTES.MAI\" UID=\"5\">"},
    {'(', "<ELEMENT"},
    {'F', "</ELEMENT>"},
    {'P', "<P>"},
    {'Q', "<SIXTEENBYTENAMES>v</SIXTEENBYTENAMES><FIFTEENBYTENAME></FIFTEENBYTENAME>"},
    {'R', "</P>"},
    {'V', "more than sixteen bytes &amp; more than sixty-four up to the next of all tags"},
    {'#', "&#38;"},
    {'!', "<!--"},
    {'-', "-->"},
    {'I', " ID=\"J\""},
    {'J', "iD"},
    {'K', "UID"},
    {'L', " UID=\"007\""},
    {'N', " iD\t= \"K\""},
    {'W', " UID =\r\n\"5\""},
    {'Z', " P=\"--\""},
    {'M', "IDX"},
};

std::string DifferenceOf(const std::string& text) {
    std::string bytes;
    std::string steps;
    for (const char letter : text) {
        const auto piece = kPieces.find(letter);
        if (letter >= 'a' && letter <= 'z') {
            steps += letter;
        } else {
            bytes += piece != kPieces.end() ? piece->second : std::string(1, letter);
        }
    }
    return Difference(bytes, steps);
}

TEST(IndexModel, Files) {
    CompareWithModel("HOSYTUAEFPR!-hikl<?>3", 2, 2000, 20, DifferenceOf);
}

TEST(IndexModel, Entries) {
    CompareWithModel("ABCDGEEFFPPRRQV#!-<>/MIhifkvl", 2, 1500, 20,
                     [](const std::string& text) { return DifferenceOf("HA" + text + "T"); });
}

TEST(IndexModel, Attributes) {
    CompareWithModel(" =\"JKM-/INWLZ07kl", 2, 2500, 12,
                     [](const std::string& text) { return DifferenceOf("H(" + text + ">PRFT"); });
}

TEST(IndexModel, Saves) {
    constexpr const char* kFiles[] = {"HABCT", "HAGBVCU",           "OCBAU",           "HGT",
                                      "HBAT",  "HA1234567890BT123", "HD12345678901BT", "YAT"};
    CompareWithModel("lhifkvaaxyzurmscgwndssslll", 2, 1500, 20, [&](const std::string& text) {
        return DifferenceOf(kFiles[text.size() % std::size(kFiles)] + text);
    });
}

TEST(IndexModel, EachSizeOfEachPart) {
    for (const std::size_t size : {0U, 1U, 15U, 16U, 17U, 994U, 995U, 1022U, 1023U, 1024U, 1025U,
                                   2048U, 8158U, 8159U, 8160U, 8192U, 10240U, 16384U, 100'000U}) {
        const std::string part(size, 'v');
        const std::string files[] = {
            Element("A", "1", "<P>" + part + "&lt;</P><Q>1</Q>"),
            Element("A", "1", "<" + part + ">v</" + part + ">"),
            Element(part, "1", ""),
            "<!--" + part + "<>-->" + Element("A", "1", "<P>1<!--" + part + "-->2</P>"),
            Element("A", "1") + part + Element("B", "2") + part,
        };
        for (const std::string& file : files) {
            EXPECT_EQ(Difference(Index(9, file), "lasilhl"), "") << size;
        }
    }
    // One that grows by as much as the next is long.
    const std::string grows = Element("A", "1", "<P>a</P>") + "gap" + Element("BBBB", "2", "");
    EXPECT_EQ(Difference(Index(9, grows), "xs"), "");
}

TEST(IndexModel, EscapedTexts) {
    // Letters without a meaning come most, so that all places in a lane are met.
    const std::string alphabet = "&&&##;;x6538ltgampquos\"'<>\t\n\r \x01\x1F\x7F\x80\xFF";

    CompareWithModel(
        alphabet + std::string(60, 'b'), 2, 3000, 60, [](const std::string& text) -> std::string {
            for (const bool forAttributeUse : {false, true}) {
                std::string escaped = text;
                EscapeXmlText(escaped, forAttributeUse);
                if (escaped != NaiveEscaped(text, forAttributeUse)) return escaped;
                std::string unescaped = text;
                UnescapeXmlText(unescaped, forAttributeUse);
                if (unescaped != NaiveUnescaped(text, forAttributeUse)) return unescaped;
            }
            return EscapedSize(text) == NaiveEscaped(text).size() ? "" : "another size";
        });
}

}  // namespace
}  // namespace tarnwick::testing
