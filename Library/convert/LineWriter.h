// Takes content lines over as RFC 5545 has them, whatever format they came in.
#pragma once

#include <string>
#include <string_view>

#include "Library/convert/ContentLines.h"
#include "Library/convert/Remarks.h"
#include "Library/convert/ValueText.h"

namespace tarnwick {

// Each function appends one line to `lines`: unfolded, in UTF-8, ended by "\n".
class LineWriter {
  public:
    LineWriter(Escapes escapes, Remarks& remarks) : escapes_(escapes), remarks_(remarks) {}

    void SetEscapes(Escapes escapes) { escapes_ = escapes; }

    // A line as it is; one that is encoded, or of the older format, decoded and escaped anew.
    void Append(std::string& lines, const ContentLine& line);

    // A line with another value, which is already standard, and with one more parameter
    // (";NAME=value") when it is not empty.
    void AppendValue(std::string& lines, const ContentLine& line, std::string_view value,
                     std::string_view parameter = {});

  private:
    void AppendUtf8(std::string& lines, std::string_view bytes, std::size_t number);
    void AppendName(std::string& lines, const ContentLine& line);
    std::string Utf8Value(const ContentLine& line);
    std::string StandardValue(const ContentLine& line);

    Escapes escapes_;
    Remarks& remarks_;
};

}  // namespace tarnwick
