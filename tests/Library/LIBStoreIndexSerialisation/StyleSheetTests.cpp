#include <gtest/gtest.h>

#include "Library/LIBStoreIndexSerialisation/IndexStyleSheets.h"
#include "tests/Library/LIBStoreIndexSerialisation/NaiveIndex.h"

namespace tarnwick::testing {
namespace {

// A stylesheet with the long tags written short.
template <typename Write>
std::string Essence(std::size_t capacity, Write write) {
    std::string text(capacity, '\0');
    write(text);
    text.resize(text.find('\0'));
    ReplaceEach(text, "<xsl:copy-of select=\"", "+");
    ReplaceEach(text, "<xsl:attribute name=\"", "@");
    ReplaceEach(text, "\"><xsl:value-of select=\"", "=");
    ReplaceEach(text, "\"/></xsl:attribute>", " ");
    ReplaceEach(text, "\"/>", " ");
    return text;
}

TEST(StyleSheets, NumberTheEntriesAndSortThemByUidWhateverTheCallerWants) {
    const std::string start =
        "<?xml version='1.0'?><xsl:stylesheet version=\"1.0\" "
        "xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\"><xsl:template match=\"/\"><BASEELEMENT>"
        "<xsl:for-each select=\"BASEELEMENT/ELEMENT\">";
    const std::string end =
        "</ELEMENT></xsl:for-each></BASEELEMENT></xsl:template></xsl:stylesheet>";
    EXPECT_EQ(Essence(kTemplateCapacity, WriteNumberingTemplate),
              start +
                  "<ELEMENT>@ID=@ID @UID=@UID @IDX=position() +IMPORTANCE +FLAGSTATUS +ATTACHMENTS "
                  "+FROM +TO +SUBJECT +RECEIVED +READ +MESSAGEDATE +SIZE +MODIFIEDDATE " +
                  end);
    EXPECT_EQ(Essence(6, WriteNumberingTemplate), "<?xml") << "cut to the buffer";
    const std::string sorted = start +
                               "<xsl:sort select=\"@UID\" data-type=\"number\" order=\"ascending "
                               "<ELEMENT>@ID=@ID @UID=@UID @IDX=@IDX @SEQ=position() ";
    const std::string columns =
        "+FLAGSTATUS +IMPORTANCE +ATTACHMENTS +FROM +TO +SUBJECT +RECEIVED +READ +MESSAGEDATE "
        "+STATE +SIZE +MODIFIEDDATE ";
    for (const int value : {0, 1, 2}) {
        if (value != 0) SetSortedColumns(value);
        const std::string sheet = Essence(kTemplateCapacity, [](std::string& text) {
            WriteSortingTemplate(text, "@SUBJECT", "text", "descending");
        });
        EXPECT_EQ(sheet, sorted + (value == 1 ? columns : "") + end) << value;
    }
}

}  // namespace
}  // namespace tarnwick::testing
