#include "engine/options/option_rows.h"

#include "engine/options/custom_values.h"

namespace tesk::rows {
namespace {

using S = ConversionSettings;

constexpr const char* kHrtf = "HRTF processing is not built yet";
constexpr const char* kExpander = "the stereo expander is not built yet";
constexpr const char* kDsp = "this DSP effect is not built yet";
constexpr const char* kToolkit = "this part of the DSP toolkit is not built yet";
constexpr const char* kSpectral = "spectral enhancement is not built yet";

/// A number with a range and one text for whatever is wrong with it.
constexpr Option ranged(const char* name, const char* argument, Destination destination, Range range, const char* help,
                        const char* text, const char* unavailable)
{
    return {.names = {name},
            .argument = argument,
            .kind = ValueKind::number,
            .destination = destination,
            .range = range,
            .help = help,
            .messages = {.notNumber = text},
            .unavailable = unavailable};
}

constexpr Choice kHrtfModes[] = {{"mono", 0}, {"ms", 1}, {"stereo", 2}};

constexpr Option kHrtfRows[] = {
    {.names = {"--hrtf"},
     .argument = "MODE",
     .kind = ValueKind::word,
     .destination = &S::hrtfMode,
     .choices = kHrtfModes,
     .help = "mono, ms or stereo",
     .messages = {.invalid = "Error: --hrtf needs mono, ms, or stereo\n"},
     .unavailable = kHrtf},
    {.names = {"--hrtf-load"},
     .argument = "FILE",
     .kind = ValueKind::file,
     .destination = &S::hrtfPath,
     .help = "SOFA file",
     .unavailable = kHrtf},
    ranged("--hrtf-side-mix", "X", &S::hrtfSideMix, {.minimum = 0, .maximum = 1}, "Share of the side signal",
           "Error: --hrtf-side-mix needs a value in [0.0, 1.0]\n", kHrtf),
    ranged("--hrtf-mix", "X", &S::hrtfMix, {.minimum = 0, .maximum = 1}, "Share of the processed signal",
           "Error: --hrtf-mix needs a value in [0.0, 1.0]\n", kHrtf),
    ranged("--hrtf-depth", "X", &S::hrtfDepth, {.minimum = -1, .maximum = 1}, "Depth",
           "Error: --hrtf-depth needs a value in [-1.0, 1.0]\n", kHrtf),
};

constexpr Choice kExpanderModes[] = {{"natural", 0}, {"wide", 1}, {"extreme", 2}, {"vocal", 3}, {"default", 4}};

constexpr Option kStereoExpander[] = {
    {.names = {"-se", "--stereoexpander"},
     .argument = "MODE",
     .kind = ValueKind::word,
     .destination = &S::stereoExpander,
     .choices = kExpanderModes,
     .help = "natural, wide, extreme, vocal or default",
     .unavailable = kExpander},
};

constexpr Option kDspRows[] = {
    ranged("--bass", "DB", &S::bassDb, {.minimum = -24, .maximum = 24}, "Bass in dB",
           "Error : --bass needs a numeric value (dB).\n", kDsp),
    ranged("--treble", "DB", &S::trebleDb, {.minimum = -24, .maximum = 24}, "Treble in dB",
           "Error : --treble needs a numeric value (dB).\n", kDsp),
    {.names = {"--pbe"},
     .argument = "N",
     .kind = ValueKind::integer,
     .destination = &S::bassEnhancerStrength,
     .range = {.minimum = 0, .maximum = 100},
     .help = "Strength of the bass enhancer",
     .messages = {.notNumber = "Error : --pbe needs an integer strength.\n"},
     .unavailable = kDsp},
    ranged("--pbe-precut", "DB", &S::bassEnhancerPrecutDb, {}, "Cut before the bass enhancer in dB",
           "Error : --pbe-precut needs a numeric value (dB).\n", kDsp),
    {.names = {"--eq"},
     .argument = "BANDS",
     .kind = ValueKind::text,
     .help = "\"freq1,gain1,q1;freq2,gain2,q2\", or f,g,bw{suffix} with suffix h, k, o, q, s",
     .messages = {.missing = "Error : --eq needs bands as \"freq1,gain1,q1;freq2,gain2,q2\".\n"},
     .unavailable = kDsp,
     .apply = applyParametricEq},
    ranged("--eq-precut", "DB", &S::eqPrecutDb, {}, "Cut before the equaliser in dB",
           "Error : --eq-precut needs a numeric value (dB).\n", kDsp),
    {.names = {"--crossfeed"},
     .argument = "MODE ...",
     .kind = ValueKind::text,
     .help = "meier|custom [lfGain] [hfGain]",
     .messages = {.missing = "Error : --crossfeed needs meier|custom.\n"},
     .unavailable = kDsp,
     .apply = applyCrossfeed},
    {.names = {"--compressor"},
     .argument = "THR RATIO ...",
     .kind = ValueKind::number,
     .help = "thr ratio [soft|hard] [attackMs] [releaseMs]",
     .messages = {.missing = "Error : --compressor needs a numeric threshold and a ratio above 0.\n"},
     .unavailable = kDsp,
     .apply = applyCompressor},
    {.names = {"--surround"},
     .argument = "DELAY ...",
     .kind = ValueKind::number,
     .help = "delayMs [mix] [side] [balance]",
     .messages = {.missing = "Error: --surround needs delayMs as a number (e.g. --surround 15 80 side)\n"},
     .unavailable = kDsp,
     .apply = applySurround},
};

constexpr Choice kDenoise[] = {{"off", 0}, {"light", 1}, {"standard", 2}, {"strong", 3}};
constexpr Choice kOnOff[] = {{"on", 1}, {"off", 0}};

constexpr Option kDspToolkit[] = {
    {.names = {"--rate"},
     .argument = "RATE",
     .kind = ValueKind::integer,
     .destination = &S::resampleHz,
     .range = {.minimum = 0, .aboveMinimum = true},
     .help = "Resample to RATE Hz",
     .messages = {.notNumber = "Error : --rate needs an integer target rate (Hz).\n"},
     .unavailable = kToolkit},
    {.names = {"--compand"},
     .argument = "POINTS ...",
     .kind = ValueKind::text,
     .help = "in,out;in,out [ATKms] [RELms]",
     .messages = {.missing = "Error : --compand needs points as in,out;in,out (dB).\n"},
     .unavailable = kToolkit,
     .apply = applyCompand},
    {.names = {"--noise-profile"},
     .argument = "FILE [DUR]",
     .kind = ValueKind::file,
     .help = "Noise profile in FILE, DUR in seconds",
     .unavailable = kToolkit,
     .apply = applyNoiseProfile},
    {.names = {"--noise-reduce"},
     .argument = "[FILE]",
     .kind = ValueKind::file,
     .destination = &S::noiseReducePath,
     .alsoSets = &S::noiseReduce,
     .help = "Noise reduction by the profile in FILE",
     .unavailable = kToolkit,
     .apply = applyOptionalFile},
    {.names = {"--denoise"},
     .argument = "MODE",
     .kind = ValueKind::word,
     .destination = &S::denoise,
     .choices = kDenoise,
     .help = "off, light, standard or strong",
     .messages = {.invalid = "bad --denoise (expected off|light|standard|strong)"},
     .unavailable = kToolkit},
    {.names = {"--keep-harmonics"},
     .argument = "on|off",
     .kind = ValueKind::word,
     .destination = &S::keepHarmonics,
     .choices = kOnOff,
     .help = "Spare harmonics when removing noise",
     .messages = {.invalid = "bad --keep-harmonics (expected on|off)"},
     .unavailable = kToolkit},
    {.names = {"--convolve"},
     .argument = "FILE...",
     .kind = ValueKind::file,
     .destination = &S::convolvePaths,
     .help = "Convolve with impulse responses",
     .unavailable = kToolkit,
     .apply = applyFileList},
    {.names = {"--soft-limiter"},
     .argument = "[DELTA]",
     .kind = ValueKind::number,
     .destination = &S::softLimiterDelta,
     .range = {.minimum = 0, .maximum = 0.2},
     .bareValue = 0.05,
     .defaultNote = "0.05; the limiter is on, 0 leaves it out",
     .help = "Soft limiter",
     .messages = {.invalid = "Error : --soft-limiter delta must be within 0.0-0.2 (got %f).\n"}},
    {.names = {"--dsne"},
     .argument = "[THRESHOLD]",
     .kind = ValueKind::number,
     .destination = &S::dsneThresholdDb,
     .alsoSets = &S::dsne,
     .range = {.minimum = 0, .maximum = 96},
     .help = "DSNE stage, threshold in dB",
     .unavailable = kToolkit},
    {.names = {"--no-dynamic-range"},
     .destination = &S::dynamicRange,
     .flagValue = false,
     .help = "No dynamic range analysis [flag]",
     .unavailable = kToolkit},
    {.names = {"--stats"},
     .destination = &S::stats,
     .help = "Statistics of the signal [flag]",
     .unavailable = kToolkit},
    {.names = {"--spectrogram"},
     .argument = "FILE",
     .kind = ValueKind::file,
     .destination = &S::spectrogramPath,
     .help = "Write a spectrogram",
     .unavailable = kToolkit},
};

constexpr Option kSpectralRows[] = {
    {.names = {"--dsee"},
     .argument = "[VALUE]",
     .kind = ValueKind::number,
     .destination = &S::dseeMix,
     .alsoSets = &S::dsee,
     .range = {.minimum = 0, .maximum = 1},
     .help = "Harmonic regeneration, its share",
     .unavailable = kSpectral},
    ranged("--dsee-drive", "X", &S::dseeDrive, {.minimum = 0.5, .maximum = 3}, "Drive", nullptr, kSpectral),
    ranged("--dsee-hmix", "X", &S::dseeHarmonicMix, {.minimum = 0, .maximum = 1}, "Share of the harmonics", nullptr,
           kSpectral),
    ranged("--dsee-air", "X", &S::dseeAir, {.minimum = 0, .maximum = 0.1}, "Air", nullptr, kSpectral),
    {.names = {"--dsre"}, .destination = &S::dsre, .help = "Band extension [flag]", .unavailable = kSpectral},
    ranged("--dsre-mix", "X", &S::dsreMix, {.minimum = 0, .maximum = 1}, "Share of the band extension", nullptr,
           kSpectral),
};

} // namespace

std::span<const Option> hrtf() { return kHrtfRows; }
std::span<const Option> stereoExpander() { return kStereoExpander; }
std::span<const Option> dsp() { return kDspRows; }
std::span<const Option> dspToolkit() { return kDspToolkit; }
std::span<const Option> spectral() { return kSpectralRows; }

} // namespace tesk::rows
