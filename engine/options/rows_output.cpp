#include "engine/options/option_rows.h"

#include "engine/options/custom_values.h"

namespace tesk::rows {
namespace {

using S = ConversionSettings;

bool isPowerOfTwo(double value)
{
    const auto integer = static_cast<long long>(value);
    return integer > 0 && (integer & (integer - 1)) == 0;
}

constexpr const char* kPanning = "automatic panning is not built yet";

constexpr Option kMandatory[] = {
    {.names = {"-i", "--input"},
     .argument = "FILE",
     .kind = ValueKind::file,
     .destination = &S::inputs,
     .help = "Input PCM (WAV, W64, AIFF, FLAC, TTA, WavPack, and with a decoder library ALAC, APE,\n"
             "AAC, Opus, MP3 ...), or a CUE sheet; several for --batch.\n"
             "The output PDM file (DSF/DFF/DST/WSD) stands alone, \"-\" is standard output.",
     .messages = {.missing = "-i requires a filename"}},
};

constexpr Choice kEndianness[] = {{"l", 'l'}, {"m", 'm'}};
constexpr Choice kFormats[] = {{"dsf", 0}, {"dff", 1}, {"wsd", 2}};

constexpr Option kPdmOutput[] = {
    {.names = {"-os", "--oversampling"},
     .argument = "N",
     .kind = ValueKind::integer,
     .destination = &S::oversampling,
     .range = {.minimum = 64, .maximum = 4096},
     .accepts = isPowerOfTwo,
     .rangeNote = "a power of two, 64 to 4096",
     .help = "Oversampling of the 44.1/48 kHz base rate: 64 is DSD64, 128 is DSD128",
     .messages = {.missing = "Oversampling value is NULL.",
                  .notNumber = "Oversampling value not a number.",
                  .invalid = "Oversampling must be a power of two >= 64 (64|128|256|...|4096).",
                  .tooLarge = "Oversampling value is not valid value."}},
    {.names = {"-unpd", "--unpredistortion"},
     .destination = &S::predistortion,
     .flagValue = false,
     .help = "No predistortion of the filter's passband [flag]"},
    {.names = {"-fe", "--force-endianness"},
     .argument = "l|m",
     .kind = ValueKind::word,
     .destination = &S::forceEndianness,
     .choices = kEndianness,
     .help = "Force endianness: 'l' (little) or 'm' (big)",
     .messages = {.invalid = "Error : -fe/--force-endianness needs 'l' (little) or 'm' (big).\n"}},
    {.names = {"-q", "--quad"}, .destination = &S::quad, .help = "Quad-channel PDM [flag]"},
    {.names = {"-sch", "--swap-channels"},
     .destination = &S::swapChannels,
     .help = "Swap the left and the right channel [flag]"},
    {.names = {"--dst-compression"},
     .argument = "N",
     .kind = ValueKind::integer,
     .destination = &S::dstPredictionOrder,
     .range = {.minimum = 1, .maximum = 128},
     .help = "DST prediction order; lower is faster"},
    {.names = {"-e", "--dst", "--encodeddst"},
     .destination = &S::dst,
     .help = "Enable DST compression (write a .dff; order from --dst-compression) [flag]"},
    {.names = {"--format"},
     .argument = "FORMAT",
     .kind = ValueKind::word,
     .destination = &S::format,
     .choices = kFormats,
     .help = "dsf, dff or wsd; overrides the output extension",
     .messages = {.missing = "Error : --format needs a value (dsf|dff|wsd).\n",
                  .invalid = "Error : --format takes dsf|dff|wsd in forward mode (got '%s').\n"
                             "        PCM containers (wav|flac) belong to --reverse.\n"}},
    {.names = {"--pipe"},
     .destination = &S::pipe,
     .help = "PDM stream to standard output, same as output \"-\" [flag]"},
};

constexpr Option kAutoPanning[] = {
    {.names = {"-ap", "--auto-pan"},
     .destination = &S::autoPan,
     .help = "Automatic panning [flag]",
     .unavailable = kPanning},
    {.names = {"-tw", "--target-width"},
     .argument = "WIDTH",
     .kind = ValueKind::number,
     .destination = &S::targetWidth,
     .range = {.minimum = 0, .maximum = 2},
     .help = "Stereo width: 0 mono, 1 original, above 1 wider",
     .messages = {.notNumber = "Error : --target-width needs a numeric value (0.0-2.0).\n"},
     .unavailable = kPanning},
    {.names = {"-pr", "--pan-report"},
     .destination = &S::panReport,
     .help = "Report of the panning [flag]",
     .unavailable = kPanning},
};

constexpr Option kChannels[] = {
    {.names = {"-fc", "--forcechannels"},
     .destination = &S::forceChannels,
     .help = "Allow more than 6 channels [flag]"},
    {.names = {"-rc", "--resetchannels"},
     .argument = "N",
     .kind = ValueKind::integer,
     .destination = &S::resetChannels,
     .range = {.minimum = 0, .aboveMinimum = true},
     .help = "Convert the first N channels only",
     .messages = {.missing = "resetChannels value is NULL",
                  .notNumber = "resetChannels value not a number",
                  .invalid = "resetChannels value must be > 0"}},
};

constexpr Option kDxdOutput[] = {
    {.names = {"--dxd"}, .destination = &S::dxd, .help = "PCM output of the upsampled signal [flag]"},
    {.names = {"--dxd-samplerate"},
     .argument = "RATE",
     .kind = ValueKind::integer,
     .destination = &S::dxdSampleRate,
     .range = {.minimum = 1, .maximum = 384000},
     .defaultNote = "input rate x 8",
     .help = "Sample rate of the PCM output in Hz",
     .messages = {.missing = "--dxd-samplerate requires a sample rate value",
                  .invalid = "--dxd-samplerate requires a valid sample rate (1-384000)"}},
};

} // namespace

std::span<const Option> mandatory() { return kMandatory; }
std::span<const Option> pdmOutput() { return kPdmOutput; }
std::span<const Option> panning() { return kAutoPanning; }
std::span<const Option> channels() { return kChannels; }
std::span<const Option> dxd() { return kDxdOutput; }

} // namespace tesk::rows
