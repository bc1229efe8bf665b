#include "tools/option_docs/roff.h"

#include "engine/base/reporter.h"
#include "engine/base/utf8.h"
#include "engine/options/options.h"

#include <algorithm>

namespace tesk::docs {
namespace {

constexpr std::size_t kSourceWidth = 78; // bytes of a line; roff fills its own
constexpr const char* kDate = "2026-11-21";

/// The name and number in front of what the banner says of the program.
std::string programVersion()
{
    const std::string banner = versionBanner();
    return banner.substr(0, banner.find(" ("));
}

/// Calls visit(line) for each line, without its line feed.
template <class Visit>
void forEachLine(std::string_view text, Visit visit)
{
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        visit(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
}

std::string guarded(const std::string& line)
{
    return line.starts_with('.') || line.starts_with('\'') ? "\\&" + line : line;
}

} // namespace

std::string roffText(std::string_view text)
{
    std::string source;
    for (std::size_t at = 0; at < text.size();) {
        const Utf8Character character = utf8At(text, at);
        switch (character.point) {
        case '\\': source += "\\e"; break;
        case '-': source += "\\-"; break;
        case '\'': source += "\\(aq"; break;
        case '`': source += "\\(ga"; break;
        case '^': source += "\\(ha"; break;
        case '~': source += "\\(ti"; break;
        default:
            if (character.point < 0x80)
                source += static_cast<char>(character.point);
            else
                source += format("\\[u%04X]", static_cast<unsigned>(character.point));
        }
        at += character.bytes == 0 ? 1 : character.bytes;
    }
    return source;
}

RoffPage::RoffPage(std::string_view name, std::string_view section, std::string_view description)
{
    std::string title;
    for (const char c : name) title += static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
    text_ = ".\\\" Made from the option table at build time.\n.TH " + roffText(title) + " " + std::string(section) +
            " " + kDate + " \"" + programVersion() + "\"\n";
    heading("Name");
    text_ += roffText(name) + " \\- " + roffText(description) + "\n";
}

RoffPage& RoffPage::heading(std::string_view text)
{
    text_ += ".SH ";
    for (const char c : roffText(text)) text_ += static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
    text_ += '\n';
    afterHeading_ = true;
    return *this;
}

RoffPage& RoffPage::subheading(std::string_view text)
{
    text_ += ".SS " + roffText(text) + "\n";
    afterHeading_ = true;
    return *this;
}

RoffPage& RoffPage::paragraph(std::string_view text)
{
    if (!afterHeading_) text_ += ".PP\n";
    afterHeading_ = false;
    fill(text);
    return *this;
}

RoffPage& RoffPage::source(std::string_view line)
{
    text_.append(line) += '\n';
    afterHeading_ = false;
    return *this;
}

RoffPage& RoffPage::item(const std::string& tag, std::string_view text)
{
    text_ += ".TP\n" + guarded(tag) + "\n";
    bool first = true;
    forEachLine(text, [&](std::string_view line) {
        if (!first) text_ += ".br\n";
        first = false;
        fill(line);
    });
    afterHeading_ = false;
    return *this;
}

RoffPage& RoffPage::example(std::string_view lines)
{
    if (!afterHeading_) text_ += ".PP\n";
    afterHeading_ = false;
    text_ += ".RS 4\n.nf\n";
    forEachLine(lines, [&](std::string_view line) { text_ += guarded(roffText(line)) + "\n"; });
    text_ += ".fi\n.RE\n";
    return *this;
}

void RoffPage::fill(std::string_view text)
{
    std::string line;
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t end = std::min(text.find(' ', at), text.size());
        const std::string word = roffText(text.substr(at, end - at));
        at = end + 1;
        if (word.empty()) continue;
        if (!line.empty() && line.size() + 1 + word.size() > kSourceWidth) {
            text_ += guarded(line) + "\n";
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
    }
    if (!line.empty()) text_ += guarded(line) + "\n";
}

} // namespace tesk::docs
