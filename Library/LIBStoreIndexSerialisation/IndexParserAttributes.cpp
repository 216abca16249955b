// The attributes of an entry's start tag: what an entry is, and whether it is wanted.
#include "common/Text.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/IndexParser.h"
#include "Library/LIBStoreIndexSerialisation/IndexReports.h"

namespace tarnwick {
namespace {

constexpr std::string_view kUid = "UID";
constexpr std::string_view kIdStart = "<ELEMENT ID=\"";
constexpr std::string_view kUidStart = "\" UID=\"";

// Of the attributes' names the ID's alone is read in any case; kept for compatibility.
bool IsId(std::string_view name) {
    return name.size() == 2 && LowerAscii(name[0]) == 'i' && LowerAscii(name[1]) == 'd';
}

// Takes the next attribute, a name, "=" and a value in double quotes, off the front of `rest`,
// which holds more than blanks and has kSlack bytes behind it; nothing when there is none.
std::optional<TagAttribute> TakeTagAttribute(std::string_view& rest) {
    // Names are too short for a search by lanes.
    std::size_t equals = 0;
    while (equals < rest.size() && rest[equals] != '=') ++equals;
    std::size_t open = equals + 1;
    while (open < rest.size() && IsBlank(rest[open])) ++open;
    if (open >= rest.size() || rest[open] != '"') return std::nullopt;
    const std::string_view name = TrimBlanks(rest.substr(0, equals));
    rest.remove_prefix(open + 1);
    const std::size_t length = FindInLanes(rest, '"');
    if (length == rest.size()) return std::nullopt;
    const std::string_view value = rest.substr(0, length);
    rest.remove_prefix(length + 1);
    return TagAttribute{name, value};
}

}  // namespace

void IndexParser::TakeAttributes(std::string_view tag) {
    std::string_view rest = tag.substr(kEntryName.size());
    while (!rest.empty() && !IsBlank(rest.front())) rest.remove_prefix(1);
    while (!TrimBlanks(rest).empty()) {
        const auto attribute = TakeTagAttribute(rest);
        if (!attribute) return Malformed({malformation::kBadAttribute, tag, "]"});
        // Older files stand in order of position.
        const bool isUid = attribute->name == kUid;
        const std::uint32_t uid = isUid ? ParseUid(attribute->value) : 0;
        if (isUid && currentFormat_) CheckUidOrder(uid);
        entrySkipped_ = IsToBeSkipped(*attribute);
        if (entrySkipped_) return;
        BeginEntry(reader_.TagOffset());
        if (isUid) {
            draft_.SetUid(uid);
        } else {
            StoreAttribute(*attribute);
        }
    }
}

bool IndexParser::IsToBeSkipped(const TagAttribute& attribute) {
    // What a deletion in place left behind still looks like an entry otherwise.
    if (IsBlanked(attribute.value)) {
        ++blanked_;
        return true;
    }
    if (!IsId(attribute.name)) return false;
    if (knownIds_ != nullptr) return !knownIds_->contains(attribute.value);
    return load_.fileExists && !load_.fileExists(attribute.value);
}

// Its first attribute makes an entry live.
void IndexParser::BeginEntry(std::uint64_t offset) {
    if (entryLive_) return;
    draft_.Begin(index_.Names());
    entryLive_ = true;
    entryOffset_ = offset;
}

void IndexParser::StoreAttribute(const TagAttribute& attribute) {
    if (IsId(attribute.name)) {
        draft_.SetId(attribute.value);
        entryHasId_ = true;
    } else if (IsStorablePropertyName(attribute.name)) {
        draft_.SetProperty(attribute.name, attribute.value);
    }
}

// What TakeEntryStart makes of the next tag when it looks as a save writes it, its ID and UID are
// of the usual length and all entries are wanted. False when it is left to that.
bool IndexParser::TakeWrittenEntryStart() {
    constexpr std::ptrdiff_t kDigits = 9;
    constexpr std::size_t kLongest = kIdStart.size() + kLane + kUidStart.size() + kDigits + 2;
    const std::string_view upcoming = reader_.Upcoming();
    if (knownIds_ != nullptr || load_.fileExists || !currentFormat_) return false;
    if (upcoming.size() < kLongest || reader_.Offset() + kLongest > kLargestOffset) return false;
    if (!BeginsWith(upcoming, kIdStart)) return false;
    const char* const id = upcoming.data() + kIdStart.size();
    const __m128i lane = LoadLane(id);
    const unsigned ends = BitsOfEqual(lane, '"') | BitsOfEqual(lane, '>') | 1U << kLane;
    const auto idLength = static_cast<std::size_t>(std::countr_zero(ends));
    // A blanked ID begins with "-".
    if (idLength == 0 || *id == '-') return false;
    if (!BeginsWith({id + idLength, kUidStart.size()}, kUidStart)) return false;
    const char* const digits = id + idLength + kUidStart.size();
    const char* at = digits;
    std::uint32_t uid = 0;
    for (; *at >= '0' && *at <= '9' && at - digits < kDigits; ++at) {
        uid = uid * 10 + static_cast<std::uint32_t>(*at - '0');
    }
    // A save writes no leading zeros.
    if (uid == 0 || *digits == '0' || at[0] != '"' || at[1] != '>') return false;
    insideEntry_ = true;
    CheckUidOrder(uid);
    BeginEntry(reader_.Offset());
    draft_.SetId({id, idLength});
    entryHasId_ = true;
    draft_.SetUid(uid);
    reader_.Take(static_cast<std::size_t>(at + 2 - upcoming.data()));
    return true;
}

// Entries with the same UID pass: they are told apart by their IDs, and the save reports them.
void IndexParser::CheckUidOrder(std::uint32_t uid) {
    if (uid < previousUid_) {
        Malformed({malformation::kUidOrder, std::to_string(uid), malformation::kPreviousUid,
                   std::to_string(previousUid_), malformation::kLargestUid,
                   std::to_string(index_.LastUid())});
    }
    previousUid_ = uid;
}

}  // namespace tarnwick
