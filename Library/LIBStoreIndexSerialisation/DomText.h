// Index text on its way through an XML document object model.
#pragma once

#include <string>
#include <string_view>

namespace tarnwick {

// What of a value an XML document can hold: all bytes but the control characters that XML 1.0
// forbids (those below 0x20 that are not TAB, LF or CR).
std::string WithoutForbiddenCharacters(std::string_view value);

// Whether XML takes `name` for the name of an element; some libraries would write others and fail
// to read them. Bytes count as the characters of their values; prefixes are not declared anywhere.
bool IsXmlName(std::string_view name);

// A document saved by the DOM is UTF-8; here the two-byte sequences of the characters 0x80 to 0xFF
// become character references ("&#xe9;"), as the index writes such bytes. The document stays the
// same to XML, and a reader that takes bytes for characters reads the same values from it. Tags
// stay as they are, since XML allows no reference in a name; so do longer sequences: an index has
// no such characters. No attribute may hold a bare ">".
std::string WithByteReferences(std::string_view document);

}  // namespace tarnwick
