// The attributes of an entry's start tag: what an entry is, and whether it is wanted.
#include "common/Text.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/IndexMalformations.h"
#include "Library/LIBStoreIndexSerialisation/IndexParser.h"
#include "Library/LIBStoreIndexSerialisation/IndexTag.h"

namespace tarnwick {
namespace {

constexpr std::string_view kUid = "UID";

// Of the attributes' names the ID's alone is read in any case; kept for compatibility.
bool IsId(std::string_view name) {
    return name.size() == 2 && LowerAscii(name[0]) == 'i' && LowerAscii(name[1]) == 'd';
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
        BeginEntry();
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
void IndexParser::BeginEntry() {
    if (entryLive_) return;
    draft_.Begin(index_.Names());
    entryLive_ = true;
    entryOffset_ = reader_.TagOffset();
}

void IndexParser::StoreAttribute(const TagAttribute& attribute) {
    if (IsId(attribute.name)) {
        draft_.SetId(attribute.value);
        entryHasId_ = true;
    } else if (IsStorablePropertyName(attribute.name)) {
        draft_.SetProperty(attribute.name, attribute.value);
    }
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
