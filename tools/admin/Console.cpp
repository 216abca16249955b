#include "tools/admin/Console.h"

#include <fcntl.h>
#include <io.h>

#include <array>
#include <cstdio>
#include <utility>

#include "common/Files.h"
#include "tools/admin/Failure.h"

namespace tarnwick::admin {
namespace {

constexpr std::size_t kLongJob = 100;

// Where Print writes.
std::FILE* output = stdout;

std::string ReadStandardInput() {
    std::string text;
    std::array<char, 65536> block;
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), stdin)) {
        text.append(block.data(), count);
    }
    if (std::ferror(stdin) != 0) throw Refusal("standard input cannot be read");
    return text;
}

// Empty when the flags forbid what is in the text.
std::wstring ToWide(std::string_view text, UINT codePage, DWORD flags) {
    const int size = static_cast<int>(text.size());
    const int length = MultiByteToWideChar(codePage, flags, text.data(), size, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(codePage, flags, text.data(), size, wide.data(), length);
    return wide;
}

std::string FromWide(const std::wstring& wide, UINT codePage, DWORD flags, BOOL* replaced) {
    const int size = static_cast<int>(wide.size());
    const int length =
        WideCharToMultiByte(codePage, flags, wide.data(), size, nullptr, 0, nullptr, replaced);
    std::string text(static_cast<std::size_t>(length), '\0');
    WideCharToMultiByte(codePage, flags, wide.data(), size, text.data(), length, nullptr, nullptr);
    return text;
}

}  // namespace

void UseBinaryStreams() {
    for (std::FILE* stream : {stdin, stdout, stderr}) _setmode(_fileno(stream), _O_BINARY);
}

void KeepStandardOutputForPrint() {
    if (output != stdout) return;
    std::fflush(stdout);
    std::FILE* kept = _fdopen(_dup(_fileno(stdout)), "wb");
    const int nowhere = _open("NUL", _O_WRONLY);
    if (kept == nullptr || nowhere < 0 || _dup2(nowhere, _fileno(stdout)) != 0) {
        throw Refusal("the standard output cannot be kept free of the library's traces");
    }
    _close(nowhere);
    output = kept;
}

void Print(std::string_view text) {
    const bool written = std::fwrite(text.data(), 1, text.size(), output) == text.size();
    if (!written || std::fflush(output) != 0) throw Refusal("standard output cannot be written");
}

void Note(std::string_view text) {
    const std::string line = "tarnwick-admin: " + std::string(text) + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

std::string ReadInput(const std::string& path) {
    if (path == "-") return ReadStandardInput();
    if (const auto text = ReadWholeFile(path)) return *text;
    throw Refusal("the file " + path + " cannot be read; check its name and its rights");
}

void WriteOutput(const std::string& path, std::string_view bytes) {
    if (path == "-") return Print(bytes);
    File file(path, kOpenTruncate);
    if (file.IsOpen() && file.Write(bytes) && file.Close()) return;
    throw Refusal("the file " + path + " cannot be written; check its folder and its rights");
}

bool IsCommandLineWhole() {
    if (GetACP() == CP_UTF8) return true;
    BOOL replaced = FALSE;
    // Without room for its outcome the conversion only looks at the text.
    WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, GetCommandLineW(), -1, nullptr, 0, nullptr,
                        &replaced);
    return replaced == FALSE;
}

std::string ToUtf8(std::string_view text) {
    return FromWide(ToWide(text, CP_ACP, 0), CP_UTF8, 0, nullptr);
}

std::optional<std::string> FromUtf8(std::string_view text) {
    const std::wstring wide = ToWide(text, CP_UTF8, MB_ERR_INVALID_CHARS);
    if (wide.empty() && !text.empty()) return std::nullopt;
    if (GetACP() == CP_UTF8) return std::string(text);
    BOOL replaced = FALSE;
    std::string converted = FromWide(wide, CP_ACP, WC_NO_BEST_FIT_CHARS, &replaced);
    if (replaced != FALSE) return std::nullopt;
    return converted;
}

Progress::Progress(std::string job, std::size_t total, bool wanted)
    : job_(std::move(job)), total_(total), shown_(wanted && total >= kLongJob) {}

void Progress::Step() {
    ++done_;
    if (!shown_ || done_ * 10 / total_ == (done_ - 1) * 10 / total_) return;
    Note(job_ + ": " + std::to_string(done_) + " of " + std::to_string(total_));
}

}  // namespace tarnwick::admin
