// The tool's streams and the files that a person names on its command line.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tarnwick::admin {

// Takes the translation of line breaks off the standard streams: what the tool writes is the same
// on a console, in a pipe and in a file.
void UseBinaryStreams();

// From here on what Print writes is all that reaches the standard output: the library traces its
// remote calls there, which would stand in the middle of the answers.
void KeepStandardOutputForPrint();

// Writes to standard output; throws Failure (Refused) when that fails.
void Print(std::string_view text);

// A line on standard error, with the tool's name in front.
void Note(std::string_view text);

// The whole of a file; "-" is standard input. Throws Failure (Refused) when it cannot be read.
std::string ReadInput(const std::string& path);
// Replaces a file; "-" is standard output.
void WriteOutput(const std::string& path, std::string_view bytes);

// Whether every character of the command line is one of the system code page, in which the program
// is given its arguments. Others have become question marks there, or letters that look alike.
bool IsCommandLineWhole();

// The text in the system code page, as UTF-8.
std::string ToUtf8(std::string_view text);
// The other way; no value when it is no UTF-8 or the code page lacks one of its characters.
std::optional<std::string> FromUtf8(std::string_view text);

// Tells on standard error how far a long job is, at each tenth of it; short jobs are silent.
class Progress {
  public:
    Progress(std::string job, std::size_t total, bool wanted);
    void Step();

  private:
    std::string job_;
    std::size_t total_;
    std::size_t done_ = 0;
    bool shown_;
};

}  // namespace tarnwick::admin
