#include <gtest/gtest.h>

#include <cstdlib>

#include "Library/LIBStoreIndexSerialisation/IndexEscape.h"

namespace tarnwick {
namespace {

std::string Escaped(std::string text, bool forAttributeUse = false) {
    EscapeXmlText(text, forAttributeUse);
    return text;
}

std::string Unescaped(std::string text, bool forAttributeUse = false) {
    UnescapeXmlText(text, forAttributeUse);
    return text;
}

void ReplaceEach(std::string& text, const std::string& from, const std::string& to) {
    for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + 1)) {
        text.replace(at, from.size(), to);
    }
}

// The passes one after the other, each reference searched from the start again.
std::string UnescapedByPasses(std::string text, bool forAttributeUse) {
    for (;;) {
        const auto start = text.find("&#");
        if (start == std::string::npos) break;
        const auto end = text.find(';', start);
        if (end == std::string::npos) break;
        const bool hexadecimal = text[start + 2] == 'x';
        const std::string digits = text.substr(start + (hexadecimal ? 3 : 2), end - start - 2);
        const bool isNumber =
            !digits.empty() && std::isxdigit(static_cast<unsigned char>(digits[0]));
        const auto value =
            isNumber ? std::strtoul(digits.c_str(), nullptr, hexadecimal ? 16 : 10) : 0;
        text.replace(start, end - start + 1, 1, static_cast<char>(value));
    }
    ReplaceEach(text, "&lt;", "<");
    ReplaceEach(text, "&gt;", ">");
    if (forAttributeUse) {
        ReplaceEach(text, "&quot;", "\"");
        ReplaceEach(text, "&apos;", "'");
    }
    ReplaceEach(text, "&amp;", "&");
    return text;
}

TEST(EscapeXmlText, WritesWhatTheFileHolds) {
    struct Row {
        std::string plain, escaped;
    };
    const Row rows[] = {
        {"", ""},
        {"R&D <draft>", "R&amp;D &lt;draft&gt;"},
        {"say \"it's\"", "say \"it's\""},
        {"\t\n\r \x7F", "\t\n\r \x7F"},
        {"\x01\x08\x0B\x0C\x0E\x1F", "&#x1;&#x8;&#xb;&#xc;&#xe;&#x1f;"},
        {"\x80\xE9\xFF", "&#x80;&#xe9;&#xff;"},
        {std::string(1, '\0'), "&#x0;"},
        {"&#65;", "&amp;#65;"},
        {"sixteen plain byt&s", "sixteen plain byt&amp;s"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Escaped(row.plain), row.escaped) << row.escaped;
        ByteBuffer plain;
        plain.Append(row.plain);
        ByteBuffer appended;
        appended.Append("before");
        AppendEscaped(appended, plain.View());
        EXPECT_EQ(appended.View(), "before" + row.escaped);
    }
    EXPECT_EQ(Escaped("\"it's\"&", true), "&quot;it&apos;s&quot;&amp;");
}

TEST(EscapeXmlText, EscapesAtEachPlaceOfEachLength) {
    for (std::size_t length = 1; length <= 50; ++length) {
        for (std::size_t at = 0; at < length; ++at) {
            std::string text(length, 'a');
            text[at] = "&<>\x1F\xE9"[at % 5];
            ByteBuffer plain;
            plain.Append(text);
            // What lies behind a text is none of it.
            const std::string_view shorter = plain.View().substr(0, at);
            ByteBuffer escaped;
            AppendEscaped(escaped, shorter);
            EXPECT_EQ(escaped.View(), shorter) << length << " " << at;
            AppendEscaped(escaped, plain.View());
            EXPECT_EQ(escaped.View(), text.substr(0, at) + Escaped(text)) << length << " " << at;
            ByteBuffer read;
            AppendUnescaped(read, escaped.View());
            EXPECT_EQ(read.View(), text.substr(0, at) + text) << length << " " << at;
        }
    }
}

TEST(UnescapeXmlText, ReadsWhatOthersWrite) {
    struct Row {
        std::string escaped, plain;
    };
    const Row rows[] = {
        {"&#65;", "A"},
        {"&#x41;&#X41;", std::string("A") + '\0'},
        {"&#321;&#x141;", "AA"},
        {"&#;&#x;", std::string(2, '\0')},
        {"&#99999999999999999999;", "\xFF"},
        {"&#65 &#66;", "A"},
        {"&lt;&gt;&quot;&apos;&amp;", "<>&quot;&apos;&"},
        {"&amp;lt;&amp;amp;", "&lt;&amp;"},
        {"&#38;lt;", "<"},
        {"&#38;#65;&&#35;65;", "AA"},
        {"no end &#65", "no end &#65"},
        {"&#65;&#66", "A&#66"},
    };
    for (const Row& row : rows) EXPECT_EQ(Unescaped(row.escaped), row.plain) << row.escaped;
    EXPECT_EQ(Unescaped("&quot;&apos;", true), "\"'");
}

TEST(UnescapeXmlText, AgreesWithThePassesOnAllShortTexts) {
    const std::string pieces[] = {"&", "#",    "&#",  "6",    "38;",  "35;",
                                  ";", "x26;", "lt;", "amp;", "quot;"};
    constexpr std::size_t kCount = std::size(pieces);
    for (std::size_t number = 0; number < kCount * kCount * kCount * kCount; ++number) {
        std::string text;
        for (std::size_t rest = number; rest != 0; rest /= kCount) text += pieces[rest % kCount];
        for (const bool forAttributeUse : {false, true}) {
            ASSERT_EQ(Unescaped(text, forAttributeUse), UnescapedByPasses(text, forAttributeUse))
                << text;
        }
    }
}

TEST(UnescapeXmlText, ReadsAMegabyteOfReferences) {
    std::string nested = "&";
    std::string row;
    for (int count = 0; count < 200'000; ++count) {
        nested += "#38;";
        row += "&#x41;";
    }
    EXPECT_EQ(Unescaped(nested), "&");
    EXPECT_EQ(Unescaped(row), std::string(200'000, 'A'));
}

}  // namespace
}  // namespace tarnwick
