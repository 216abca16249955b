#include "Library/LIBStoreIndexSerialisation/IndexStyleSheets.h"

#include <atomic>
#include <string>

#include "common/Text.h"

namespace tarnwick {
namespace {

constexpr std::string_view kNumberedColumns[] = {"IMPORTANCE",  "FLAGSTATUS", "ATTACHMENTS", "FROM",
                                                 "TO",          "SUBJECT",    "RECEIVED",    "READ",
                                                 "MESSAGEDATE", "SIZE",       "MODIFIEDDATE"};
constexpr std::string_view kSortedColumns[] = {
    "FLAGSTATUS", "IMPORTANCE", "ATTACHMENTS", "FROM",  "TO",   "SUBJECT",
    "RECEIVED",   "READ",       "MESSAGEDATE", "STATE", "SIZE", "MODIFIEDDATE"};

std::atomic<int> sortedColumns{0};

std::string Attribute(std::string_view name, std::string_view select) {
    return "<xsl:attribute name=\"" + std::string(name) + "\"><xsl:value-of select=\"" +
           std::string(select) + "\"/></xsl:attribute>";
}

std::string Copies(std::span<const std::string_view> columns) {
    std::string copies;
    for (const std::string_view column : columns) {
        copies.append("<xsl:copy-of select=\"").append(column).append("\"/>");
    }
    return copies;
}

// A stylesheet that makes an entry of each entry: `sort` stands first in the loop, `content` in the
// new entry.
std::string StyleSheet(std::string_view sort, std::string_view content) {
    std::string text =
        "<?xml version='1.0'?><xsl:stylesheet version=\"1.0\" "
        "xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\"><xsl:template match=\"/\">"
        "<BASEELEMENT><xsl:for-each select=\"BASEELEMENT/ELEMENT\">";
    text.append(sort).append("<ELEMENT>").append(content);
    return text.append("</ELEMENT></xsl:for-each></BASEELEMENT></xsl:template></xsl:stylesheet>");
}

}  // namespace

void WriteNumberingTemplate(std::span<char> buffer) {
    const std::string attributes =
        Attribute("ID", "@ID") + Attribute("UID", "@UID") + Attribute("IDX", "position()");
    StoreField(buffer, StyleSheet({}, attributes + Copies(kNumberedColumns)));
}

void WriteSortingTemplate(std::span<char> buffer, std::string_view /*sortKey*/,
                          std::string_view /*dataType*/, std::string_view /*order*/) {
    std::string content = Attribute("ID", "@ID") + Attribute("UID", "@UID") +
                          Attribute("IDX", "@IDX") + Attribute("SEQ", "position()");
    // No value but 1 asks for the columns; kept for compatibility.
    if (sortedColumns == 1) content += Copies(kSortedColumns);
    StoreField(buffer,
               StyleSheet("<xsl:sort select=\"@UID\" data-type=\"number\" order=\"ascending\"/>",
                          content));
}

void SetSortedColumns(int value) {
    sortedColumns = value;
}

}  // namespace tarnwick
