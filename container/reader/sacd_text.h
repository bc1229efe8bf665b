// Texts, dates and genres as a disc keeps them.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace tesk {

/// The text up to its first zero byte as UTF-8 fit for a tag: control characters become blanks, blanks at either end
/// go.
/// @param charset  1 ISO 646, 2 and 7 ISO 8859-1, 3 Music Shift-JIS, 4 KSC 5601, 5 GB 2312, 6 Big5; any other is
///                 taken for ASCII
std::string sacdText(std::span<const std::uint8_t> bytes, unsigned charset);

/// The name of a genre of the general table (1); null for the other tables, and for "not used" and "not defined".
const char* sacdGenreName(unsigned table, unsigned index);

/// "YYYY-MM-DD"; "YYYY" without a proper month and day; empty without a year.
std::string sacdDate(unsigned year, unsigned month, unsigned day);

/// The bytes without the blanks around them, when all are printable ASCII; else nothing.
std::string sacdCode(std::span<const std::uint8_t> bytes);

struct SacdTrackTexts {
    std::string title, performer;
};

/// @param texts     "SACDTTxt" and everything behind it
/// @param position  of the track's items, counted from the signature; 0 for none
SacdTrackTexts sacdTrackTexts(std::span<const std::uint8_t> texts, std::size_t position, unsigned charset);

} // namespace tesk
