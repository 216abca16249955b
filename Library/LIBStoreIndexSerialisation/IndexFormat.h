// The bytes of an index file: header, entries, blanked entries, trailer. docs/index-file.md tells
// the whole format.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Library/LIBStoreIndexSerialisation/IndexItemPropertyContainer.h"
#include "Library/LIBStoreIndexSerialisation/IndexMemory.h"

namespace tarnwick {

inline constexpr std::string_view kRootName = "BASEELEMENT";
inline constexpr std::string_view kEntryName = "ELEMENT";
inline constexpr std::string_view kEntryStart = "<ELEMENT";
inline constexpr std::string_view kEntryEnd = "</ELEMENT>";
inline constexpr std::string_view kRootEnd = "</BASEELEMENT>";
inline constexpr std::string_view kTrailer = "</BASEELEMENT>\r\n";
inline constexpr std::size_t kHeaderLength = 33;
// How far before the end of a file its root's end tag may begin for a save to find it: room for a
// tag with another line end behind it, and one short read.
inline constexpr std::uint64_t kRootEndSearch = 31;
// What a reader takes of one tag, of an attribute's value and of a file's first line.
inline constexpr std::size_t kTagLimit = 1024;

// The most of one text that a reader keeps, as it stands in the file; the folder listing's longest
// fields are a few kilobytes.
inline constexpr std::size_t kTextLimit = std::size_t{1} << 24;

// The folder types of the store, as every index operation receives them.
enum FolderType : std::uint32_t {
    kMailFolder = 0,
    kContactsFolder = 1,
    kCalendarFolder = 2,
    kTaskFolder = 3,
    kGroupsFolder = 54,
};

// The index file of a folder: "_groups.xml" for a groups folder, else "_index.xml".
std::string IndexFilePath(const std::string& folder, FolderType folderType);

// The 33 bytes that begin a file in the current format.
std::string IndexHeader(std::uint32_t lastUid);
// The same without memory of its own: a save needs it when the file is already empty.
std::array<char, kHeaderLength> IndexHeaderBytes(std::uint32_t lastUid);

// Takes the last UID from the root's start tag. True for the current format, whose value begins
// with "x"; without the attribute the format is the older one and `lastUid` keeps its value.
bool ParseLastUidAttribute(std::string_view rootTag, std::uint32_t& lastUid);

// A UID's decimal text; digits up to the first other character, held at 4294967295.
std::uint32_t ParseUid(std::string_view text);

// What a removed entry is overwritten with: its start tag up to the UID's closing quote, with "-"
// for each character of its ID and UID.
std::string BlankedStart(const IndexItemPropertyContainer& entry);

// Whether a value makes its entry a blanked one.
bool IsBlanked(std::string_view value);

// Appends the entry as the file holds it.
void AppendIndexElement(ByteBuffer& output, const IndexItemPropertyContainer& entry);

// What the format can hold: an ID that stands in quotes as it is, a name that is read back as a
// property, a value that is read back whole.
bool IsStorableId(std::string_view id);
bool IsStorablePropertyName(std::string_view name);
bool IsStorablePropertyValue(std::string_view value);

// A child with one of these names is no property.
bool IsReservedName(std::string_view name);

// Length of an entry's start tag between the brackets, with a UID and without.
std::size_t EntryTagLength(std::size_t idLength, std::uint32_t uid);
std::size_t EntryTagLength(std::size_t idLength);

inline bool IsBlank(char byte) {
    return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n';
}

// Without the blanks, tabs and line breaks at either end.
inline std::string_view TrimBlanks(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
    return text;
}

}  // namespace tarnwick
