// Index text on its way through an XML document object model.
#pragma once

#include <string>
#include <string_view>

namespace tarnwick {

// What of a value an XML document can hold: all bytes but the control characters that XML 1.0
// forbids (those below 0x20 that are not TAB, LF or CR).
std::string WithoutForbiddenCharacters(std::string_view value);

// A document saved by the DOM is UTF-8; here the two-byte sequences of the characters 0x80 to 0xFF
// become character references ("&#xe9;"), as the index writes such bytes. The document stays the
// same to XML, and a reader that takes bytes for characters reads the same values from it.
// Longer sequences stay: an index has no such characters.
std::string WithByteReferences(std::string_view document);

}  // namespace tarnwick
