#include "engine/base/utf8.h"

namespace tesk {
namespace {

unsigned byteAt(std::string_view text, std::size_t at)
{
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0u;
}

/// Bytes of a character that begins with `lead`; 0 when none does.
std::size_t lengthByLead(unsigned lead)
{
    if (lead < 0x80) return 1;
    if (lead < 0xC2 || lead > 0xF4) return 0;
    return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

} // namespace

// Source: the Unicode Standard 15.0, table 3-7.
Utf8Character utf8At(std::string_view text, std::size_t at)
{
    const unsigned lead = byteAt(text, at), second = byteAt(text, at + 1);
    const std::size_t length = lengthByLead(lead);
    if (length == 0) return {};
    if (length == 1) return {lead, 1};
    // The range of the second byte keeps out overlong forms, surrogates and what lies above U+10FFFF.
    const unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const unsigned high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    if (second < low || second > high) return {};
    char32_t point = lead & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byteAt(text, at + i) & 0xC0) != 0x80) return {};
        point = point << 6 | (byteAt(text, at + i) & 0x3F);
    }
    return {point, length};
}

void appendUtf8(std::string& text, char32_t point)
{
    const auto put = [&](char32_t bits) { text += static_cast<char>(bits); };
    const auto tail = [&](int shift) { put(0x80 | (point >> shift & 0x3F)); };
    if (point < 0x80) return put(point);
    if (point < 0x800) {
        put(0xC0 | point >> 6);
    } else {
        if (point < 0x10000) {
            put(0xE0 | point >> 12);
        } else {
            put(0xF0 | point >> 18);
            tail(12);
        }
        tail(6);
    }
    tail(0);
}

bool isUtf8(std::string_view text)
{
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t bytes = utf8At(text, at).bytes;
        if (bytes == 0) return false;
        at += bytes;
    }
    return true;
}

std::string repairUtf8(std::string_view text)
{
    std::string repaired;
    repaired.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const Utf8Character character = utf8At(text, at);
        appendUtf8(repaired, character.point);
        at += character.bytes == 0 ? 1 : character.bytes;
    }
    return repaired;
}

std::string_view withoutBrokenEnd(std::string_view text)
{
    for (std::size_t back = 1; back <= 3 && back <= text.size(); ++back) {
        const unsigned byte = byteAt(text, text.size() - back);
        if ((byte & 0xC0) == 0x80) continue;
        return lengthByLead(byte) > back ? text.substr(0, text.size() - back) : text;
    }
    return text;
}

} // namespace tesk
