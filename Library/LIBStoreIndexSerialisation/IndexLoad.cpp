#include "Library/LIBStoreIndexSerialisation/IndexLoad.h"

#include <array>

#include "common/Scan.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/IndexParser.h"

namespace tarnwick {
namespace {

constexpr std::size_t kEmptyRootSlash = 32;

class NoBytes : public ByteSource {
  public:
    std::optional<std::size_t> Read(std::span<char> /*bytes*/) override { return 0; }
};

std::unique_ptr<ByteSource> OpenOrNothing(const OpenSource& open) {
    auto source = open();
    if (source == nullptr) source = std::make_unique<NoBytes>();
    return source;
}

std::string FirstLine(ByteSource& source) {
    std::array<char, kTagLimit> bytes;
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const std::size_t count = source.Read(std::span(bytes).subspan(filled)).value_or(0);
        if (count == 0) break;
        filled += count;
    }
    const std::string_view read(bytes.data(), filled);
    return std::string(read.substr(0, FindByte(read, '\n')));
}

// Whether an in-place save may overwrite the header.
bool HasOverwritableHeader(std::string_view line) {
    return line.starts_with('<') && FindByte(line, '>') == kHeaderLength - 1;
}

// Reads the header alone. The status when that was enough; else nothing, and `load` says what the
// parse that must follow is to read.
std::optional<std::uint32_t> LoadHeader(StoreIndex& index, const OpenSource& open,
                                        IndexLoad& load) {
    const std::string line = FirstLine(*OpenOrNothing(open));
    if (line.size() <= kHeaderLength) return std::nullopt;
    std::uint32_t lastUid = index.LastUid();
    const bool currentFormat = ParseLastUidAttribute(line, lastUid);
    index.SetLastUid(lastUid);
    if (currentFormat && HasOverwritableHeader(line)) return kLoadHeader;
    index.InvalidateExtents();
    if (currentFormat && line[kEmptyRootSlash] == '/') return kLoadFull;
    load.mode = kLoadFull;
    load.knownIds = nullptr;
    return std::nullopt;
}

std::uint32_t LoadEntries(StoreIndex& index, const OpenSource& open, const std::string& folder,
                          IndexLoad& load) {
    const auto parse = [&] { return IndexParser(index, *OpenOrNothing(open), load).Run(folder); };
    ParseResult result = parse();
    if (result == ParseResult::ParseAgain) {
        load.mode = kLoadFull;
        load.knownIds = nullptr;
        index.SetIdFilter({});
        result = parse();
    }
    return result == ParseResult::Parsed ? load.mode : kLoadFailed;
}

}  // namespace

std::uint32_t LoadIndex(StoreIndex& index, const OpenSource& open, const std::string& folder,
                        const IndexLoad& load) {
    IndexLoad current = load;
    const IdSet filtered = index.FilteredIds();
    if (!index.IdFilter().empty()) current.knownIds = &filtered;
    index.Clear();
    std::optional<std::uint32_t> status;
    if (current.mode == kLoadHeader) status = LoadHeader(index, open, current);
    if (!status) status = LoadEntries(index, open, folder, current);
    index.SetLoadStatus(*status);
    return *status;
}

}  // namespace tarnwick
