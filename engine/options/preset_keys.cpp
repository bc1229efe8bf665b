#include "engine/options/preset_keys.h"

#include <algorithm>
#include <iterator>
#include <optional>

namespace tesk {
namespace {

using S = ConversionSettings;
using Kind = JsonValue::Kind;

JsonValue toJson(bool value) { return JsonValue::ofBoolean(value); }
JsonValue toJson(int value) { return JsonValue::ofInteger(value); }
JsonValue toJson(double value) { return JsonValue::ofNumber(value); }
JsonValue toJson(const std::string& value) { return JsonValue::ofText(value); }
JsonValue toJson(std::optional<double> value) { return JsonValue::ofNumber(value.value_or(0.0)); }

void fromJson(const JsonValue& json, bool& value) { value = json.boolean; }
void fromJson(const JsonValue& json, int& value) { value = static_cast<int>(json.number); }
void fromJson(const JsonValue& json, double& value) { value = json.number; }
void fromJson(const JsonValue& json, std::string& value) { value = json.text; }
void fromJson(const JsonValue& json, std::optional<double>& value)
{
    value = json.number == 0 ? std::nullopt : std::optional(json.number);
}

constexpr Kind kindFor(bool S::*) { return Kind::boolean; }
constexpr Kind kindFor(int S::*) { return Kind::integer; }
constexpr Kind kindFor(double S::*) { return Kind::number; }
constexpr Kind kindFor(std::optional<double> S::*) { return Kind::number; }
constexpr Kind kindFor(std::string S::*) { return Kind::text; }

/// A key that stands for one member of the record.
template <auto Member>
constexpr PresetKey member(const char* name, const char* option, bool marks = true,
                           std::span<const Choice> choices = {})
{
    return {.name = name,
            .option = option,
            .kind = kindFor(Member),
            .get = [](const S& s) { return toJson(s.*Member); },
            .set = [](S& s, const JsonValue& value) { fromJson(value, s.*Member); },
            .marks = marks,
            .choices = choices};
}

/// A value of an option that another key switches on.
template <auto Member>
constexpr PresetKey valueOf(const char* name, const char* option, std::span<const Choice> choices = {})
{
    return member<Member>(name, option, false, choices);
}

/// The key of one window: windowType is `Type`, or was and falls back to Kaiser.
template <int Type>
constexpr PresetKey window(const char* name)
{
    return {.name = name,
            .option = "--window-type",
            .kind = Kind::boolean,
            .get = [](const S& s) { return toJson(s.windowType == Type); },
            .set =
                [](S& s, const JsonValue& value) {
                    if (value.boolean)
                        s.windowType = Type;
                    else if (s.windowType == Type)
                        s.windowType = 0;
                }};
}

constexpr PresetKey unused(const char* name, Kind kind) { return {.name = name, .option = nullptr, .kind = kind}; }

JsonValue getOrder(const S& s) { return toJson(s.orderGiven ? s.order : 0); }
void setOrder(S& s, const JsonValue& value)
{
    s.orderGiven = value.number != 0;
    s.order = s.orderGiven ? static_cast<int>(value.number) : S{}.order;
}

JsonValue getThresholdUse(const S& s) { return toJson(s.noiseThresholdDb.has_value()); }
void setThresholdUse(S& s, const JsonValue& value)
{
    s.noiseThresholdDb = value.boolean ? std::optional(s.noiseThresholdDb.value_or(0.0)) : std::nullopt;
}

JsonValue getHarmonics(const S& s) { return toJson(s.harmonics); }
void setHarmonics(S& s, const JsonValue& value)
{
    s.harmonics = value.boolean;
    s.harmonicsMode = value.boolean ? "tanh" : ""; // presets have no key for it
}

JsonValue getExpander(const S& s) { return toJson(!s.stereoExpander.empty()); }
void setExpander(S& s, const JsonValue& value) { s.stereoExpander = value.boolean ? "default" : ""; }

JsonValue getCompander(const S& s) { return toJson(!s.compandPoints.empty()); }
void setCompander(S& s, const JsonValue& value)
{
    if (!value.boolean) s.compandPoints.clear();
}

constexpr Choice kMashTopologies[] = {{"4-2-1", 421}, {"2-2-2", 222}, {"1-1-1", 111}};

constexpr PresetKey kKeys[] = {
    member<&S::musicType>("classification", "--music-type"),
    member<&S::oversampling>("oversampling", "--oversampling"),
    {.name = "order", .option = "--order", .kind = Kind::integer, .get = getOrder, .set = setOrder},
    member<&S::unsrs>("SRS", "--unsrs"),
    unused("channelType", Kind::integer),
    member<&S::mash>("useMash", "--mash"),
    valueOf<&S::mashTopology>("mashType", "--mash", kMashTopologies),
    member<&S::sosEfOrder>("efmOrder", "--sos-ef"),
    member<&S::psychoacoustic>("use_psychoacoustic_ntf", "--psy"),
    member<&S::psyStrategy>("psy_strategy", "--psy-strategy"),
    member<&S::apodizingMode>("apodizing_mode", "--apo"),
    // The switch behind the value: both live in one field of the record.
    valueOf<&S::noiseThresholdDb>("noise_threshold", "--noise-threshold"),
    {.name = "apply_noiseThreshold",
     .option = "--noise-threshold",
     .kind = Kind::boolean,
     .get = getThresholdUse,
     .set = setThresholdUse},
    member<&S::taps>("taps", "--taps"),
    unused("Skips", Kind::integer),
    member<&S::lookaheadLimiter>("use_lookahead_limiter", "--lal"),
    member<&S::lookaheadMs>("lookahead_ms", "--lal-lookahead"),
    member<&S::limiterThresholdDb>("limiter_threshold_db", "--lal-threshold"),
    member<&S::psyPhon>("psy_phon", "--psy-phon"),
    member<&S::dither>("apply_dither", "--dither"),
    valueOf<&S::ditherType>("dither_type", "--dither"),
    {.name = "apply_AddHarmonics",
     .option = "--harmonics",
     .kind = Kind::boolean,
     .get = getHarmonics,
     .set = setHarmonics},
    valueOf<&S::harmonicsMix>("harmonicsMix", "--harmonics"),
    {.name = "applystereoexpander",
     .option = "--stereoexpander",
     .kind = Kind::boolean,
     .get = getExpander,
     .set = setExpander},
    member<&S::noiseReduce>("apply_noise_reduce", "--noise-reduce"),
    unused("noise_reduce_sensitivity", Kind::number),
    {.name = "apply_compander", .option = "--compand", .kind = Kind::boolean, .get = getCompander, .set = setCompander},
    member<&S::wiener>("applyWienerFilter", "--wiener"),
    member<&S::wienerFloorDb>("wiener_noise_floor_db", "--wiener-floor"),
    member<&S::decrackle>("applyDecrackle", "--decrackle"),
    unused("applySpectralEQ", Kind::boolean),
    member<&S::stereoWiden>("applyStereoWiden", "--stereo"),
    member<&S::dehum>("applyDehum", "--dehum"),
    member<&S::masterBassDb>("eq_bass_db", "--eq-bass"),
    member<&S::masterPresenceDb>("eq_presence_db", "--eq-presence"),
    member<&S::masterAirDb>("eq_air_db", "--eq-air"),
    member<&S::stereoWidth>("stereo_width", "--stereo-width"),
    member<&S::stereoCrossfeed>("stereo_crossfeed", "--stereo-crossfeed"),
    unused("master_makeup_gain_db", Kind::number),
    window<1>("applyBM_window"),
    window<0>("applyK_window"),
    window<2>("applyFT_window"),
    window<3>("applyB_window"),
    window<4>("applyHM_window"),
    window<5>("applyHN_window"),
    member<&S::remez>("applyRemez", "--algorithm"),
    member<&S::minimumPhase>("applyMinPhase", "--minphase"),
    member<&S::beta>("K_beta", "--beta"),
    member<&S::highBandwidth>("enable_high_bandwidth", "--high-bandwidth"),
    member<&S::passbandCutoff>("passband_cutoff", "--passband-cutoff"),
    member<&S::stopbandCutoff>("stopband_cutoff", "--stopband-cutoff"),
    member<&S::normalizeLoudness>("apply_LUFS", "--lufs"),
    member<&S::replayGain>("apply_RG", "--rg"),
    valueOf<&S::replayGainMode>("rgMode", "--rg"),
    valueOf<&S::targetLufs>("targetLufs", "--lufs"),
    unused("channelLayout", Kind::integer),
};

} // namespace

std::span<const PresetKey> presetKeys() { return kKeys; }

const PresetKey* findPresetKey(std::string_view name)
{
    const auto* found =
        std::find_if(std::begin(kKeys), std::end(kKeys), [&](const auto& key) { return name == key.name; });
    return found == std::end(kKeys) ? nullptr : found;
}

} // namespace tesk
