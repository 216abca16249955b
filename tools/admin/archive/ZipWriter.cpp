#include "tools/admin/archive/ZipWriter.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <new>

#include "tools/admin/Failure.h"

namespace tarnwick::admin {
namespace {

constexpr std::uint16_t kVersion = 20;  // deflation and folders
constexpr std::uint16_t kFlags = kSizesFollow | kUtf8Name;
constexpr std::uint32_t kArchiveAttribute = 0x20;
constexpr std::uint16_t kTimeExtra = 0x5455;
constexpr std::size_t kLongestName = 1024;
constexpr std::size_t kMostBytesOfCall = 1U << 30;
// Without zlib's own header and checksum.
constexpr int kRawDeflate = -MAX_WBITS;

void Append16(std::string& bytes, std::uint64_t number) {
    for (int shift = 0; shift < 16; shift += 8) bytes += static_cast<char>(number >> shift & 0xFF);
}

void Append32(std::string& bytes, std::uint64_t number) {
    Append16(bytes, number);
    Append16(bytes, number >> 16);
}

std::uint64_t Within(std::uint64_t number, std::uint64_t limit, const char* what) {
    if (number < limit) return number;
    throw Refusal(std::string("the archive cannot be written: ") + what);
}

std::uint64_t Fitting(std::uint64_t size) {
    return Within(size, kNoSize, "no plain zip is of 4 GiB or holds a file of that size");
}

// Time and date as DOS has them: steps of two seconds from 1980 to 2107.
std::string DosTime(std::int64_t localSeconds) {
    using namespace std::chrono;
    constexpr sys_seconds kFirst = sys_days(year(1980) / January / 1);
    constexpr sys_seconds kLast = sys_days(year(2108) / January / 1) - seconds(1);
    const auto time = std::clamp(sys_seconds(seconds(localSeconds)), kFirst, kLast);
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);
    std::string bytes;
    Append16(bytes,
             static_cast<std::uint64_t>(clock.hours().count() << 11 | clock.minutes().count() << 5 |
                                        clock.seconds().count() / 2));
    Append16(bytes, static_cast<unsigned>(static_cast<int>(date.year()) - 1980) << 9 |
                        static_cast<unsigned>(date.month()) << 5 |
                        static_cast<unsigned>(date.day()));
    return bytes;
}

std::string TimeExtra(std::int64_t utcSeconds) {
    std::string extra;
    Append16(extra, kTimeExtra);
    Append16(extra, 5);
    extra += '\1';  // the time of writing alone
    Append32(extra, static_cast<std::uint64_t>(utcSeconds));
    return extra;
}

}  // namespace

struct ZipWriter::Deflation {
    Deflation() {
        if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kRawDeflate, MAX_MEM_LEVEL,
                         Z_DEFAULT_STRATEGY) != Z_OK) {
            throw std::bad_alloc();
        }
    }
    Deflation(const Deflation&) = delete;
    Deflation& operator=(const Deflation&) = delete;
    ~Deflation() { deflateEnd(&stream); }

    z_stream stream{};
    std::array<char, 1U << 16> room{};
};

ZipWriter::ZipWriter(ByteTarget sink)
    : sink_(std::move(sink)), deflation_(std::make_unique<Deflation>()) {}

ZipWriter::~ZipWriter() = default;

void ZipWriter::Put(std::string_view bytes) {
    sink_(bytes);
    position_ += bytes.size();
}

void ZipWriter::Begin(const std::string& name, const ZipTime& modified) {
    Within(count_ + 1, kNoCount, "no plain zip holds more than 65534 files");
    Within(name.size(), kLongestName, "a name is too long");
    name_ = name;
    times_ = DosTime(modified.localSeconds);
    extra_ = TimeExtra(modified.utcSeconds);
    begin_ = Fitting(position_);
    packed_ = size_ = crc_ = 0;
    deflateReset(&deflation_->stream);
    std::string header;
    Append32(header, kLocalHeaderMark);
    Append16(header, kVersion);
    Append16(header, kFlags);
    Append16(header, kDeflated);
    header += times_ + std::string(12, '\0');  // checksum and sizes follow
    Append16(header, name_.size());
    Append16(header, extra_.size());
    Put(header + name_ + extra_);
}

void ZipWriter::Write(std::string_view bytes) {
    size_ = Fitting(size_ + bytes.size());
    for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), kMostBytesOfCall))) {
        const std::string_view part = bytes.substr(0, kMostBytesOfCall);
        crc_ = static_cast<std::uint32_t>(crc32(crc_, reinterpret_cast<const Bytef*>(part.data()),
                                                static_cast<uInt>(part.size())));
        Deflate(part, false);
    }
}

void ZipWriter::Deflate(std::string_view bytes, bool isLast) {
    z_stream& stream = deflation_->stream;
    auto& room = deflation_->room;
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    do {
        stream.next_out = reinterpret_cast<Bytef*>(room.data());
        stream.avail_out = static_cast<uInt>(room.size());
        deflate(&stream, isLast ? Z_FINISH : Z_NO_FLUSH);
        const std::size_t made = room.size() - stream.avail_out;
        packed_ += made;
        if (made != 0) Put({room.data(), made});
    } while (stream.avail_out == 0);
}

void ZipWriter::End() {
    Deflate({}, true);
    std::string sizes;
    Append32(sizes, crc_);
    Append32(sizes, Fitting(packed_));
    Append32(sizes, size_);
    std::string descriptor;
    Append32(descriptor, kDescriptorMark);
    Put(descriptor + sizes);
    Append32(directory_, kDirectoryMark);
    Append16(directory_, kVersion);
    Append16(directory_, kVersion);
    Append16(directory_, kFlags);
    Append16(directory_, kDeflated);
    directory_ += times_ + sizes;
    Append16(directory_, name_.size());
    Append16(directory_, extra_.size());
    directory_ += std::string(6, '\0');  // no comment, first volume, no kind of content
    Append32(directory_, kArchiveAttribute);
    Append32(directory_, begin_);
    directory_ += name_ + extra_;
    ++count_;
}

void ZipWriter::Finish() {
    const std::uint64_t begin = Fitting(position_);
    const std::uint64_t size = directory_.size();
    Fitting(begin + size);
    Append32(directory_, kDirectoryEndMark);
    Append32(directory_, 0);  // one volume
    Append16(directory_, count_);
    Append16(directory_, count_);
    Append32(directory_, size);
    Append32(directory_, begin);
    Append16(directory_, 0);  // no comment
    Put(directory_);
}

}  // namespace tarnwick::admin
