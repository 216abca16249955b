// BEGIN and END: the components that property lines stand in.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "common/Text.h"
#include "Library/convert/ContentLines.h"
#include "Library/convert/Remarks.h"
#include "Library/convert/TextEncoding.h"

namespace tarnwick {

// A component whose BEGIN has been read.
struct OpenComponent {
    std::string name;
    std::size_t line = 0;

    bool Is(std::string_view other) const { return EqualsIgnoreCase(name, other); }
};

// The component that a line begins; nothing when it is another line.
std::optional<OpenComponent> BeginningOf(const ContentLine& line);

// Whether a line is the END of `open`. Throws ReadFailure for the END of something else.
bool IsEndOf(const ContentLine& line, const OpenComponent& open);

// Throws ReadFailure for bytes with a NUL among them.
void RequireText(std::string_view text);

// What `read` makes of a text, which is in UTF-16 where its byte order mark says so; a Reading with
// the failure when that or RequireText throws ReadFailure.
template <typename Reading>
Reading ReadingOf(std::string_view text, Reading (*read)(std::string_view)) try {
    const std::optional<std::string> converted = Utf8OfUtf16(text);
    if (converted) text = *converted;
    RequireText(text);
    return read(text);
} catch (const ReadFailure& failure) {
    Reading failed;
    failed.failure = failure.problem;
    return failed;
}

// A short form of file text that is fit to be shown.
std::string Excerpt(std::string_view text);

// What there is to say of a line that does not begin with a name.
std::string NotAProperty(const ContentLine& line);

// The next line of an open component. Throws ReadFailure when the text ends before it.
ContentLine NextLineIn(ContentLines& lines, const OpenComponent& open);

// Reads an open component with what is in it, whatever its lines are: `onLine` gets each of them
// behind its BEGIN, its END included. Throws ReadFailure for components that do not end, end in the
// wrong order or are nested deeper than any real ones.
void ReadWhole(ContentLines& lines, OpenComponent open,
               const std::function<void(const ContentLine&)>& onLine);

// The same without a look at the lines.
void SkipComponent(ContentLines& lines, OpenComponent open);

// Reads an open component to its END: `onChild` gets each component begun in it, which it must
// read to its end, and `onLine` each other line, those that are no property included.
template <typename OnChild, typename OnLine>
void ReadComponent(ContentLines& lines, const OpenComponent& open, OnChild onChild, OnLine onLine) {
    for (;;) {
        const ContentLine line = NextLineIn(lines, open);
        if (IsEndOf(line, open)) return;
        if (const auto child = BeginningOf(line)) {
            onChild(*child);
        } else {
            onLine(line);
        }
    }
}

}  // namespace tarnwick
