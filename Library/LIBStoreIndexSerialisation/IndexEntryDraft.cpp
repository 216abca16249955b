#include "Library/LIBStoreIndexSerialisation/IndexEntryDraft.h"

#include <algorithm>
#include <map>

#include "Library/LIBStoreIndexSerialisation/IndexEscape.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"

namespace tarnwick {

void IndexEntryDraft::Begin(PropertyNames& names) {
    uid_ = 0;
    hasUid_ = false;
    itemOffset_ = 0;
    itemLength_ = 0;
    known_ = &names;
    count_ = 0;
    texts_.Clear();
    idLength_ = 0;
}

void IndexEntryDraft::MakeRoom() {
    constexpr std::size_t kLeast = 16;
    const std::size_t room = std::max(kLeast, 2 * count_);
    // The names' size tells the room, so that it grows last: memory may be short between.
    ends_.resize(room);
    names_.resize(room);
}

// It stands first, whatever was set before it.
void IndexEntryDraft::SetId(std::string_view id) {
    const std::string values(texts_.View().substr(idLength_));
    for (std::size_t at = 0; at < count_; ++at) {
        ends_[at] += static_cast<std::uint32_t>(id.size() - idLength_);
    }
    texts_.Clear();
    texts_.Append(id);
    texts_.Append(values);
    idLength_ = id.size();
}

std::size_t IndexEntryDraft::StartTagLength() const {
    return hasUid_ ? EntryTagLength(idLength_, uid_) : EntryTagLength(idLength_);
}

void IndexEntryDraft::SetProperty(std::string_view name, std::string_view value) {
    texts_.Append(value);
    EndValue(known_->Learn(name), texts_.Size());
}

void IndexEntryDraft::SetEscapedProperty(std::string_view name, std::string_view escaped) {
    AppendUnescaped(texts_, escaped);
    EndValue(known_->Learn(name), texts_.Size());
}

std::size_t IndexEntryDraft::TakeWrittenProperties(const MarkedText& text) {
    const std::size_t filled = texts_.Size();
    char* const room = texts_.Room(text.end - *text.marks + kBlock);
    char* to = room;
    const std::uint32_t* mark = text.marks;
    for (;;) {
        const char* const start = text.bytes + *mark;
        const std::uint32_t* const firstMark = mark + 1;
        const std::uint32_t* endMark = firstMark;
        while (text.bytes[*endMark] == '&') ++endMark;
        const char* const end = text.bytes + *endMark;
        // Nothing stands between an end tag, which has one byte more, and the next tag. Where the
        // name has just this length, none of the marks is inside a tag.
        const std::size_t tagLength = std::size_t{endMark[1]} - *endMark - 1;
        const PropertyName* const name = known_->Recognise(start, end, tagLength);
        if (name == nullptr) break;
        const char* const value = start + tagLength;
        const auto plain = static_cast<std::size_t>(text.bytes + *firstMark - value);
        CopyBlock(to, value);
        if (plain > kBlock) CopyInLanes(to + kBlock, {value + kBlock, plain - kBlock});
        char* behind = to + plain;
        if (endMark != firstMark) behind = UnescapeMarked(behind, text.bytes, firstMark, endMark);
        if (behind == nullptr) break;
        to = behind;
        EndValue(*name, filled + static_cast<std::size_t>(to - room));
        mark = endMark + 1;
    }
    texts_.Extend(static_cast<std::size_t>(to - room));
    return static_cast<std::size_t>(mark - text.marks);
}

std::string_view IndexEntryDraft::Value(std::size_t index) const {
    const std::size_t start = index == 0 ? idLength_ : ends_[index - 1];
    return texts_.View().substr(start, ends_[index] - start);
}

void IndexEntryDraft::SortNames() {
    std::map<std::string_view, std::string> sorted;
    for (std::size_t at = 0; at < count_; ++at) {
        sorted.insert_or_assign(names_[at]->Text(), std::string(Value(at)));
    }
    const std::string id(Id());
    count_ = 0;
    texts_.Clear();
    texts_.Append(id);
    for (const auto& [name, value] : sorted) SetProperty(name, value);
}

const PropertyNameSet* IndexEntryDraft::Finish() {
    const PropertyNameSet* set = known_->SetOf(Names());
    if (set != nullptr) return set;
    SortNames();
    return known_->SetOf(Names());
}

}  // namespace tarnwick
