// Pages of HTML5 that are well formed by the way they are built: what is opened is closed, and
// every text is escaped.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarnwick::admin {

// The text, for an element or an attribute in double quotes. What is no UTF-8, turns the direction
// of other texts, or may not stand in a page becomes U+FFFD; of other control characters (tabs and
// line breaks are such) the picture is shown.
std::string HtmlText(std::string_view utf8);

using HtmlAttributes = std::initializer_list<std::pair<const char*, std::string_view>>;

class Html {
  public:
    // An open element, closed at the end of its life; the innermost has to end first.
    class Element {
      public:
        explicit Element(Html& html) : html_(html) {}
        ~Element() { html_.Close(); }
        Element(const Element&) = delete;
        Element& operator=(const Element&) = delete;

      private:
        Html& html_;
    };

    Html() : page_("<!DOCTYPE html>\n") {}

    // Names of elements and attributes are the program's own and not escaped.
    [[nodiscard]] Element Open(const char* name, HtmlAttributes attributes = {});
    // A whole element with a text.
    void Add(const char* name, HtmlAttributes attributes, std::string_view text);
    void Add(const char* name, std::string_view text) { Add(name, {}, text); }
    // One that has no end tag: meta, br.
    void AddVoid(const char* name, HtmlAttributes attributes);
    void Text(std::string_view text);
    // The program's own, which holds no end tag.
    void Style(std::string_view sheet);

    const std::string& Page() const { return page_; }

  private:
    void Start(const char* name, HtmlAttributes attributes);
    void Close();

    std::string page_;
    std::vector<const char*> open_;
};

struct HtmlColumn {
    const char* title;
    bool isNumber = false;
};
// A table that scrolls by itself where it is too wide; `label` says what it is. The first cell of
// each row, which are as long as there are columns, is its heading. Empty `totals`: none.
void AddTable(Html& html, std::string_view label, const std::vector<HtmlColumn>& columns,
              const std::vector<std::vector<std::string>>& rows,
              const std::vector<std::string>& totals = {});

}  // namespace tarnwick::admin
