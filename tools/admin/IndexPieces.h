// An index file in pieces: which of its entries are whole, and what of a damaged file is lost.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Library/LIBStoreIndexSerialisation/StoreIndex.h"

namespace tarnwick::admin {

enum class IndexPieceKind { Header, Entry, Blanked, Lost, Trailer };

struct IndexPiece {
    IndexPieceKind kind = IndexPieceKind::Lost;
    std::size_t offset = 0;
    std::size_t length = 0;
    // Of an entry, and of what was one as far as it can be read.
    std::string id{};
    std::optional<std::uint32_t> uid{};
    std::string reason{};  // why it is lost
};

// The pieces in the order of the file; all of it but blanks between them. An entry is whole when
// the library reads it by itself without complaint, nothing but blanks stands between its
// properties, and it has none of the bytes that the store always writes in another form.
std::vector<IndexPiece> TakeApartIndex(std::string_view bytes);

// What can be had of an index file.
struct SalvagedIndex {
    StoreIndex entries;              // counts as loaded whole; in UID order
    bool isSound = false;            // the library reads the file, each entry as its own
    bool hasLastUid = true;          // else the last UID is the highest that was seen
    std::vector<IndexPiece> lost{};  // second entries of an ID too
};

// Of a file that is not sound: every whole entry, the first of each ID.
SalvagedIndex SalvageIndex(std::string_view bytes);

// Bytes of the file that a save of the whole index makes.
std::size_t CompactSize(const StoreIndex& index);

}  // namespace tarnwick::admin
