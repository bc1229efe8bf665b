#include "engine/options/custom_values.h"

#include "engine/base/numbers.h"
#include "engine/options/messages.h"

#include <cmath>
#include <cstring>

namespace tesk {
namespace {

/// The pieces between separators, empty ones included.
std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> pieces(1);
    for (const char c : text)
        if (c == separator)
            pieces.emplace_back();
        else
            pieces.back() += c;
    return pieces;
}

std::string withoutPrefix(const std::string& text, std::string_view prefix)
{
    return text.starts_with(prefix) ? text.substr(prefix.size()) : text;
}

std::optional<ParametricBand> parseBand(const std::string& text)
{
    const auto fields = split(text, ',');
    if (fields.size() != 3 || fields[2].empty()) return {};
    ParametricBand band;
    std::string width = fields[2];
    if (std::strchr("hkoqs", width.back())) {
        band.unit = width.back();
        width.pop_back();
    }
    const auto centre = parseNumber(fields[0]), gain = parseNumber(fields[1]), size = parseNumber(width);
    if (!centre || !gain || !size || *centre <= 0 || *size <= 0) return {};
    band.centreHz = *centre;
    band.gainDb = *gain;
    band.width = *size;
    return band;
}

std::optional<CompandPoint> parsePoint(const std::string& text)
{
    const auto fields = split(text, ',');
    if (fields.size() != 2) return {};
    const auto in = parseNumber(fields[0]), out = parseNumber(fields[1]);
    if (!in || !out) return {};
    return CompandPoint{*in, *out};
}

/// Every ';'-separated piece of `text` through `parse`; empty when one of them is not well formed.
template <class T>
std::vector<T> parseList(const std::string& text, std::optional<T> (*parse)(const std::string&))
{
    std::vector<T> list;
    for (const std::string& piece : split(text, ';')) {
        const auto item = parse(piece);
        if (!item) return {};
        list.push_back(*item);
    }
    return list;
}

} // namespace

bool applyMash(OptionUse& use)
{
    ConversionSettings& settings = use.settings;
    const ConversionSettings fresh;
    settings.mash = true;
    settings.mashTopology = fresh.mashTopology; // each use says all of it
    settings.mashErrorFeedback = fresh.mashErrorFeedback;
    while (const std::string* next = use.arguments.peek()) {
        const std::string topology = withoutPrefix(*next, "topo:");
        const std::string feedback = withoutPrefix(*next, "efm:");
        if (topology == "421" || topology == "222" || topology == "111") {
            settings.mashTopology = *parseInteger(topology);
        } else if (topology == "3") {
            use.report.err("Warning: MASH 3-order not supported, using 2-order\n");
            settings.mashTopology = 421;
        } else if (feedback == "fir2" || feedback == "iir2") {
            settings.mashErrorFeedback = feedback;
        } else {
            break;
        }
        use.arguments.take();
    }
    return true;
}

bool applyNumberList(OptionUse& use)
{
    std::vector<double> list;
    while (const auto value = use.arguments.takeNumber()) list.push_back(*value);
    if (list.empty()) return use.reject(missingText(use.option));
    use.settings.*std::get<std::vector<double> ConversionSettings::*>(use.option.destination) = list;
    return true;
}

bool applyEqBand(OptionUse& use)
{
    const std::string* fields[3];
    for (const std::string*& field : fields) field = use.arguments.take();
    if (!fields[2]) return use.reject(missingText(use.option));
    const auto centre = parseInteger(*fields[0]);
    const auto gain = parseNumber(*fields[1]);
    const auto width = parseInteger(*fields[2]);
    if (!centre || !gain || !width || *centre <= 0 || *width <= 0) return use.reject(missingText(use.option));
    use.settings.eqBands.push_back({*centre, *gain, *width});
    return true;
}

bool applyHarmonics(OptionUse& use)
{
    const std::string* ratio = use.arguments.take();
    if (!ratio) return use.reject(missingText(use.option));
    const auto value = parseNumber(*ratio);
    if (!value || *value > 1) return use.reject(notNumberText(use.option));
    if (*value <= 0) return use.reject(invalidText(use.option));
    if (use.arguments.atEnd()) return use.reject("Missing value for --mode");
    use.settings.harmonicsMode = use.arguments.takeWord({"tanh", "poly", "softclip", "fullwave", "tape"});
    if (use.settings.harmonicsMode.empty())
        return use.reject("Invalid mode. Valid options: tanh, poly, softclip, fullwave, tape");
    use.settings.harmonicsMix = *value;
    return true;
}

bool applyGainDb(OptionUse& use)
{
    const auto db = use.arguments.takeNumber();
    const double gain = db ? std::pow(10.0, *db / 20) : 0.0;
    if (!std::isnormal(gain)) return use.reject(missingText(use.option)); // no gain can be that small or large
    use.settings.inputGain = gain;
    return true;
}

bool applyHeadroom(OptionUse& use)
{
    if (!use.arguments.takeWord({"auto"}).empty()) {
        use.settings.headroom = {Headroom::Kind::automatic, 0.0};
        return true;
    }
    const auto db = use.arguments.takeNumber();
    if (!db || !use.option.range.contains(*db)) return use.reject(missingText(use.option));
    use.settings.headroom = {Headroom::Kind::fixed, *db};
    return true;
}

bool applyParametricEq(OptionUse& use)
{
    const std::string* text = use.arguments.take();
    if (!text) return use.reject(missingText(use.option));
    const auto bands = parseList<ParametricBand>(*text, parseBand);
    if (bands.empty()) return use.reject(missingText(use.option));
    use.settings.parametricBands = bands;
    return true;
}

bool applyCrossfeed(OptionUse& use)
{
    const std::string kind = use.arguments.takeWord({"meier", "custom"});
    if (kind.empty()) return use.reject(missingText(use.option));
    use.settings.crossfeed = kind;
    use.settings.crossfeedLowGain = use.arguments.takeNumber();
    use.settings.crossfeedHighGain = use.settings.crossfeedLowGain ? use.arguments.takeNumber() : std::nullopt;
    return true;
}

bool applyCompressor(OptionUse& use)
{
    ConversionSettings& settings = use.settings;
    settings.compressorThresholdDb = use.arguments.takeNumber();
    settings.compressorRatio = settings.compressorThresholdDb ? use.arguments.takeNumber() : std::nullopt;
    if (!settings.compressorRatio || *settings.compressorRatio <= 0) return use.reject(missingText(use.option));
    settings.compressorKnee = use.arguments.takeWord({"soft", "hard"});
    settings.compressorAttackMs = use.arguments.takeNumber();
    settings.compressorReleaseMs = settings.compressorAttackMs ? use.arguments.takeNumber() : std::nullopt;
    return true;
}

bool applySurround(OptionUse& use)
{
    ConversionSettings& settings = use.settings;
    settings.surroundDelayMs = use.arguments.takeNumber();
    if (!settings.surroundDelayMs) return use.reject(missingText(use.option));
    settings.surroundMix = use.arguments.takeNumber();
    settings.surroundSide = !use.arguments.takeWord({"side"}).empty();
    const bool more = settings.surroundMix || settings.surroundSide;
    settings.surroundBalance = more ? use.arguments.takeNumber() : std::nullopt;
    return true;
}

bool applyCompand(OptionUse& use)
{
    const std::string* text = use.arguments.take();
    if (!text) return use.reject(missingText(use.option));
    const auto points = parseList<CompandPoint>(*text, parsePoint);
    if (points.empty()) return use.reject(missingText(use.option));
    use.settings.compandPoints = points;
    use.settings.compandAttackMs = use.arguments.takeNumber();
    use.settings.compandReleaseMs = use.settings.compandAttackMs ? use.arguments.takeNumber() : std::nullopt;
    return true;
}

bool applyNoiseProfile(OptionUse& use)
{
    const std::string* path = use.arguments.take();
    if (!path || path->empty()) return use.reject(missingText(use.option));
    use.settings.noiseProfilePath = *path;
    use.settings.noiseProfileSeconds = use.arguments.takeNumber();
    if (use.settings.noiseProfileSeconds.value_or(1) > 0) return true;
    return use.reject("Error : --noise-profile needs a duration above 0 s.");
}

bool applyOptionalFile(OptionUse& use)
{
    if (const std::string* path = use.arguments.takeOptionalFile())
        use.settings.*std::get<std::string ConversionSettings::*>(use.option.destination) = *path;
    return true;
}

bool applyFileList(OptionUse& use)
{
    std::vector<std::string> list;
    while (const std::string* path = use.arguments.takeOptionalFile()) list.push_back(*path);
    if (list.empty()) return use.reject(missingText(use.option));
    use.settings.*std::get<std::vector<std::string> ConversionSettings::*>(use.option.destination) = list;
    return true;
}

bool skipHostArgument(OptionUse& use)
{
    if (use.option.takesValue()) use.arguments.take();
    return true;
}

} // namespace tesk
