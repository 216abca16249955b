#include <gtest/gtest.h>

#include "Library/LIBStoreIndexSerialisation/IndexStyleSheets.h"
#include "tests/Library/LIBStoreIndexSerialisation/NaiveIndex.h"

namespace tarnwick::testing {
namespace {

// A stylesheet with the long tags written short, behind the start and before the end of all.
template <typename Write>
std::string Essence(Write write) {
    std::string text(kTemplateCapacity, '\0');
    write(text);
    text.resize(text.find('\0'));
    const std::pair<const char*, const char*> shorter[] = {
        {"<?xml version='1.0'?><xsl:stylesheet version=\"1.0\" "
         "xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\"><xsl:template match=\"/\">"
         "<BASEELEMENT><xsl:for-each select=\"BASEELEMENT/ELEMENT\">",
         "("},
        {"</ELEMENT></xsl:for-each></BASEELEMENT></xsl:template></xsl:stylesheet>", ")"},
        {"<xsl:copy-of select=\"", "+"},
        {"<xsl:attribute name=\"", "@"},
        {"\"><xsl:value-of select=\"", "="},
        {"\"/></xsl:attribute>", " "},
        {"\"/>", " "}};
    for (const auto& [from, to] : shorter) ReplaceEach(text, from, to);
    return text;
}

TEST(StyleSheets, NumberTheEntriesAndSortThemByUidWhateverTheCallerWants) {
    EXPECT_EQ(Essence(WriteNumberingTemplate),
              "(<ELEMENT>@ID=@ID @UID=@UID @IDX=position() +IMPORTANCE +FLAGSTATUS +ATTACHMENTS "
              "+FROM +TO +SUBJECT +RECEIVED +READ +MESSAGEDATE +SIZE +MODIFIEDDATE )");
    const std::string sorted =
        "(<xsl:sort select=\"@UID\" data-type=\"number\" order=\"ascending "
        "<ELEMENT>@ID=@ID @UID=@UID @IDX=@IDX @SEQ=position() ";
    for (const int value : {0, 1, 2}) {
        if (value != 0) SetSortedColumns(value);
        const std::string sheet = Essence([](std::string& text) {
            WriteSortingTemplate(text, "@SUBJECT", "text", "descending");
        });
        EXPECT_EQ(sheet, sorted + (value != 1 ? ")"
                                              : "+FLAGSTATUS +IMPORTANCE +ATTACHMENTS +FROM +TO "
                                                "+SUBJECT +RECEIVED +READ +MESSAGEDATE +STATE "
                                                "+SIZE +MODIFIEDDATE )"));
    }
    char small[6];
    WriteNumberingTemplate(small);
    EXPECT_STREQ(small, "<?xml") << "cut to the buffer";
}

}  // namespace
}  // namespace tarnwick::testing
