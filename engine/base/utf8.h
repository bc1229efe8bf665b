// Characters of UTF-8 as RFC 3629 has it: no overlong forms, no surrogates, nothing above U+10FFFF.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tesk {

inline constexpr char32_t kReplacementCharacter = 0xFFFD;

struct Utf8Character {
    char32_t point = kReplacementCharacter;
    std::size_t bytes = 0; ///< 0: malformed
};

/// The character that starts at `at`, which lies within the text.
Utf8Character utf8At(std::string_view text, std::size_t at);

void appendUtf8(std::string& text, char32_t point);

bool isUtf8(std::string_view text);

/// Every byte that belongs to no well-formed character becomes U+FFFD.
std::string repairUtf8(std::string_view text);

/// Without the last character when a cut has left only its first bytes.
std::string_view withoutBrokenEnd(std::string_view text);

/// C0, DEL and C1.
inline bool isControl(char32_t point) { return point < 0x20 || (point >= 0x7F && point < 0xA0); }

} // namespace tesk
