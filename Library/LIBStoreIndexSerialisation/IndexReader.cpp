#include "Library/LIBStoreIndexSerialisation/IndexReader.h"

#include <algorithm>
#include <cstring>

#include "common/Scan.h"
#include "Library/LIBStoreIndexSerialisation/IndexMemory.h"

namespace tarnwick {

// Reads the next block behind what is at hand (less than kCarry bytes), which moves; so a text that
// lies in the buffer is put aside.
bool IndexReader::Refill() {
    if (!spilled_) Spill(text_);
    const auto left = static_cast<std::size_t>(end_ - at_);
    char* const block = buffer_.data() + kCarry;
    std::memmove(block - left, at_, left);
    const std::size_t count = source_.Read({block, kReadSize}).value_or(0);
    at_ = block - left;
    end_ = block + count;
    block[count] = '\0';  // no "&"
    read_ += count;
    ended_ = count == 0;
    marked_ = false;
    return !ended_;
}

void IndexReader::MarkBuffer() {
    FindMarks(buffer_.data(), PlaceOf(at_), PlaceOf(end_), marks_.data());
    mark_ = marks_.data();
    marked_ = true;
}

void IndexReader::Spill(std::string_view piece) {
    const std::size_t room = kTextLimit - spill_.Size();
    if (piece.size() > room) textTooLong_ = true;
    spill_.Append(piece.substr(0, room));
    spilled_ = true;
}

bool IndexReader::TakeTextHere(bool join) {
    if (join && !spilled_) Spill(text_);
    if (!join) {
        text_ = {};
        if (spilled_) spill_.Clear();
        spilled_ = textTooLong_ = false;
    }
    for (;;) {
        const std::string_view rest = AtHand();
        const std::size_t end = FindByte(rest, '<');
        const std::string_view piece = rest.substr(0, end);
        const bool found = end != kNotFound;
        if (found && !spilled_) {
            text_ = piece;
        } else {
            Spill(piece);
        }
        Take(piece.size());
        if (found) {
            tagOffset_ = Offset();
            Take(1);
            return true;
        }
        if (!Refill()) return false;
    }
}

std::optional<std::string_view> IndexReader::TakeTag() {
    for (;;) {
        const std::string_view rest = AtHand();
        const std::string_view searched = rest.substr(0, kTagLimit + 1);
        const std::size_t end = FindInLanes(searched, '>');
        if (end != searched.size()) {
            Take(end + 1);
            return rest.substr(0, end);
        }
        if (rest.size() > kTagLimit) {
            Take(kTagLimit);
            return rest.substr(0, kTagLimit);
        }
        if (!Refill()) return std::nullopt;
    }
}

bool IndexReader::SkipCommentHere() {
    constexpr std::string_view kStart = "!--";
    constexpr std::string_view kEnd = "-->";
    while (AtHand().size() < kStart.size() && Refill()) continue;
    if (!AtHand().starts_with(kStart)) return false;
    Take(kStart.size());
    for (;;) {
        const std::size_t end = FindText(AtHand(), kEnd);
        if (end != kNotFound) {
            Take(end + kEnd.size());
            return true;
        }
        // What is left may begin with the end's first bytes.
        Take(AtHand().size() - std::min(AtHand().size(), kEnd.size() - 1));
        if (Refill()) continue;
        Take(AtHand().size());
        return true;
    }
}

}  // namespace tarnwick
