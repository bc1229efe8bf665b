#include "engine/options/preset_keys.h"

#include "engine/options/messages.h"

#include <algorithm>
#include <cmath>
#include <limits>

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

bool equalValues(const JsonValue& a, const JsonValue& b)
{
    return a.boolean == b.boolean && a.number == b.number && a.text == b.text;
}

bool isNothing(const JsonValue& value)
{
    return equalValues(value, JsonValue{}) && value.items.empty() && value.members.empty();
}

bool isNumeric(Kind kind) { return kind == Kind::integer || kind == Kind::number; }

bool hasKind(const JsonValue& value, Kind kind)
{
    if (value.kind == kind) return true;
    if (kind == Kind::number) return value.kind == Kind::integer;
    return kind == Kind::integer && value.kind == Kind::number && std::trunc(value.number) == value.number;
}

const char* kindText(Kind kind)
{
    switch (kind) {
    case Kind::null: return "null";
    case Kind::boolean: return "true or false";
    case Kind::integer: return "an integer";
    case Kind::number: return "a number";
    case Kind::text: return "a text";
    case Kind::list: return "a list";
    case Kind::object: return "an object";
    }
    return "";
}

std::span<const Choice> choicesOf(const PresetKey& key)
{
    const Option& option = *findOption(key.option);
    if (!key.choices.empty() || option.kind != ValueKind::word || key.kind == Kind::boolean) return key.choices;
    return option.choices;
}

/// Whether the option takes the value, which has the key's kind.
bool isAllowed(const PresetKey& key, const JsonValue& value)
{
    if (key.kind == Kind::boolean) return true;
    const auto choices = choicesOf(key);
    if (!choices.empty())
        return std::any_of(choices.begin(), choices.end(), [&](const Choice& choice) {
            return key.kind == Kind::text ? value.text == choice.word : value.number == choice.value;
        });
    if (key.kind == Kind::integer && std::abs(value.number) > std::numeric_limits<int>::max()) return false;
    const Option& option = *findOption(key.option);
    return option.range.contains(value.number) && (!option.accepts || option.accepts(value.number));
}

/// The values in words, without their kind; empty when all of the kind will do.
std::string valuesText(const PresetKey& key)
{
    if (key.kind == Kind::boolean) return {};
    std::string text;
    for (const Choice& choice : choicesOf(key)) {
        text += text.empty() ? "" : ", ";
        text += key.kind == Kind::text ? format("\"%s\"", choice.word) : format("%d %s", choice.value, choice.word);
    }
    const Option& option = *findOption(key.option);
    if (text.empty()) text = rangeText(option);
    if (!text.empty() || !option.accepts) return text;
    text = filled(invalidText(option), ""); // the row says it there alone
    return text.substr(0, text.find('\n'));
}

bool choosesModulator(std::string_view option)
{
    return option == "--order" || option == "--mash" || option == "--cifb" || option == "--sos-ef";
}

/// Applies one preset to a copy of the settings.
class PresetUse {
public:
    PresetUse(const JsonValue& preset, const std::set<std::string>& typed, const S& before)
        : settings(before), preset_(preset), typed_(typed),
          modulatorTyped_(std::any_of(typed.begin(), typed.end(), choosesModulator))
    {
    }

    S settings;
    std::vector<Unavailable> unavailable;
    std::string error;

    bool apply(Reporter& report)
    {
        if (preset_.kind != Kind::object) return fail(preset_, "a preset is an object: { \"taps\": 4096, ... }");
        if (!knowsEveryKey() || !choosesOneWindow()) return false;
        for (const PresetKey& key : kKeys)
            if (const JsonValue* value = preset_.find(key.name); value && !applyKey(key, *value)) return false;
        for (const PresetKey& key : kKeys)
            if (const JsonValue* value = preset_.find(key.name)) markOrWarn(key, *value, report);
        return true;
    }

private:
    bool fail(const JsonValue& where, const std::string& what)
    {
        error = format("line %d: %s", where.line, what.c_str());
        return false;
    }

    bool knowsEveryKey()
    {
        std::vector<std::string_view> names;
        for (const PresetKey& key : kKeys) names.emplace_back(key.name);
        for (const auto& [key, value] : preset_.members) {
            if (findPresetKey(key)) continue;
            const std::string nearest = nearestWord(key, names);
            return fail(value, "the key '" + key + "' is not known" +
                                   (nearest.empty() ? std::string() : "; did you mean '" + nearest + "'?"));
        }
        return true;
    }

    bool choosesOneWindow()
    {
        const char* chosen = nullptr;
        for (const PresetKey& key : kKeys) {
            if (!key.option || std::string_view(key.option) != "--window-type") continue;
            const JsonValue* value = preset_.find(key.name);
            if (!value || !value->boolean) continue;
            if (chosen)
                return fail(*value, format("the keys '%s' and '%s' are both true; keep one window", chosen, key.name));
            chosen = key.name;
        }
        return true;
    }

    bool isTyped(const PresetKey& key) const
    {
        return typed_.count(key.option) > 0 || (modulatorTyped_ && choosesModulator(key.option));
    }

    bool applyKey(const PresetKey& key, const JsonValue& value)
    {
        if (!key.option) return true;
        const std::string takes = "the key '" + std::string(key.name) + "' takes " + presetValueText(key);
        if (!hasKind(value, key.kind)) return fail(value, takes + ", not " + kindText(value.kind));
        const bool allowed = isAllowed(key, value);
        if (!allowed && !(isNumeric(key.kind) && value.number == 0)) return fail(value, takes);
        if (isTyped(key)) return true;
        const JsonValue& meant = allowed ? value : key.get(S{});
        key.set(settings, meant);
        if (!meant.boolean || key.get(settings).boolean) return true;
        unavailable.push_back(
            {format("%s in a preset", key.name), format("a preset does not hold its values; use %s", key.option)});
        return true;
    }

    void markOrWarn(const PresetKey& key, const JsonValue& value, Reporter& report)
    {
        if (!key.option) {
            if (!isNothing(value)) report.err("Warning: the key '%s' of the preset is not used.\n", key.name);
            return;
        }
        if (isTyped(key)) return;
        const PresetKey* use = keyInUse(key.option);
        if (!use) {
            settings.given.erase(key.option);
            return;
        }
        settings.given.insert(key.option);
        if (const char* reason = findOption(key.option)->unavailable)
            unavailable.push_back({format("%s (%s in the preset)", key.option, use->name), reason});
    }

    /// The key by which the settings use the option; null when they do not.
    const PresetKey* keyInUse(std::string_view option) const
    {
        for (const PresetKey& key : kKeys)
            if (key.marks && key.option && option == key.option && !equalValues(key.get(settings), key.get(S{})))
                return &key;
        return nullptr;
    }

    const JsonValue& preset_;
    const std::set<std::string>& typed_;
    bool modulatorTyped_;
};

} // namespace

std::span<const PresetKey> presetKeys() { return kKeys; }

const PresetKey* findPresetKey(std::string_view name)
{
    const auto* found =
        std::find_if(std::begin(kKeys), std::end(kKeys), [&](const auto& key) { return name == key.name; });
    return found == std::end(kKeys) ? nullptr : found;
}

std::string presetValueText(const PresetKey& key)
{
    if (!key.option) return "0 or false";
    std::string values = valuesText(key);
    if (isNumeric(key.kind) && !isAllowed(key, JsonValue::ofInteger(0)))
        values += values.empty() ? "0: not given" : "; 0: not given";
    return std::string(kindText(key.kind)) + (values.empty() ? values : " (" + values + ")");
}

std::string presetText(const ConversionSettings& settings)
{
    JsonValue preset;
    preset.kind = Kind::object;
    for (const PresetKey& key : kKeys) {
        JsonValue value;
        value.kind = key.kind; // of what does not exist: 0 or false
        preset.members.push_back({key.name, key.get ? key.get(settings) : value});
    }
    std::sort(preset.members.begin(), preset.members.end(),
              [](const JsonMember& a, const JsonMember& b) { return a.key < b.key; });
    return jsonText(preset);
}

bool applyPreset(const JsonValue& preset, const std::set<std::string>& typed, ConversionSettings& settings,
                 std::vector<Unavailable>& unavailable, Reporter& report, std::string& error)
{
    PresetUse use(preset, typed, settings);
    if (!use.apply(report)) {
        error = use.error;
        return false;
    }
    settings = std::move(use.settings);
    unavailable.insert(unavailable.end(), use.unavailable.begin(), use.unavailable.end());
    return true;
}

} // namespace tesk
