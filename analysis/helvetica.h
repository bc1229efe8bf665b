// The typeface of the reports: its character set in a PDF and how wide its letters are.
#pragma once

#include <string>
#include <string_view>

namespace tesk::analysis {

/// The text in WinAnsiEncoding (Windows code page 1252). What has no place there becomes '?', a control character a
/// space.
std::string toWinAnsi(std::string_view utf8);

/// Width of one line of text in points. Source: Adobe's font metrics for Helvetica.
double textWidth(std::string_view utf8, double size);

} // namespace tesk::analysis
