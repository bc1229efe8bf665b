#include "container/reader/sacd_text.h"

#include "engine/base/reporter.h"
#include "engine/base/utf8.h"
#include "platform/charset.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace tesk {
namespace {

/// The system's names of a character set, the one with more of the characters that discs use first.
std::array<const char*, 2> systemNames(unsigned charset)
{
    switch (charset) {
    case 2:
    case 7: return {"ISO-8859-1", "LATIN1"};
    case 3: return {"CP932", "SHIFT_JIS"};
    case 4: return {"CP949", "EUC-KR"};
    case 5: return {"CP936", "GB2312"};
    case 6: return {"CP950", "BIG5"};
    default: return {"ASCII", "US-ASCII"};
    }
}

std::string converted(std::string_view bytes, unsigned charset)
{
    for (const char* name : systemNames(charset))
        if (auto text = platform::textToUtf8(bytes, name)) return *std::move(text);
    std::string ascii; // a system without these tables
    for (const char c : bytes) appendUtf8(ascii, static_cast<unsigned char>(c) < 0x80 ? c : kReplacementCharacter);
    return ascii;
}

std::string trimmed(std::string_view text)
{
    const std::size_t begin = text.find_first_not_of(' ');
    if (begin == std::string_view::npos) return {};
    return std::string(text.substr(begin, text.find_last_not_of(' ') - begin + 1));
}

} // namespace

std::string sacdText(std::span<const std::uint8_t> bytes, unsigned charset)
{
    const auto end = std::find(bytes.begin(), bytes.end(), std::uint8_t{0});
    const std::string text =
        repairUtf8(converted({reinterpret_cast<const char*>(bytes.data()), std::size_t(end - bytes.begin())}, charset));
    std::string clean;
    for (std::size_t at = 0; at < text.size();) {
        const Utf8Character character = utf8At(text, at);
        appendUtf8(clean, isControl(character.point) ? U' ' : character.point);
        at += character.bytes;
    }
    return trimmed(clean);
}

const char* sacdGenreName(unsigned table, unsigned index)
{
    static constexpr const char* kNames[] = {"Adult Contemporary",
                                             "Alternative Rock",
                                             "Children's",
                                             "Classical",
                                             "Contemporary Christian",
                                             "Country",
                                             "Dance",
                                             "Easy Listening",
                                             "Erotic",
                                             "Folk",
                                             "Gospel",
                                             "Hip Hop",
                                             "Jazz",
                                             "Latin",
                                             "Musical",
                                             "New Age",
                                             "Opera",
                                             "Operetta",
                                             "Pop",
                                             "Rap",
                                             "Reggae",
                                             "Rock",
                                             "Rhythm & Blues",
                                             "Sound Effects",
                                             "Soundtrack",
                                             "Spoken Word",
                                             "World",
                                             "Blues"};
    constexpr unsigned kFirst = 2;
    return table == 1 && index >= kFirst && index - kFirst < std::size(kNames) ? kNames[index - kFirst] : nullptr;
}

std::string sacdDate(unsigned year, unsigned month, unsigned day)
{
    if (year == 0 || year > 9999) return {};
    if (month < 1 || month > 12 || day < 1 || day > 31) return format("%04u", year);
    return format("%04u-%02u-%02u", year, month, day);
}

std::string sacdCode(std::span<const std::uint8_t> bytes)
{
    const auto end = std::find(bytes.begin(), bytes.end(), std::uint8_t{0});
    if (!std::all_of(bytes.begin(), end, [](std::uint8_t c) { return c >= ' ' && c <= '~'; })) return {};
    return trimmed(std::string(bytes.begin(), end));
}

SacdTrackTexts sacdTrackTexts(std::span<const std::uint8_t> texts, std::size_t position, unsigned charset)
{
    constexpr std::size_t kLongest = 255; // bytes; a longer text is a damaged one
    constexpr std::uint8_t kTitle = 1, kPerformer = 2, kBehindType = 0x20;
    SacdTrackTexts found;
    if (position == 0 || position >= texts.size()) return found;
    unsigned items = texts[position];
    for (std::size_t at = position + 4; items > 0 && at + 2 < texts.size(); --items) {
        if (texts[at + 1] != kBehindType) break; // fewer items than announced
        const auto text = texts.subspan(at + 2);
        const auto end = std::find(text.begin(), text.end(), std::uint8_t{0});
        const auto length = static_cast<std::size_t>(end - text.begin());
        if (length > kLongest || end == text.end()) break;
        std::string* const field = texts[at] == kTitle       ? &found.title
                                   : texts[at] == kPerformer ? &found.performer
                                                             : nullptr;
        if (field && field->empty()) *field = sacdText(text.first(length), charset);
        at += 2 + length;
        while (at < texts.size() && texts[at] == 0) ++at;
    }
    return found;
}

} // namespace tesk
