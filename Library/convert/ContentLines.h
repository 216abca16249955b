// The lines of iCalendar and vCard texts (RFC 5545 section 3.1, RFC 6350 section 3.2, and the older
// vCalendar 1.0 and vCard 2.1): unfolded, and cut into name, parameters and value.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "common/Text.h"
#include "Library/convert/Remarks.h"

namespace tarnwick {

// How a line's value says that it is encoded (the parameter ENCODING or the older lone word).
enum class LineEncoding { None, QuotedPrintable, Base64 };

// One unfolded line. The views are good until the next line is asked for.
struct ContentLine {
    std::size_t number = 0;  // of its first line in the text, from 1
    std::string_view text;   // the whole of it
    std::string_view name;   // without its group; empty when the line does not begin with a name
    std::string_view parameters;  // what lies between the name's ";" and the ":"
    std::string_view value;       // what follows the ":"
    bool hasValue = false;        // whether there is a ":"
    LineEncoding encoding = LineEncoding::None;

    bool IsProperty() const { return hasValue && !name.empty(); }
    bool Is(std::string_view other) const { return EqualsIgnoreCase(name, other); }
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

// Takes the next of the items that the delimiter separates; nothing when none is left.
std::optional<std::string_view> NextListItem(std::string_view& list, char delimiter = ',');

// Without the blanks and tabs around it.
std::string_view TrimBlanks(std::string_view text);

class ContentLines {
  public:
    // `text` must outlive the lines. A byte order mark at its beginning is passed over, and so are
    // control characters but tabs.
    explicit ContentLines(std::string_view text);

    // The older formats fold before a blank that belongs to the text; the newer ones insert one.
    void KeepFoldBlanks(bool keep) { keepFoldBlanks_ = keep; }

    // Has control characters that are passed over noted, line by line.
    void NoteControlsIn(Remarks& remarks) { remarks_ = &remarks; }

    // The next line that is not blank. Lines end in LF, with any number of CRs before it, or in CR
    // when the text holds no LF; blank lines before a continuation belong to the fold.
    std::optional<ContentLine> Next();

    // Moves on to the next line that is not blank; its number and its place in the text.
    void SkipBlankLines();
    std::size_t LineNumber() const { return lineNumber_; }
    std::size_t Position() const { return position_; }
    // Moves on by so many bytes, to the beginning of a line.
    void Skip(std::size_t length);

  private:
    std::string_view TakeLine();
    std::string_view PeekLine() const;
    bool SkipToContinuation();
    void AppendSoftLines(std::size_t from);
    void AppendBareBase64();

    std::string_view text_;
    std::size_t position_ = 0;
    std::size_t lineNumber_ = 1;
    char lineEnd_ = '\n';
    bool keepFoldBlanks_ = false;
    bool hasControls_;
    Remarks* remarks_ = nullptr;
    std::string unfolded_;
    std::string clean_;
};

}  // namespace tarnwick
