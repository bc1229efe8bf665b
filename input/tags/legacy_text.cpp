#include "input/tags/legacy_text.h"

namespace tesk {
namespace {

unsigned byteAt(std::string_view text, std::size_t at)
{
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0u;
}

} // namespace

std::string utf16ToUtf8(std::string_view bytes, ByteOrder order)
{
    const auto unit = [&](std::size_t i) -> char32_t {
        const unsigned first = byteAt(bytes, 2 * i), second = byteAt(bytes, 2 * i + 1);
        return order == ByteOrder::little ? second << 8 | first : first << 8 | second;
    };
    const auto isHalf = [](char32_t value, char32_t base) { return value >= base && value < base + 0x400; };
    constexpr char32_t high = 0xD800, low = 0xDC00;
    std::string text;
    const std::size_t units = bytes.size() / 2;
    for (std::size_t i = 0; i < units; ++i) {
        char32_t point = unit(i);
        if (isHalf(point, high) && i + 1 < units && isHalf(unit(i + 1), low))
            point = 0x10000 + ((point - high) << 10) + (unit(++i) - low);
        else if (isHalf(point, high) || isHalf(point, low))
            point = kReplacementCharacter;
        appendUtf8(text, point);
    }
    return text;
}

std::string windows1252ToUtf8(std::string_view bytes)
{
    constexpr char16_t from80[32] = {0x20AC, 0xFFFD, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                     0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0xFFFD, 0x017D, 0xFFFD,
                                     0xFFFD, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                     0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0xFFFD, 0x017E, 0x0178};
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const unsigned byte = byteAt(bytes, i);
        appendUtf8(text, byte >= 0x80 && byte < 0xA0 ? from80[byte - 0x80] : byte);
    }
    return text;
}

DecodedText decodeTextFile(std::string_view bytes)
{
    if (bytes.starts_with("\xEF\xBB\xBF")) return {repairUtf8(bytes.substr(3)), false};
    if (bytes.starts_with("\xFF\xFE")) return {utf16ToUtf8(bytes.substr(2), ByteOrder::little), false};
    if (bytes.starts_with("\xFE\xFF")) return {utf16ToUtf8(bytes.substr(2), ByteOrder::big), false};
    return {std::string(bytes), !isUtf8(bytes)};
}

} // namespace tesk
