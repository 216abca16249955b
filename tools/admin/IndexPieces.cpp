#include "tools/admin/IndexPieces.h"

#include <algorithm>
#include <memory>
#include <set>

#include "common/Scan.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/IndexLoad.h"
#include "Library/LIBStoreIndexSerialisation/IndexReader.h"

namespace tarnwick::admin {
namespace {

constexpr std::string_view kRootStart = "<BASEELEMENT";
constexpr const char* kNoEnd = "the entry has no end";
constexpr std::string_view kBlanks = " \t\r\n";

bool HasText(std::string_view text) {
    return text.find_first_not_of(kBlanks) != text.npos;
}

class IndexBytes : public ByteSource {
  public:
    explicit IndexBytes(std::string_view bytes) : rest_(bytes) {}
    std::optional<std::size_t> Read(std::span<char> bytes) override {
        const std::size_t count = rest_.copy(bytes.data(), bytes.size());
        rest_.remove_prefix(count);
        return count;
    }

  private:
    std::string_view rest_;
};

bool Load(StoreIndex& index, std::string_view bytes) {
    const auto open = [&] { return std::make_unique<IndexBytes>(bytes); };
    return LoadIndex(index, open, "", {}) == kLoadFull;
}

// Whether nothing but blanks stands outside the properties of an entry that the library reads.
bool IsBareBetweenProperties(std::string_view entry) {
    IndexBytes source(entry);
    const auto reader = std::make_unique<IndexReader>(source);
    bool isInProperty = false;
    while (reader->TakeText(false)) {
        if (!isInProperty && HasText(reader->Text())) return false;
        const auto tag = reader->TakeTag();
        if (!tag) return false;
        isInProperty =
            !tag->starts_with('/') && !tag->ends_with('/') && !tag->starts_with(kEntryName);
    }
    return true;
}

// A save writes control characters as references.
bool HasRawControls(std::string_view entry) {
    return std::any_of(entry.begin(), entry.end(), [](char byte) {
        return byte >= 0 && byte < ' ' && kBlanks.find(byte) == kBlanks.npos;
    });
}

std::optional<std::string_view> AttributeIn(std::string_view tag, std::string_view start) {
    const std::size_t at = FindText(tag, start);
    if (at == kNotFound) return std::nullopt;
    const std::string_view value = tag.substr(at + start.size());
    const std::size_t end = FindByte(value, '"');
    if (end == kNotFound) return std::nullopt;
    return value.substr(0, end);
}

class Disassembly {
  public:
    explicit Disassembly(std::string_view bytes) : bytes_(bytes) {}

    std::vector<IndexPiece> Run() {
        for (SkipBlanks(); at_ < bytes_.size(); SkipBlanks()) {
            const std::string_view rest = bytes_.substr(at_);
            if (rest.starts_with(kEntryStart)) {
                TakeEntry();
            } else if (rest.starts_with(kRootStart) || rest.starts_with("<?")) {
                TakeHeader();
            } else if (rest.starts_with(kRootEnd)) {
                const bool isWritten = rest.starts_with(kTrailer);
                Take(IndexPieceKind::Trailer, isWritten ? kTrailer.size() : kRootEnd.size());
            } else {
                Lose(NextStart(at_ + 1), "nothing of an index begins here");
            }
        }
        return std::move(pieces_);
    }

  private:
    void SkipBlanks() { at_ = std::min(bytes_.find_first_not_of(kBlanks, at_), bytes_.size()); }

    IndexPiece& Take(IndexPieceKind kind, std::size_t length) {
        pieces_.push_back({.kind = kind, .offset = at_, .length = length});
        at_ += length;
        return pieces_.back();
    }

    void Lose(std::size_t end, const char* reason) {
        const std::string_view lost = bytes_.substr(at_, end - at_);
        IndexPiece& piece = Take(IndexPieceKind::Lost, lost.size());
        piece.reason = reason;
        if (!lost.starts_with(kEntryStart)) return;
        const std::string_view tag = lost.substr(0, kTagLimit);
        const std::string_view id = AttributeIn(tag, " ID=\"").value_or("");
        if (!IsBlanked(id)) piece.id = id;
        const std::string_view uid = AttributeIn(tag, " UID=\"").value_or("");
        if (!uid.empty() && uid.find_first_not_of("0123456789") == uid.npos) {
            piece.uid = ParseUid(uid);
        }
    }

    // Where the next entry, or the root's start or end, begins, at or after `from`.
    std::size_t NextStart(std::size_t from) const {
        for (std::size_t at = FindByte(bytes_, '<', from); at != kNotFound;
             at = FindByte(bytes_, '<', at + 1)) {
            const std::string_view rest = bytes_.substr(at);
            if (rest.starts_with(kEntryStart) || rest.starts_with(kRootStart) ||
                rest.starts_with(kRootEnd)) {
                return at;
            }
        }
        return bytes_.size();
    }

    void TakeHeader() {
        const std::size_t limit = std::min(NextStart(at_ + 1), at_ + kTagLimit);
        const std::size_t end = FindByte(bytes_.substr(0, limit), '>', at_);
        if (end == kNotFound) return Lose(NextStart(at_ + 1), "the header has no end");
        Take(IndexPieceKind::Header, end + 1 - at_);
    }

    void TakeEntry() {
        const std::size_t limit = NextStart(at_ + 1);
        const std::string_view upToNext = bytes_.substr(at_, limit - at_);
        const std::size_t tagEnd = FindByte(upToNext, '>');
        const bool closesItself = tagEnd != kNotFound && tagEnd > 0 && upToNext[tagEnd - 1] == '/';
        const std::size_t end = FindText(upToNext, kEntryEnd);
        if (closesItself) return Judge(upToNext.substr(0, tagEnd + 1));
        if (end == kNotFound) return Lose(limit, kNoEnd);
        Judge(upToNext.substr(0, end + kEntryEnd.size()));
    }

    void Judge(std::string_view entry) {
        StoreIndex alone;
        const std::string file = IndexHeader(0).append(entry).append(kTrailer);
        if (!Load(alone, file)) return Lose(at_ + entry.size(), "the library cannot read it");
        if (alone.Count() == 0) {
            Take(IndexPieceKind::Blanked, entry.size());
            return;
        }
        if (HasRawControls(entry)) return Lose(at_ + entry.size(), "it holds foreign bytes");
        if (!IsBareBetweenProperties(entry)) {
            return Lose(at_ + entry.size(), "there is text between its properties");
        }
        const StoreIndex::Entry& read = *alone.InUidOrder().begin();
        IndexPiece& piece = Take(IndexPieceKind::Entry, entry.size());
        piece.id = read.Id();
        if (read.HasUid()) piece.uid = read.Uid();
    }

    std::string_view bytes_;
    std::size_t at_ = 0;
    std::vector<IndexPiece> pieces_;
};

// Takes the whole entries out of the pieces, the first of each ID; moves what else is an entry or
// was one to `lost`.
std::vector<IndexPiece> WholeEntries(std::vector<IndexPiece> pieces,
                                     std::vector<IndexPiece>& lost) {
    std::vector<IndexPiece> whole;
    std::set<std::string> ids;
    for (IndexPiece& piece : pieces) {
        if (piece.kind == IndexPieceKind::Entry) {
            if (ids.insert(piece.id).second) {
                whole.push_back(std::move(piece));
                continue;
            }
            piece.reason = "another entry of this ID stands before it";
        } else if (piece.kind != IndexPieceKind::Lost) {
            continue;
        }
        lost.push_back(std::move(piece));
    }
    std::stable_sort(whole.begin(), whole.end(), [](const IndexPiece& one, const IndexPiece& two) {
        return one.uid.value_or(0) < two.uid.value_or(0);
    });
    return whole;
}

std::optional<std::uint32_t> LastUidIn(std::string_view bytes,
                                       const std::vector<IndexPiece>& pieces) {
    for (const IndexPiece& piece : pieces) {
        const std::string_view tag = bytes.substr(piece.offset, piece.length);
        if (piece.kind != IndexPieceKind::Header || !AttributeIn(tag, " LASTUID=\"")) continue;
        std::uint32_t uid = 0;
        ParseLastUidAttribute(tag, uid);
        return uid;
    }
    return std::nullopt;
}

}  // namespace

std::vector<IndexPiece> TakeApartIndex(std::string_view bytes) {
    return Disassembly(bytes).Run();
}

SalvagedIndex SalvageIndex(std::string_view bytes) {
    SalvagedIndex salvaged;
    // First, so that what the library says of the file comes before what it says of its pieces.
    salvaged.isSound = Load(salvaged.entries, bytes);
    const std::vector<IndexPiece> pieces = TakeApartIndex(bytes);
    // An entry that begins within the torn start tag of another is an attribute to the library,
    // which gives the one the properties of the other.
    if (std::any_of(pieces.begin(), pieces.end(),
                    [](const IndexPiece& piece) { return piece.reason == kNoEnd; })) {
        salvaged.isSound = false;
    }
    if (salvaged.isSound) return salvaged;
    const auto lastUid = LastUidIn(bytes, pieces);
    salvaged.hasLastUid = lastUid.has_value();
    const std::vector<IndexPiece> whole = WholeEntries(pieces, salvaged.lost);
    std::uint32_t highest = lastUid.value_or(0);
    for (const IndexPiece& piece : pieces) highest = std::max(highest, piece.uid.value_or(0));
    std::string file = IndexHeader(highest);
    for (const IndexPiece& piece : whole) file += bytes.substr(piece.offset, piece.length);
    Load(salvaged.entries, file.append(kTrailer));
    salvaged.entries.CountAsWhole();
    return salvaged;
}

std::size_t CompactSize(const StoreIndex& index) {
    std::size_t size = kHeaderLength + kTrailer.size();
    ByteBuffer element;
    for (const StoreIndex::Entry& entry : index.InUidOrder()) {
        element.Clear();
        AppendIndexElement(element, entry);
        size += element.Size();
    }
    return size;
}

}  // namespace tarnwick::admin
