#include "tools/admin/Console.h"

#include <fcntl.h>
#include <io.h>

#include <array>
#include <cstdio>
#include <utility>

#include "common/Files.h"

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

// Whether texts are converted for the console that the tool runs on.
bool IsForUtf8Console() {
    static const bool isForUtf8Console = GetConsoleOutputCP() == CP_UTF8 && GetACP() != CP_UTF8;
    return isForUtf8Console;
}

bool IsUtf8(std::string_view text) {
    return text.empty() || !ToWide(text, CP_UTF8, MB_ERR_INVALID_CHARS).empty();
}

}  // namespace

void TakeStandardStreams() {
    for (std::FILE* stream : {stdin, stdout, stderr}) _setmode(_fileno(stream), _O_BINARY);
    std::FILE* kept = _fdopen(_dup(_fileno(stdout)), "wb");
    const int nowhere = _open("NUL", _O_WRONLY);
    // A program that was started without a standard output has nothing to keep.
    if (kept == nullptr || nowhere < 0 || _dup2(nowhere, _fileno(stdout)) != 0) return;
    _close(nowhere);
    output = kept;
}

void Print(std::string_view text) {
    PrintBytes(IsForUtf8Console() ? ToUtf8(text) : text);
}

void PrintBytes(std::string_view bytes) {
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), output) == bytes.size();
    if (written && std::fflush(output) == 0) return;
    throw SystemFailure("standard output cannot be written");
}

void* StandardOutput() {
    return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(output)));
}

void Note(std::string_view text) {
    const std::string shown(IsForUtf8Console() && !IsUtf8(text) ? ToUtf8(text) : text);
    const std::string line = "tarnwick-admin: " + shown + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

std::string AtLine(std::size_t line) {
    return "line " + std::to_string(line) + ": ";
}

ExitStatus StatusOfError(std::uint32_t error) {
    switch (error) {
        case ERROR_SHARING_VIOLATION:
        case ERROR_LOCK_VIOLATION:
        case ERROR_BUSY:
            return ExitStatus::Busy;
        case ERROR_ACCESS_DENIED:
        case ERROR_WRITE_PROTECT:
        case ERROR_PRIVILEGE_NOT_HELD:
            return ExitStatus::NotAllowed;
        default:
            return ExitStatus::Refused;
    }
}

Failure SystemFailure(const std::string& text) {
    return {StatusOfError(GetLastError()), text};
}

std::string ReadInput(const std::string& path) {
    if (path == "-") return ReadStandardInput();
    if (const auto text = ReadWholeFile(path)) return *text;
    throw SystemFailure("the file " + path + " cannot be read; check its name and its rights");
}

void WriteOutput(const std::string& path, std::string_view bytes) {
    if (path == "-") return PrintBytes(bytes);
    File file(path, kOpenTruncate);
    if (file.IsOpen() && file.Write(bytes) && file.Close()) return;
    throw SystemFailure("the file " + path + " cannot be written; check its folder and its rights");
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
