#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <limits>

#include "common/Scan.h"
#include "Library/LIBStoreIndexSerialisation/IndexEscape.h"
#include "Library/LIBStoreIndexSerialisation/IndexMemory.h"

namespace tarnwick {
namespace {

constexpr std::string_view kLastUidStart = "LASTUID=\"";
// Attributes, and positions that hold for one load alone; as children they would outlive it.
constexpr std::string_view kReservedNames[] = {"ID", "UID", "LASTUID", "IDX", "SEQ"};
// The longest ID whose start tag, with the longest UID, a reader takes in one piece.
constexpr std::size_t kIdLimit =
    kTagLimit - std::string_view("ELEMENT ID=\"\" UID=\"4294967295\"").size();

// Digits up to the first other character, held at the type's limit; no digits give 0.
std::uint32_t ParseNumber(std::string_view text, int base) {
    std::uint32_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (result.ec == std::errc::result_out_of_range)
        return std::numeric_limits<std::uint32_t>::max();
    return number;
}

std::uint32_t ParseHexadecimal(std::string_view text) {
    if (text.starts_with("0x")) text.remove_prefix(2);
    return ParseNumber(text, 16);
}

std::size_t DecimalLength(std::uint32_t number) {
    std::size_t length = 1;
    for (std::uint64_t limit = 10; number >= limit; limit *= 10) ++length;
    return length;
}

// Tags have slack behind them. Inline: a save does little else.
inline void AppendInLanes(ByteBuffer& output, std::string_view tag) {
    CopyInLanes(output.Room(tag.size()), tag);
    output.Extend(tag.size());
}

}  // namespace

std::string IndexFilePath(const std::string& folder, FolderType folderType) {
    return folder + (folderType == kGroupsFolder ? "\\_groups.xml" : "\\_index.xml");
}

// Zeros keep it at 33 bytes: a save overwrites it where it stands, and nothing may move.
std::array<char, kHeaderLength> IndexHeaderBytes(std::uint32_t lastUid) {
    std::array<char, kHeaderLength + 1> text;
    std::snprintf(text.data(), text.size(), "<BASEELEMENT LASTUID=\"x%08lx\">",
                  static_cast<unsigned long>(lastUid));
    std::array<char, kHeaderLength> header;
    std::copy_n(text.data(), kHeaderLength, header.data());
    return header;
}

std::string IndexHeader(std::uint32_t lastUid) {
    const auto header = IndexHeaderBytes(lastUid);
    return {header.data(), header.size()};
}

bool ParseLastUidAttribute(std::string_view rootTag, std::uint32_t& lastUid) {
    const std::size_t start = FindText(rootTag, kLastUidStart);
    // The UID known so far stays, so that none is handed out twice.
    if (start == kNotFound) return false;
    std::string_view value = rootTag.substr(start + kLastUidStart.size(), kTagLimit);
    value = value.substr(0, FindByte(value, '"'));
    if (value.starts_with('x')) {
        lastUid = ParseHexadecimal(value.substr(1));
        return true;
    }
    // Files of the older format hold both; the leading zero is all that tells them apart.
    lastUid = value.starts_with('0') ? ParseHexadecimal(value) : ParseNumber(value, 10);
    return false;
}

std::uint32_t ParseUid(std::string_view text) {
    constexpr std::uint64_t kLargest = std::numeric_limits<std::uint32_t>::max();
    std::uint64_t uid = 0;
    for (const char character : TrimBlanks(text)) {
        if (character < '0' || character > '9') break;
        uid = std::min(uid * 10 + static_cast<std::uint64_t>(character - '0'), kLargest);
    }
    return static_cast<std::uint32_t>(uid);
}

// What follows stays, up to the UID's quote and the properties: a deletion is one short write.
std::string BlankedStart(const IndexItemPropertyContainer& entry) {
    std::string start = "<ELEMENT ID=\"";
    start.append(entry.Id().size(), '-');
    if (!entry.HasUid()) return start;
    return start.append("\" UID=\"").append(DecimalLength(entry.Uid()), '-');
}

bool IsBlanked(std::string_view value) {
    return value.starts_with('-') && value.find_first_not_of('-') == std::string_view::npos;
}

void AppendIndexElement(ByteBuffer& output, const IndexItemPropertyContainer& entry) {
    // Attributes are not escaped: readers take them as they stand.
    output.Append("<ELEMENT ID=\"");
    output.Append(entry.Id());
    // An entry that was read without a UID keeps to that; a UID of 0 would be one made up.
    if (entry.HasUid()) {
        char digits[16];
        const auto result = std::to_chars(digits, digits + sizeof digits, entry.Uid());
        output.Append("\" UID=\"");
        output.Append({digits, static_cast<std::size_t>(result.ptr - digits)});
    }
    output.Append("\">");
    const PropertyNameSet& names = entry.Names();
    for (std::size_t at = 0; at < names.Count(); ++at) {
        const PropertyName& name = names[at];
        AppendInLanes(output, name.StartTag());
        AppendEscaped(output, entry.Value(at));
        AppendInLanes(output, name.EndTag());
    }
    output.Append(kEntryEnd);
}

bool IsStorableId(std::string_view id) {
    return !id.empty() && id.size() <= kIdLimit && !IsBlanked(id) &&
           id.find_first_of("\"<>") == std::string_view::npos;
}

bool IsStorablePropertyName(std::string_view name) {
    if (name.empty() || name.size() >= kTagLimit) return false;
    if (name.find_first_of("<>") != std::string_view::npos) return false;
    if (name.starts_with(kRootName) || name.starts_with(kEntryName)) return false;
    return name.find_first_of("/!?") != 0 && !name.ends_with('/') && !IsReservedName(name);
}

bool IsStorablePropertyValue(std::string_view value) {
    // Values of the usual size need not be looked at.
    return value.size() <= kTextLimit / kLongestEscape || EscapedSize(value) <= kTextLimit;
}

bool IsReservedName(std::string_view name) {
    return std::find(std::begin(kReservedNames), std::end(kReservedNames), name) !=
           std::end(kReservedNames);
}

std::size_t EntryTagLength(std::size_t idLength, std::uint32_t uid) {
    return EntryTagLength(idLength) + std::string_view(" UID=\"\"").size() + DecimalLength(uid);
}

std::size_t EntryTagLength(std::size_t idLength) {
    return std::string_view("ELEMENT ID=\"\"").size() + idLength;
}

}  // namespace tarnwick
