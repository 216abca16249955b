#include "Library/LIBStoreIndexSerialisation/IndexLoad.h"

#include <array>

#include "common/Scan.h"
#include "Library/LIBStoreIndexSerialisation/IndexFormat.h"
#include "Library/LIBStoreIndexSerialisation/IndexParser.h"

namespace tarnwick {
namespace {

// Where the root of an empty folder closes itself, so that nothing is left to parse.
constexpr std::size_t kEmptyRootSlash = 32;

// A file's bytes; remembers when they could not be had, which says nothing about the file.
class WatchedSource : public ByteSource {
  public:
    explicit WatchedSource(std::unique_ptr<ByteSource> source) : source_(std::move(source)) {}
    bool Readable() const { return source_ != nullptr && !failed_; }
    std::optional<std::size_t> Read(std::span<char> bytes) override {
        if (!Readable()) return std::nullopt;
        const auto count = source_->Read(bytes);
        failed_ = !count;
        return count;
    }

  private:
    std::unique_ptr<ByteSource> source_;
    bool failed_ = false;
};

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
    WatchedSource source(open());
    const std::string line = FirstLine(source);
    // With nothing behind its header a file is damaged or of another format: a parse tells which.
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
    bool readable = false;
    const auto parse = [&] {
        WatchedSource source(open());
        // Its buffers are too much for a caller's stack.
        const auto parser = std::make_unique<IndexParser>(index, source, load);
        const ParseResult result = parser->Run(folder);
        readable = source.Readable();
        return result;
    };
    ParseResult result = parse();
    if (result == ParseResult::ParseAgain) {
        load.identifiersSuffice = load.mode == kLoadIdentifiers;
        load.mode = kLoadFull;
        load.knownIds = nullptr;
        index.SetIdFilter({});
        result = parse();
    }
    if (result == ParseResult::ParseAgain) {
        load.mode = kLoadIdentifiers;
        result = parse();
    }
    if (result == ParseResult::Parsed) return load.mode;
    index.InvalidateExtents();
    if (readable) index.MarkDamaged();
    return kLoadFailed;
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
