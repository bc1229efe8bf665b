#include "input/trace_path.h"

#include <cstdlib>

namespace tesk {
namespace {

struct Decoded {
    char32_t point;
    std::size_t bytes;
};

/// The character at `at`. Overlong forms, surrogates and values above U+10FFFF are malformed (RFC 3629).
Decoded decodeAt(const std::string& text, std::size_t at)
{
    constexpr Decoded malformed{0xFFFD, 1};
    const auto byte = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u; };
    const unsigned first = byte(at);
    if (first < 0x80) return {first, 1};
    if (first < 0xC2 || first > 0xF4) return malformed;
    const std::size_t length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    char32_t point = first & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80) return malformed;
        point = point << 6 | (byte(at + i) & 0x3F);
    }
    const char32_t smallest = length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
    if (point < smallest || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) return malformed;
    return {point, length};
}

} // namespace

std::u16string utf16(const std::string& text)
{
    std::u16string units;
    for (std::size_t at = 0; at < text.size();) {
        const auto [point, bytes] = decodeAt(text, at);
        at += bytes;
        if (point < 0x10000) {
            units += static_cast<char16_t>(point);
            continue;
        }
        units += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
        units += static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
    }
    return units;
}

void tracePath(const std::string& path, bool opened, Reporter& report)
{
    if (!std::getenv("TESK_TRACE_PATH")) return;
    std::string text = "TRACE path_bytes:";
    for (const char c : path) text += format(" %02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
    std::string units;
    for (const char16_t unit : utf16(path)) units += format(" %04X", static_cast<unsigned>(unit));
    text += "\nTRACE wide_utf8:" + units + "\nTRACE wide_ansi:" + units;
    text += format("\nTRACE drwav_init_file_w(utf8)=%d (ansi)=%d\n", opened ? 1 : 0, 0);
    report.error("%s", text.c_str());
}

} // namespace tesk
