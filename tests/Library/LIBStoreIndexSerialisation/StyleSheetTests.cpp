#include <gtest/gtest.h>

#include <array>

#include "Library/LIBStoreIndexSerialisation/IndexStyleSheets.h"

namespace tarnwick {
namespace {

// The stylesheet without what all have in common, and with the long tags written short.
std::string Essence(std::string text) {
    const auto shorten = [&](std::string_view from, std::string_view to) {
        for (auto at = text.find(from); at != std::string::npos;
             at = text.find(from, at + to.size())) {
            text.replace(at, from.size(), to);
        }
    };
    shorten("<xsl:copy-of select=\"", "+");
    shorten("<xsl:attribute name=\"", "@");
    shorten("\"><xsl:value-of select=\"", "=");
    shorten("\"/></xsl:attribute>", " ");
    shorten("\"/>", " ");
    return text;
}

constexpr const char* kStart =
    "<?xml version='1.0'?><xsl:stylesheet version=\"1.0\" "
    "xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\"><xsl:template match=\"/\"><BASEELEMENT>"
    "<xsl:for-each select=\"BASEELEMENT/ELEMENT\">";
constexpr const char* kEnd =
    "</ELEMENT></xsl:for-each></BASEELEMENT></xsl:template></xsl:stylesheet>";

std::string Sorting() {
    std::array<char, kTemplateCapacity> buffer{};
    WriteSortingTemplate(buffer, "@SUBJECT", "text", "descending");
    return Essence(buffer.data());
}

TEST(StyleSheets, NumberTheEntries) {
    std::array<char, kTemplateCapacity> buffer{};
    WriteNumberingTemplate(buffer);
    EXPECT_EQ(Essence(buffer.data()),
              std::string(kStart) +
                  "<ELEMENT>@ID=@ID @UID=@UID @IDX=position() +IMPORTANCE +FLAGSTATUS +ATTACHMENTS "
                  "+FROM +TO +SUBJECT +RECEIVED +READ +MESSAGEDATE +SIZE +MODIFIEDDATE " +
                  kEnd);
}

TEST(StyleSheets, SortByUidWhateverTheCallerWants) {
    const std::string sorted = std::string(kStart) +
                               "<xsl:sort select=\"@UID\" data-type=\"number\" order=\"ascending "
                               "<ELEMENT>@ID=@ID @UID=@UID @IDX=@IDX @SEQ=position() ";
    EXPECT_EQ(Sorting(), sorted + kEnd);
    SetSortedColumns(1);
    EXPECT_EQ(Sorting(),
              sorted +
                  "+FLAGSTATUS +IMPORTANCE +ATTACHMENTS +FROM +TO +SUBJECT +RECEIVED +READ "
                  "+MESSAGEDATE +STATE +SIZE +MODIFIEDDATE " +
                  kEnd);
    SetSortedColumns(2);
    EXPECT_EQ(Sorting(), sorted + kEnd);
}

TEST(StyleSheets, StayInTheirBuffer) {
    std::array<char, 8> buffer;
    buffer.fill('x');
    WriteNumberingTemplate(std::span(buffer).first(6));
    EXPECT_EQ(std::string_view(buffer.data(), 8), std::string_view("<?xml\0xx", 8));
}

}  // namespace
}  // namespace tarnwick
