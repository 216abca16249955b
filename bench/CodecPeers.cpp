#include "bench/CodecPeers.h"

#include <gif_lib.h>
#include <openssl/evp.h>
#include <tiffio.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tarnwick::bench {
namespace {

// A peer that fails would make its row meaningless.
void Require(bool done, const char* step) {
    if (done) return;
    std::fprintf(stderr, "peer failed: %s\n", step);
    std::exit(1);
}

int DropGifBytes(GifFileType* /*file*/, const GifByteType* /*bytes*/, int count) {
    return count;
}

// A file in memory behind libtiff's client calls.
struct MemoryFile {
    std::vector<unsigned char> bytes;
    std::size_t position = 0;
};

MemoryFile& FileOf(thandle_t handle) {
    return *static_cast<MemoryFile*>(handle);
}

tmsize_t ReadMemory(thandle_t handle, void* buffer, tmsize_t size) {
    MemoryFile& file = FileOf(handle);
    const std::size_t start = std::min(file.position, file.bytes.size());
    const std::size_t count = std::min(static_cast<std::size_t>(size), file.bytes.size() - start);
    std::memcpy(buffer, file.bytes.data() + start, count);
    file.position += count;
    return static_cast<tmsize_t>(count);
}

tmsize_t WriteMemory(thandle_t handle, void* buffer, tmsize_t size) {
    MemoryFile& file = FileOf(handle);
    const std::size_t end = file.position + static_cast<std::size_t>(size);
    if (file.bytes.size() < end) file.bytes.resize(end);
    std::memcpy(file.bytes.data() + file.position, buffer, static_cast<std::size_t>(size));
    file.position = end;
    return size;
}

toff_t SeekMemory(thandle_t handle, toff_t offset, int origin) {
    MemoryFile& file = FileOf(handle);
    if (origin == SEEK_CUR) offset += file.position;
    if (origin == SEEK_END) offset += file.bytes.size();
    file.position = static_cast<std::size_t>(offset);
    return offset;
}

int CloseMemory(thandle_t /*handle*/) {
    return 0;
}

toff_t SizeOfMemory(thandle_t handle) {
    return FileOf(handle).bytes.size();
}

int MapMemory(thandle_t handle, void** base, toff_t* size) {
    *base = FileOf(handle).bytes.data();
    *size = FileOf(handle).bytes.size();
    return 1;
}

void UnmapMemory(thandle_t /*handle*/, void* /*base*/, toff_t /*size*/) {}

TIFF* OpenTiff(MemoryFile& file, const char* mode) {
    file.position = 0;
    TIFF* tiff = TIFFClientOpen("memory", mode, &file, ReadMemory, WriteMemory, SeekMemory,
                                CloseMemory, SizeOfMemory, MapMemory, UnmapMemory);
    Require(tiff != nullptr, "TIFFClientOpen");
    return tiff;
}

TIFF* OpenTiffForWriting(MemoryFile& file, std::size_t width) {
    TIFF* tiff = OpenTiff(file, "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(width));
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 1U);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 1U);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
    return tiff;
}

}  // namespace

struct GifCompressor::File {
    GifFileType* gif = nullptr;
    std::vector<GifByteType> line;
};

GifCompressor::GifCompressor() : file_(std::make_unique<File>()) {
    int error = 0;
    file_->gif = EGifOpen(nullptr, DropGifBytes, &error);
    Require(file_->gif != nullptr, "EGifOpen");
    ColorMapObject* colours = GifMakeMapObject(256, nullptr);
    Require(EGifPutScreenDesc(file_->gif, 16384, 1, 8, 0, colours) == GIF_OK, "EGifPutScreenDesc");
    GifFreeMapObject(colours);
}

GifCompressor::~GifCompressor() {
    int error = 0;
    EGifCloseFile(file_->gif, &error);
}

void GifCompressor::Compress(ByteSpan value) {
    // The library masks the line in place, so it gets a copy.
    file_->line.resize(value.size());
    std::memcpy(file_->line.data(), value.data(), value.size());
    const int width = static_cast<int>(value.size());
    Require(EGifPutImageDesc(file_->gif, 0, 0, width, 1, false, nullptr) == GIF_OK &&
                EGifPutLine(file_->gif, file_->line.data(), width) == GIF_OK,
            "EGifPutLine");
}

struct TiffStrip::File {
    std::vector<unsigned char> value;
    std::vector<unsigned char> expanded;
    MemoryFile written;
    MemoryFile readable;
    TIFF* writer = nullptr;
    TIFF* reader = nullptr;
};

TiffStrip::TiffStrip(ByteSpan value) : file_(std::make_unique<File>()) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(value.data());
    file_->value.assign(bytes, bytes + value.size());
    file_->expanded.resize(value.size());
    TIFF* once = OpenTiffForWriting(file_->readable, value.size());
    const auto size = static_cast<tmsize_t>(value.size());
    Require(TIFFWriteEncodedStrip(once, 0, file_->value.data(), size) == size, "first strip");
    TIFFClose(once);
    file_->reader = OpenTiff(file_->readable, "r");
    Expand();
    Require(file_->expanded == file_->value, "expansion");
    file_->writer = OpenTiffForWriting(file_->written, value.size());
}

TiffStrip::~TiffStrip() {
    TIFFClose(file_->reader);
    TIFFClose(file_->writer);
}

void TiffStrip::Compress() {
    const auto size = static_cast<tmsize_t>(file_->value.size());
    Require(TIFFWriteEncodedStrip(file_->writer, 0, file_->value.data(), size) == size, "strip");
}

void TiffStrip::Expand() {
    const auto size = static_cast<tmsize_t>(file_->expanded.size());
    Require(TIFFReadEncodedStrip(file_->reader, 0, file_->expanded.data(), size) == size, "read");
}

void OpensslEncode(ByteSpan data, std::vector<unsigned char>& text) {
    EVP_EncodeBlock(text.data(), reinterpret_cast<const unsigned char*>(data.data()),
                    static_cast<int>(data.size()));
}

void OpensslDecode(std::span<const char> text, std::vector<unsigned char>& data) {
    const int result =
        EVP_DecodeBlock(data.data(), reinterpret_cast<const unsigned char*>(text.data()),
                        static_cast<int>(text.size()));
    Require(result >= 0, "EVP_DecodeBlock");
}

}  // namespace tarnwick::bench
