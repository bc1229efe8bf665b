#include "analysis/helvetica.h"

#include "engine/base/utf8.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>

namespace tesk::analysis {
namespace {

constexpr unsigned kFirst = 0x20;

// Thousandths of the size, from the space on; codes without a character count as a bullet.
constexpr std::array<std::uint16_t, 256 - kFirst> kWidths{
    278,  278, 355, 556, 556, 889,  667,  191,  333, 333,  389, 584, 278,  333, 278, 278,  // 0x20
    556,  556, 556, 556, 556, 556,  556,  556,  556, 556,  278, 278, 584,  584, 584, 556,  // 0x30
    1015, 667, 667, 722, 722, 667,  611,  778,  722, 278,  500, 667, 556,  833, 722, 778,  // 0x40
    667,  778, 722, 667, 611, 722,  667,  944,  667, 667,  611, 278, 278,  278, 469, 556,  // 0x50
    333,  556, 556, 500, 556, 556,  278,  556,  556, 222,  222, 500, 222,  833, 556, 556,  // 0x60
    556,  556, 333, 500, 278, 556,  500,  722,  500, 500,  500, 334, 260,  334, 584, 350,  // 0x70
    556,  350, 222, 556, 333, 1000, 556,  556,  333, 1000, 667, 333, 1000, 350, 611, 350,  // 0x80
    350,  222, 222, 333, 333, 350,  556,  1000, 333, 1000, 500, 333, 944,  350, 500, 667,  // 0x90
    278,  333, 556, 556, 556, 556,  260,  556,  333, 737,  370, 556, 584,  333, 737, 333,  // 0xA0
    400,  584, 333, 333, 333, 556,  537,  278,  333, 333,  365, 556, 834,  834, 834, 611,  // 0xB0
    667,  667, 667, 667, 667, 667,  1000, 722,  667, 667,  667, 667, 278,  278, 278, 278,  // 0xC0
    722,  722, 778, 778, 778, 778,  778,  584,  778, 722,  722, 722, 722,  667, 667, 611,  // 0xD0
    556,  556, 556, 556, 556, 556,  889,  500,  556, 556,  556, 556, 278,  278, 278, 278,  // 0xE0
    556,  556, 556, 556, 556, 556,  556,  584,  611, 556,  556, 556, 556,  500, 556, 500}; // 0xF0

// Where code page 1252 leaves Latin-1; 0: no character. Source: the Unicode Consortium's CP1252.TXT.
constexpr char32_t kExtra[] = {0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
                               0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
                               0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

char codeOf(char32_t point)
{
    if (isControl(point)) return ' ';
    if (point < 0x100) return static_cast<char>(point);
    if (point == 0x2212) return '-'; // the minus sign
    const auto* at = std::find(std::begin(kExtra), std::end(kExtra), point);
    return at == std::end(kExtra) ? '?' : static_cast<char>(0x80 + (at - std::begin(kExtra)));
}

} // namespace

std::string toWinAnsi(std::string_view utf8)
{
    std::string out;
    for (std::size_t i = 0; i < utf8.size();) {
        const Utf8Character c = utf8At(utf8, i);
        out += codeOf(c.point);
        i += std::max<std::size_t>(c.bytes, 1);
    }
    return out;
}

double textWidth(std::string_view utf8, double size)
{
    unsigned thousandths = 0;
    for (char c : toWinAnsi(utf8)) thousandths += kWidths[static_cast<unsigned char>(c) - kFirst];
    return thousandths * size / 1000.0;
}

} // namespace tesk::analysis
