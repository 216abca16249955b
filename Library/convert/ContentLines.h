// The lines of iCalendar and vCard texts (RFC 5545 section 3.1, RFC 6350 section 3.2, and the older
// vCalendar 1.0 and vCard 2.1): unfolded, and cut into name, parameters and value.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tarnwick {

// One unfolded line. The views are good until the next line is asked for.
struct ContentLine {
    std::size_t number = 0;  // of its first line in the text, from 1
    std::string_view name;   // without its group; empty when the line does not begin with a name
    std::string_view parameters;  // what lies between the name's ";" and the ":"
    std::string_view value;       // what follows the ":"
    bool hasValue = false;        // whether there is a ":"
};

// A parameter; in the older formats a word can stand without a name and is then the value.
struct Parameter {
    std::string_view name;
    std::string_view value;  // without its quotes
};

// Takes the next parameter off the front of `parameters`; nothing when none is left.
std::optional<Parameter> NextParameter(std::string_view& parameters);

// The value of the first parameter of that name; empty when there is none.
std::string_view ParameterValue(std::string_view parameters, std::string_view name);

// Whether the value is said to be encoded like this ("ENCODING=" or the older lone word).
bool HasEncoding(std::string_view parameters, std::string_view encoding);

class ContentLines {
  public:
    // `text` must outlive the lines. A byte order mark at its beginning is passed over.
    explicit ContentLines(std::string_view text);

    // The older formats fold before a blank that belongs to the text; the newer ones insert one.
    void KeepFoldBlanks(bool keep) { keepFoldBlanks_ = keep; }

    // The next line that is not blank. Line breaks are LF or CR LF; blank lines before a
    // continuation belong to the fold.
    std::optional<ContentLine> Next();

    // The next line as the writers of this system leave it: not folded, and with the line breaks of
    // its text in it. It begins with one of `beginnings` at or behind position `at` and lasts until
    // the next line that begins with a later one; `at` becomes its position. Nothing, with nothing
    // consumed, when no such line follows.
    std::optional<ContentLine> NextVerbatim(std::span<const std::string_view> beginnings,
                                            std::size_t& at);

    // Number of the line that comes next.
    std::size_t LineNumber() const { return lineNumber_; }

  private:
    std::string_view TakeLine();
    std::string_view PeekLine() const;
    bool SkipToContinuation();
    void SkipBlankLines();
    void AppendSoftLines(std::size_t from);
    void SkipBareBase64();

    std::string_view text_;
    std::size_t position_ = 0;
    std::size_t lineNumber_ = 1;
    bool keepFoldBlanks_ = false;
    std::string unfolded_;
};

}  // namespace tarnwick
