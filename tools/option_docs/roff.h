// A manual page in the man macros, which every man program reads. Source: man(7) of mandoc and groff.
#pragma once

#include <string>
#include <string_view>

namespace tesk::docs {

/// Plain text as roff source: no byte of it is taken for a request, dashes stay dashes, other than ASCII is named.
std::string roffText(std::string_view text);

inline std::string bold(std::string_view text) { return "\\fB" + roffText(text) + "\\fR"; }
inline std::string italic(std::string_view text) { return "\\fI" + roffText(text) + "\\fR"; }

/// Builds a page from top to bottom. Texts are plain and broken into lines; tags are roff source on one line.
class RoffPage {
public:
    /// @param name         of the page, "tesk"
    /// @param section      of the manual, "1"
    /// @param description  behind the name in its first section
    RoffPage(std::string_view name, std::string_view section, std::string_view description);

    RoffPage& heading(std::string_view text);
    RoffPage& subheading(std::string_view text);
    RoffPage& paragraph(std::string_view text);
    /// A line of roff source as it stands.
    RoffPage& source(std::string_view line);
    /// A tag with an indented text; a line feed in the text begins a new line of the page.
    RoffPage& item(const std::string& tag, std::string_view text);
    /// Lines in the letters of a terminal, indented and unbroken.
    RoffPage& example(std::string_view lines);

    const std::string& text() const { return text_; }

private:
    void fill(std::string_view text);

    std::string text_;
    bool afterHeading_ = false; // where a paragraph macro would be empty
};

} // namespace tesk::docs
