#include "engine/options/option_rows.h"

#include "engine/options/custom_values.h"

namespace tesk::rows {
namespace {

using S = ConversionSettings;

constexpr const char* kHarmonics = "the harmonic exciter is not built yet";
constexpr const char* kReports = "the analysis reports are not built yet";
constexpr const char* kLoudness = "loudness normalisation is not built yet";
constexpr const char* kRestoration = "the restoration and mastering chain is not built yet";

constexpr Option kEqualizer[] = {
    {.names = {"-eq", "--equalizer"},
     .argument = "Fs G W",
     .kind = ValueKind::number,
     .destination = &S::eqBands,
     .help = "Band at centre Fs Hz with gain G dB and bandwidth W Hz; may repeat",
     .messages = {.missing = "EQ band requires 3 parameters: centerFreq(Hz) gain(dB) bandwidth(Hz)"},
     .apply = applyEqBand},
};

constexpr Choice kStrategies[] = {{"conservative", 0}, {"balanced", 1}, {"aggressive", 2}};

constexpr Option kPsychoacousticRows[] = {
    {.names = {"--psy"}, .destination = &S::psychoacoustic, .help = "Psychoacoustic noise shaping [flag]"},
    {.names = {"--psy-strategy"},
     .argument = "MODE",
     .kind = ValueKind::word,
     .destination = &S::psyStrategy,
     .choices = kStrategies,
     .help = "conservative, balanced or aggressive",
     .messages = {.invalid = "Invalid --psy-strategy"}},
    {.names = {"--psy-phon"},
     .argument = "VALUE",
     .kind = ValueKind::integer,
     .destination = &S::psyPhon,
     .range = {.minimum = 0, .aboveMinimum = true},
     .rangeNote = "20 to 80",
     .help = "Loudness contour in phon",
     .messages = {.notNumber = "psy-phon needs a numeric value > 0.", .invalid = "psy-phon is integer > 0."}},
};

constexpr Choice kApodizing[] = {{"light", 1}, {"normal", 2}, {"aggressive", 3}};

constexpr Option kApodizingRows[] = {
    {.names = {"--apo"},
     .argument = "[MODE]",
     .kind = ValueKind::word,
     .destination = &S::apodizingMode,
     .choices = kApodizing,
     .bareValue = 2,
     .defaultNote = "normal",
     .help = "Apodizing filter: light, normal or aggressive"},
};

constexpr Option kAdaptiveRows[] = {
    {.names = {"--adaptive"},
     .destination = &S::adaptive,
     .help = "Choose filter type, modulator and headroom by the music [flag]"},
    {.names = {"-mt", "--music-type"},
     .argument = "N",
     .kind = ValueKind::integer,
     .destination = &S::musicType,
     .range = {.minimum = 0, .aboveMinimum = true},
     .help = "Music type: 1 wide, 2 percussive, 3 dense, 4 narrow band",
     .messages = {.missing = "Musict type is NULL.\n",
                  .notNumber = "Musict type must be a number.\n",
                  .invalid = "Musict type is must be over 0.\n"}},
};

constexpr Option kLookaheadLimiter[] = {
    {.names = {"--lal"}, .destination = &S::lookaheadLimiter, .help = "Look-ahead limiter [flag]"},
    {.names = {"--lal-lookahead"},
     .argument = "MS",
     .kind = ValueKind::number,
     .destination = &S::lookaheadMs,
     .range = {.minimum = 0, .maximum = 1000, .aboveMinimum = true},
     .help = "Look-ahead in ms",
     .messages = {.invalid = "bad --lal-lookahead"}},
    {.names = {"--lal-threshold"},
     .argument = "DB",
     .kind = ValueKind::number,
     .destination = &S::limiterThresholdDb,
     .range = {.minimum = -60, .maximum = 0},
     .help = "Ceiling in dBFS",
     .messages = {.invalid = "bad --lal-threshold"}},
};

constexpr Option kHarmonicsRows[] = {
    {.names = {"-H", "--harmonics"},
     .argument = "RATIO MODE",
     .kind = ValueKind::number,
     .alsoSets = &S::harmonics,
     .range = {.minimum = 0, .maximum = 1, .aboveMinimum = true},
     .help = "Add harmonics: tanh, poly, softclip, fullwave or tape",
     .messages = {.missing = "Harmonics value is NULL",
                  .notNumber = "Harmonics value not a number",
                  .invalid = "Harmonics mix value must be > 0"},
     .unavailable = kHarmonics,
     .apply = applyHarmonics},
};

constexpr Choice kQuantizers[] = {{"rms", 0}, {"peak", 1}, {"hardlimit", 2}};
constexpr Choice kReplayGainModes[] = {{"track", 0}, {"album", 1}};

constexpr Option kQuantization[] = {
    {.names = {"-dth", "--dither"},
     .argument = "[TYPE]",
     .kind = ValueKind::integer,
     .destination = &S::ditherType,
     .alsoSets = &S::dither,
     .range = {.minimum = 0, .maximum = 7},
     .bareValue = 0,
     .help = "Dither of the DXD output at 24 bits: 0 TPDF, 1-3 POW-R, 4 Lipshitz,\n"
             "5 F-weighted, 6 Gesemann, 7 Shibata; no effect on DSD output"},
    {.names = {"-abs", "--abs"},
     .argument = "GAIN",
     .kind = ValueKind::number,
     .destination = &S::inputGain,
     .range = {.minimum = 0, .aboveMinimum = true},
     .help = "Input gain as a factor",
     .messages = {.notNumber = "ABS Gain needs a numeric value > 0.", .invalid = "ABS Gain number is integer > 0."}},
    {.names = {"-absdb", "--absdb"},
     .argument = "DB",
     .kind = ValueKind::number,
     .defaultNote = "0",
     .help = "Input gain in dB; the later one of -abs and -absdb counts",
     .messages = {.notNumber = "ABS dB Gain needs a numeric value."},
     .apply = applyGainDb},
    {.names = {"--headroom"},
     .argument = "DB|auto",
     .kind = ValueKind::number,
     .range = {.minimum = 0, .maximum = 60, .aboveMinimum = true},
     .help = "Attenuation before modulation in dB; auto takes what the signal's peak asks for",
     .messages = {.missing = "Error : --headroom needs an attenuation (above 0, at most 60 dB) or 'auto'.\n"},
     .apply = applyHeadroom},
    {.names = {"-qr", "--quantization-ratio"},
     .argument = "RATIO",
     .kind = ValueKind::number,
     .destination = &S::quantizationRatio,
     .help = "Level that -qt aims at in the DXD output, full scale 1",
     .messages = {.missing = "Quantization ratio is NULL", .notNumber = "Quantization ratio not a number"}},
    {.names = {"-qt", "--quantization-type"},
     .argument = "TYPE",
     .kind = ValueKind::word,
     .destination = &S::quantizationType,
     .choices = kQuantizers,
     .help = "Level of the DXD output: peak or rms scale it to the ratio (1, or 0.125\n"
             "for rms), hardlimit cuts samples off there",
     .messages = {.missing = "Quantization type support rms, peak or hardLimiting",
                  .invalid = "Unfound Quantization type\nQuantization type support rms, peak or hardLimiting"}},
    {.names = {"--rms"},
     .destination = &S::reportRms,
     .help = "RMS in the analysis report [flag]",
     .unavailable = kReports},
    {.names = {"--peak"},
     .destination = &S::reportPeak,
     .help = "Peak in the analysis report [flag]",
     .unavailable = kReports},
    {.names = {"--hfacheck"},
     .destination = &S::highFrequencyCheck,
     .help = "High-frequency check in the analysis report [flag]",
     .unavailable = kReports},
    {.names = {"-l", "--lufs"},
     .argument = "LUFS",
     .kind = ValueKind::integer,
     .destination = &S::targetLufs,
     .alsoSets = &S::normalizeLoudness,
     .help = "Loudness normalisation (reverse: --lowpass)",
     .messages = {.notNumber = "Lufs not a number"},
     .unavailable = kLoudness},
    {.names = {"--rg"},
     .argument = "[track|album]",
     .kind = ValueKind::word,
     .destination = &S::replayGainMode,
     .alsoSets = &S::replayGain,
     .choices = kReplayGainModes,
     .bareValue = 0,
     .help = "Level from the ReplayGain tags of the input, never into clipping"},
    {.names = {"-nt", "--noise-threshold"},
     .argument = "DB",
     .kind = ValueKind::number,
     .destination = &S::noiseThresholdDb,
     .range = {.maximum = 1},
     .help = "Noise threshold in dB",
     .messages = {.missing = "Noise threshold option is NULL.",
                  .notNumber = "Noise threshold must be a number of Db.",
                  .invalid = "Noise threshold is must be <= 1.0."}},
};

/// A number of the restoration chain without a range of its own.
constexpr Option restorationNumber(const char* name, const char* argument, Destination destination, const char* help,
                                   const char* notNumber)
{
    return {.names = {name},
            .argument = argument,
            .kind = ValueKind::number,
            .destination = destination,
            .help = help,
            .messages = {.notNumber = notNumber},
            .unavailable = kRestoration};
}

constexpr Option restorationFlag(const char* name, bool S::*destination, const char* help)
{
    return {.names = {name}, .destination = destination, .help = help, .unavailable = kRestoration};
}

constexpr Option kRestorationRows[] = {
    restorationFlag("--dehum", &S::dehum, "Remove mains hum [flag]"),
    {.names = {"--dehum-q"},
     .argument = "Q",
     .kind = ValueKind::number,
     .destination = &S::dehumQ,
     .range = {.minimum = 0, .aboveMinimum = true},
     .help = "Quality of the hum notches",
     .unavailable = kRestoration},
    restorationFlag("--decrackle", &S::decrackle, "Remove crackle [flag]"),
    {.names = {"--decrackle-threshold"},
     .argument = "T",
     .kind = ValueKind::number,
     .destination = &S::decrackleThreshold,
     .range = {.minimum = 0, .aboveMinimum = true},
     .help = "Crackle threshold",
     .unavailable = kRestoration},
    restorationFlag("--expand", &S::expand, "Downward expander [flag]"),
    restorationNumber("--expand-threshold", "DB", &S::expandThresholdDb, "Expander threshold in dB",
                      "Error : --expand-threshold needs a numeric value.\n"),
    restorationNumber("--expand-ratio", "R", &S::expandRatio, "Expander ratio",
                      "Error : --expand-ratio needs a numeric value.\n"),
    restorationNumber("--expand-knee", "DB", &S::expandKneeDb, "Expander knee in dB",
                      "Error : --expand-knee needs a numeric value.\n"),
    restorationNumber("--expand-attack", "MS", &S::expandAttackMs, "Expander attack in ms",
                      "Error : --expand-attack needs a numeric value.\n"),
    restorationNumber("--expand-release", "MS", &S::expandReleaseMs, "Expander release in ms",
                      "Error : --expand-release needs a numeric value.\n"),
    restorationFlag("--wiener", &S::wiener, "Wiener filter [flag]"),
    {.names = {"--wiener-floor"},
     .argument = "DB",
     .kind = ValueKind::number,
     .destination = &S::wienerFloorDb,
     .range = {.minimum = -120, .maximum = 0},
     .help = "Noise floor in dB",
     .messages = {.invalid = "bad --wiener-floor (expected dB, -120~0)"},
     .unavailable = kRestoration},
    {.names = {"--wiener-frame"},
     .argument = "MS",
     .kind = ValueKind::number,
     .destination = &S::wienerFrameMs,
     .range = {.minimum = 10, .maximum = 100},
     .help = "Frame in ms",
     .messages = {.invalid = "bad --wiener-frame (expected ms, 10~100)"},
     .unavailable = kRestoration},
    {.names = {"--master", "--链"},
     .destination = &S::masteringChain,
     .help = "Mastering chain [flag]",
     .unavailable = kRestoration},
    restorationNumber("--eq-bass", "DB", &S::masterBassDb, "Bass of the mastering chain in dB",
                      "Error : --eq-bass needs a numeric value.\n"),
    restorationNumber("--eq-presence", "DB", &S::masterPresenceDb, "Presence of the mastering chain in dB",
                      "Error : --eq-presence needs a numeric value.\n"),
    restorationNumber("--eq-air", "DB", &S::masterAirDb, "Air of the mastering chain in dB",
                      "Error : --eq-air needs a numeric value.\n"),
    restorationFlag("--stereo", &S::stereoWiden, "Stereo widening [flag]"),
    restorationFlag("--stereo-auto", &S::stereoAuto, "Stereo widening as the recording needs it [flag]"),
    restorationNumber("--stereo-width", "X", &S::stereoWidth, "Stereo width",
                      "Error : --stereo-width needs a numeric value.\n"),
    restorationNumber("--stereo-crossfeed", "X", &S::stereoCrossfeed, "Stereo crossfeed",
                      "Error : --stereo-crossfeed needs a numeric value.\n"),
};

} // namespace

std::span<const Option> equalizer() { return kEqualizer; }
std::span<const Option> psychoacoustic() { return kPsychoacousticRows; }
std::span<const Option> apodizing() { return kApodizingRows; }
std::span<const Option> adaptive() { return kAdaptiveRows; }
std::span<const Option> lookaheadLimiter() { return kLookaheadLimiter; }
std::span<const Option> harmonics() { return kHarmonicsRows; }
std::span<const Option> quantization() { return kQuantization; }
std::span<const Option> restoration() { return kRestorationRows; }

} // namespace tesk::rows
