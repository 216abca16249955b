// The tool's streams and the files that a person names on its command line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tools/admin/Failure.h"

namespace tarnwick::admin {

// To be called first. Takes the translation of line breaks off the standard streams, so that what
// the tool writes is the same on a console, in a pipe and in a file; and leaves the standard output
// to Print: the library traces its calls there, which would stand in the middle of the answers.
void TakeStandardStreams();

// Writes a text of the system code page to standard output, as UTF-8 when that is the console's
// code page. Throws Failure when it cannot be written, as do the others.
void Print(std::string_view text);
// Writes the bytes as they are.
void PrintBytes(std::string_view bytes);

// The standard output that the tool was given, for a program that it starts: the system's handle.
void* StandardOutput();

// A line on standard error, with the tool's name in front. The text is that of the system code page
// or UTF-8, as files have it.
void Note(std::string_view text);

// "line 3: "
std::string AtLine(std::size_t line);

// What an error of the system means for the exit status: Busy, NotAllowed or Refused.
ExitStatus StatusOfError(std::uint32_t error);
// A failure because of the thread's last error.
Failure SystemFailure(const std::string& text);

// The whole of a file; "-" is standard input. Throws Failure when it cannot be read.
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
