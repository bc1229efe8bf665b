#include "input/tags/replay_gain.h"

#include "engine/base/numbers.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <string_view>

namespace tesk {
namespace {

constexpr double kLargestNumber = 1000;
constexpr double kR128ToReplayGainDb = 5; // −18 LUFS against −23 LUFS

std::string_view trimmed(std::string_view text)
{
    const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

std::string upperCase(std::string_view text)
{
    std::string upper;
    for (const char c : text) upper += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return upper;
}

/// The gain of an R128 tag, which is an integer of 16 bits.
std::optional<double> r128Gain(const std::string& value)
{
    std::string_view text = trimmed(value);
    if (text.starts_with('+')) text.remove_prefix(1);
    int units = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), units);
    if (parsed.ec != std::errc{} || parsed.ptr != text.data() + text.size()) return {};
    if (units < -32768 || units > 32767) return {};
    return units / 256.0 + kR128ToReplayGainDb;
}

void takeGain(const std::optional<double>& value, bool isR128, std::optional<double>& gainDb, bool& fromR128)
{
    if (!value || (gainDb && !(fromR128 && !isR128))) return;
    gainDb = value;
    fromR128 = isR128;
}

void takePeak(const std::string& value, std::optional<double>& peak)
{
    const auto number = parseGainNumber(value);
    if (!peak && number && *number > 0) peak = number;
}

} // namespace

std::optional<double> parseGainNumber(const std::string& text)
{
    std::string_view number = trimmed(text);
    if (number.size() >= 2 && upperCase(number.substr(number.size() - 2)) == "DB")
        number = trimmed(number.substr(0, number.size() - 2));
    // parseNumber knows forms that no tag means: "0x10", "inf"; and it would take a second sign.
    if (number.find_first_not_of("0123456789.,eE+-") != std::string_view::npos) return {};
    if (number.size() > 1 && (number[1] == '+' || number[1] == '-')) return {};
    if (number.starts_with('+')) number.remove_prefix(1);
    std::string plain(number);
    if (const auto comma = plain.find(','); comma != std::string::npos) plain[comma] = '.';
    const auto value = parseNumber(plain);
    if (!value || std::abs(*value) > kLargestNumber) return {};
    return value;
}

void takeReplayGainTag(const std::string& name, const std::string& value, ReplayGain& gain)
{
    const std::string tag = upperCase(name);
    if (tag == "REPLAYGAIN_TRACK_GAIN") {
        takeGain(parseGainNumber(value), false, gain.trackGainDb, gain.trackFromR128);
    } else if (tag == "REPLAYGAIN_ALBUM_GAIN") {
        takeGain(parseGainNumber(value), false, gain.albumGainDb, gain.albumFromR128);
    } else if (tag == "R128_TRACK_GAIN") {
        takeGain(r128Gain(value), true, gain.trackGainDb, gain.trackFromR128);
    } else if (tag == "R128_ALBUM_GAIN") {
        takeGain(r128Gain(value), true, gain.albumGainDb, gain.albumFromR128);
    } else if (tag == "REPLAYGAIN_TRACK_PEAK") {
        takePeak(value, gain.trackPeak);
    } else if (tag == "REPLAYGAIN_ALBUM_PEAK") {
        takePeak(value, gain.albumPeak);
    }
}

} // namespace tesk
