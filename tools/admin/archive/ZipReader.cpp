#include "tools/admin/archive/ZipReader.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <new>

#include "tools/admin/Failure.h"
#include "tools/admin/TextTable.h"

namespace tarnwick::admin {
namespace {

constexpr std::uint64_t kLongestComment = 0xFFFF;
constexpr std::uint64_t kLargestDirectory = 64U << 20;
constexpr std::size_t kBlock = 1U << 16;
constexpr std::size_t kShownLength = 80;
constexpr std::uint16_t kEncrypted = 1U << 0;
constexpr std::uint16_t kPatched = 1U << 5;
constexpr std::uint16_t kStronglyEncrypted = 1U << 6;
constexpr std::uint16_t kMaskedHeaders = 1U << 13;
constexpr std::uint16_t kUnreadable = kEncrypted | kPatched | kStronglyEncrypted | kMaskedHeaders;

Failure Damaged(const std::string& problem) {
    return Refusal("the archive is damaged: " + problem);
}

Failure Damaged(const ZipMember& member, const std::string& problem) {
    return Refusal("the archive is damaged: " + ShownName(member.name) + " " + problem);
}

// Numbers of a header, one behind the other.
class Numbers {
  public:
    explicit Numbers(std::string_view bytes) : rest_(bytes) {}

    std::uint16_t Next16() { return static_cast<std::uint16_t>(Next(2)); }
    std::uint32_t Next32() { return Next(4); }
    void Skip(std::size_t count) { rest_.remove_prefix(count); }

  private:
    std::uint32_t Next(std::size_t count) {
        std::uint32_t number = 0;
        for (std::size_t at = count; at-- > 0;) {
            number = number << 8 | static_cast<unsigned char>(rest_[at]);
        }
        rest_.remove_prefix(count);
        return number;
    }

    std::string_view rest_;
};

std::string ReadPart(ByteRange& archive, std::uint64_t offset, std::uint64_t size) {
    std::string bytes(static_cast<std::size_t>(size), '\0');
    archive.Read(offset, bytes);
    return bytes;
}

struct Directory {
    std::uint64_t begin = 0;
    std::uint64_t size = 0;
    std::uint64_t count = 0;
};

// The end of the directory is the archive's last part but for a comment, whose length it says.
std::uint64_t FindDirectoryEnd(std::string_view tail) {
    for (std::size_t left = tail.size(); left >= kDirectoryEndSize; --left) {
        const std::size_t at = left - kDirectoryEndSize;
        if (Numbers(tail.substr(at)).Next32() != kDirectoryEndMark) continue;
        Numbers comment(tail.substr(at + kDirectoryEndSize - 2));
        if (comment.Next16() == tail.size() - left) return at;
    }
    throw Refusal("this is no zip archive, or its end is missing");
}

Directory FindDirectory(ByteRange& archive) {
    const std::uint64_t tailSize = std::min(archive.Size(), kDirectoryEndSize + kLongestComment);
    const std::string tail = ReadPart(archive, archive.Size() - tailSize, tailSize);
    const std::uint64_t at = FindDirectoryEnd(tail);
    Numbers numbers(std::string_view(tail).substr(static_cast<std::size_t>(at)));
    numbers.Skip(4);
    const bool isOneVolume = numbers.Next32() == 0;
    const std::uint64_t here = numbers.Next16();
    Directory directory;
    directory.count = numbers.Next16();
    directory.size = numbers.Next32();
    directory.begin = numbers.Next32();
    if (!isOneVolume || here != directory.count) {
        throw Refusal("the archive is one of several volumes; join them first");
    }
    if (directory.count == kNoCount || directory.size == kNoSize || directory.begin == kNoSize) {
        throw Refusal("the archive is a zip64; pack it as a plain zip");
    }
    const std::uint64_t end = archive.Size() - tailSize + at;
    if (directory.size > kLargestDirectory || directory.begin + directory.size != end) {
        throw Damaged("its directory does not end where it says");
    }
    return directory;
}

// One entry from the front of `rest`.
ZipMember TakeEntry(std::string_view& rest) {
    constexpr const char* kTorn = "its directory is torn";
    if (rest.size() < kDirectoryEntrySize) throw Damaged(kTorn);
    Numbers numbers(rest);
    if (numbers.Next32() != kDirectoryMark) throw Damaged(kTorn);
    numbers.Skip(4);
    const std::uint16_t flags = numbers.Next16();
    const std::uint16_t method = numbers.Next16();
    numbers.Skip(4);
    ZipMember member;
    member.crc = numbers.Next32();
    member.packed = numbers.Next32();
    member.size = numbers.Next32();
    const std::size_t nameSize = numbers.Next16();
    const std::size_t behind = nameSize + numbers.Next16() + numbers.Next16();
    numbers.Skip(8);
    member.header = numbers.Next32();
    rest.remove_prefix(kDirectoryEntrySize);
    if (rest.size() < std::max(behind, nameSize)) throw Damaged(kTorn);
    member.name = rest.substr(0, nameSize);
    rest.remove_prefix(behind);
    member.isUtf8 = (flags & kUtf8Name) != 0;
    member.isDeflated = method == kDeflated;
    const std::string shown = ShownName(member.name);
    if ((flags & kUnreadable) != 0) throw Refusal(shown + " is encrypted or a patch");
    if (method != kStored && method != kDeflated) {
        throw Refusal(shown + " is packed in a way other than deflation; pack it so");
    }
    if (member.packed == kNoSize || member.size == kNoSize || member.header == kNoSize) {
        throw Refusal(shown + " has the sizes of a zip64; pack it as a plain zip");
    }
    if (!member.isDeflated && member.packed != member.size) {
        throw Damaged(member, "has two sizes");
    }
    return member;
}

// Finds where the member's bytes begin, behind the header of its own, which must say the same.
void TakeLocalHeader(ByteRange& archive, ZipMember& member, std::uint64_t end) {
    constexpr const char* kElsewhere = "does not lie where the directory says";
    if (end < kLocalHeaderSize || member.header > end - kLocalHeaderSize) {
        throw Damaged(member, kElsewhere);
    }
    const std::string header = ReadPart(archive, member.header, kLocalHeaderSize);
    Numbers numbers(header);
    if (numbers.Next32() != kLocalHeaderMark) throw Damaged(member, kElsewhere);
    numbers.Skip(2);
    const std::uint16_t flags = numbers.Next16();
    const std::uint16_t method = numbers.Next16();
    numbers.Skip(4);
    const std::uint32_t crc = numbers.Next32();
    const std::uint32_t packed = numbers.Next32();
    const std::uint32_t size = numbers.Next32();
    const std::uint64_t nameSize = numbers.Next16();
    const std::uint64_t extraSize = numbers.Next16();
    member.data = member.header + kLocalHeaderSize + nameSize + extraSize;
    if (member.data > end || member.packed > end - member.data) {
        throw Damaged(member, "goes beyond the end of the archive's files");
    }
    const std::string name = ReadPart(archive, member.header + kLocalHeaderSize, nameSize);
    const bool isSame = name == member.name && (method == kDeflated) == member.isDeflated &&
                        ((flags & kSizesFollow) != 0 ||
                         (crc == member.crc && packed == member.packed && size == member.size));
    if (!isSame) throw Damaged(member, "is another file than the directory says");
}

// What lies over another unpacks to more than anything of the archive's size should.
void RequireApart(const std::vector<ZipMember>& members) {
    std::vector<const ZipMember*> inOrder;
    inOrder.reserve(members.size());
    for (const ZipMember& member : members) inOrder.push_back(&member);
    std::sort(inOrder.begin(), inOrder.end(), [](const ZipMember* left, const ZipMember* right) {
        return left->header < right->header;
    });
    std::uint64_t end = 0;
    for (const ZipMember* member : inOrder) {
        if (member->header < end) throw Damaged(*member, "lies over another file");
        end = member->data + member->packed;
    }
}

// Counts and sums up the bytes on their way to the sink.
class CheckedSink {
  public:
    CheckedSink(const ZipMember& member, const ByteTarget& sink) : member_(member), sink_(sink) {}

    void Take(std::string_view bytes) {
        if (bytes.size() > member_.size - taken_) {
            throw Damaged(member_, "holds more bytes than it says");
        }
        taken_ += bytes.size();
        crc_ = static_cast<std::uint32_t>(crc32(crc_, reinterpret_cast<const Bytef*>(bytes.data()),
                                                static_cast<uInt>(bytes.size())));
        if (!bytes.empty()) sink_(bytes);
    }

    void RequireWhole() const {
        if (taken_ != member_.size) throw Damaged(member_, "holds fewer bytes than it says");
        if (crc_ != member_.crc) throw Damaged(member_, "does not have its checksum");
    }

  private:
    const ZipMember& member_;
    const ByteTarget& sink_;
    std::uint64_t taken_ = 0;
    std::uint32_t crc_ = 0;
};

// Expands what it is given in pieces.
class Inflation {
  public:
    Inflation(const ZipMember& member, CheckedSink& sink) : member_(member), sink_(sink) {
        if (inflateInit2(&stream_, -MAX_WBITS) != Z_OK) throw std::bad_alloc();
    }
    Inflation(const Inflation&) = delete;
    Inflation& operator=(const Inflation&) = delete;
    ~Inflation() { inflateEnd(&stream_); }

    void Take(std::span<char> bytes) {
        stream_.next_in = reinterpret_cast<Bytef*>(bytes.data());
        stream_.avail_in = static_cast<uInt>(bytes.size());
        do {
            stream_.next_out = reinterpret_cast<Bytef*>(room_.data());
            stream_.avail_out = static_cast<uInt>(room_.size());
            const int result = inflate(&stream_, Z_NO_FLUSH);
            if (result == Z_MEM_ERROR) throw std::bad_alloc();
            const bool isFault = result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR;
            if (isFault || isEnded_) throw Damaged(member_, "cannot be unpacked");
            sink_.Take({room_.data(), room_.size() - stream_.avail_out});
            isEnded_ = result == Z_STREAM_END;
        } while (stream_.avail_in != 0 || (stream_.avail_out == 0 && !isEnded_));
    }

    void RequireEnd() const {
        if (!isEnded_) throw Damaged(member_, "is cut off");
    }

  private:
    const ZipMember& member_;
    CheckedSink& sink_;
    z_stream stream_{};
    bool isEnded_ = false;
    std::array<char, kBlock> room_{};
};

}  // namespace

std::string ShownName(const std::string& name) {
    return "\"" + OnOneLine(name.substr(0, kShownLength)) + "\"" +
           (name.size() > kShownLength ? "..." : "");
}

std::vector<ZipMember> ReadZipDirectory(ByteRange& archive) {
    const Directory directory = FindDirectory(archive);
    const std::string bytes = ReadPart(archive, directory.begin, directory.size);
    std::string_view rest = bytes;
    std::vector<ZipMember> members;
    for (std::uint64_t number = 0; number < directory.count; ++number) {
        members.push_back(TakeEntry(rest));
        TakeLocalHeader(archive, members.back(), directory.begin);
    }
    if (!rest.empty()) throw Damaged("its directory is longer than it says");
    RequireApart(members);
    return members;
}

void ReadZipMember(ByteRange& archive, const ZipMember& member, const ByteTarget& sink) {
    CheckedSink checked(member, sink);
    Inflation inflation(member, checked);
    std::array<char, kBlock> block;
    for (std::uint64_t done = 0; done < member.packed;) {
        const auto count =
            static_cast<std::size_t>(std::min<std::uint64_t>(block.size(), member.packed - done));
        const std::span<char> part(block.data(), count);
        archive.Read(member.data + done, part);
        if (member.isDeflated) {
            inflation.Take(part);
        } else {
            checked.Take({part.data(), part.size()});
        }
        done += count;
    }
    if (member.isDeflated) inflation.RequireEnd();
    checked.RequireWhole();
}

}  // namespace tarnwick::admin
