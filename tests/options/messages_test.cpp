// Every text a rejected command line prints, as users and front ends know it.
#include "tests/options/command_line.h"

#include <gtest/gtest.h>

namespace tesk::test {
namespace {

struct Case {
    Line line; ///< without input and output
    const char* text;
};

void expectRejected(const std::vector<Case>& cases)
{
    for (const Case& c : cases) {
        Line line = {"-i", "in.wav", "out.dsf"};
        line.insert(line.end(), c.line.begin(), c.line.end());
        const Parsed parsed = parse(line);
        EXPECT_EQ(parsed.outcome.status, 1) << c.text;
        EXPECT_FALSE(parsed.outcome.finished);
        EXPECT_EQ(parsed.text, c.text);
    }
}

constexpr const char* kPowerOfTwo = "Oversampling must be a power of two >= 64 (64|128|256|...|4096).\n";
constexpr const char* kTaps = "TAPS must be even and >= 512.\n";
constexpr const char* kOrder = "Order value must be 3,5,7,9 (11 measured 48 dB worse in-band than 9; use --cifb)\n";
constexpr const char* kWindow = "unfound window type.\nsport window type : \t0,kaiser; 1,blackman; 2,flattop; "
                                "3,bartlett; 4,hamming; 5,hanning\n";
constexpr const char* kEqBand = "EQ band requires 3 parameters: centerFreq(Hz) gain(dB) bandwidth(Hz)\n";

TEST(Messages, OutputAndFilter)
{
    expectRejected({
        {{"-os", "96"}, kPowerOfTwo},
        {{"-os", "32"}, kPowerOfTwo},
        {{"-os", "8192"}, kPowerOfTwo},
        {{"-os", "-64"}, kPowerOfTwo},
        {{"-os", "64.5"}, "Oversampling value not a number.\n"},
        {{"-os", "64x"}, "Oversampling value not a number.\n"},
        {{"-os", ""}, "Oversampling value not a number.\n"},
        {{"-os", "1e12"}, "Oversampling value is not valid value.\n"},
        {{"--oversampling"}, "Oversampling value is NULL.\n"},
        {{"-fe", "b"}, "Error : -fe/--force-endianness needs 'l' (little) or 'm' (big).\n"},
        {{"--dst-compression", "129"}, "Error : --dst-compression needs an integer value (1 to 128).\n"},
        {{"--format"}, "Error : --format needs a value (dsf|dff|wsd).\n"},
        {{"--format", "wav"},
         "Error : --format takes dsf|dff|wsd in forward mode (got 'wav').\n"
         "        PCM containers (wav|flac) belong to --reverse.\n"},
        {{"-t", "511"}, kTaps},
        {{"-t", "1001"}, kTaps},
        {{"-t", "510"}, kTaps},
        {{"--taps", "many"}, "TAPS value not a number.\n"},
        {{"--taps"}, "TAPS value is NULL.\n"},
        {{"-b", "0"}, "K_beta must be < 700 && > 0\n"},
        {{"-b", "700"}, "K_beta must be < 700 && > 0\n"},
        {{"-b", "x"}, "K_beta must be a number\n"},
        {{"-b", "nan"}, "K_beta must be a number\n"},
        {{"-sga", "0"}, "Stopgain Alpha is must be over 0.\n"},
        {{"-sga", "x"}, "Stopgain Alpha must be a number.\n"},
        {{"-sga"}, "Stopgain Alpha is NULL.\n"},
        {{"-b"}, "K_beta is NULL\n"},
        {{"-pc", "x"}, "Error : -pc/--passband-cutoff needs a frequency (Hz) or 'auto'.\n"},
        {{"-sc"}, "Error : -sc/--stopband-cutoff needs a frequency (Hz) or 'auto'.\n"},
        {{"-sc", "0"}, "Error : -sc/--stopband-cutoff needs a frequency (Hz) or 'auto'.\n"},
        {{"-pc", "22000", "-sc", "22000"}, "Error: stopband_cutoff [22000] must be > passband_cutoff [22000]\n"},
        {{"-w", "6"}, kWindow},
        {{"-w", "gauss"}, kWindow},
        {{"-df", "0"}, "Delta-f option is must be over 0.\n"},
        {{"-df", "x"}, "Delta-f option must be a number.\n"},
        {{"-df"}, "Delta-f option is NULL.\n"},
        {{"-gd", "129"}, "Griddensity must be a number\n"},
        {{"-gd"}, "Griddensity is NULL\n"},
        {{"-mi", "49"}, "Maxiterations must be a number\n"},
        {{"-mi"}, "Maxiterations is NULL\n"},
        {{"--filter-type", "fast"}, "Unknown filter type 'fast'. Use: standard, slow, minphase\n"},
        {{"--filter-type"}, "--filter-type requires an argument (standard|slow|minphase)\n"},
        {{"-mc", "7"}, "Memory Cache Size must be even and over 0\n"},
        {{"-mc", "0"}, "Memory Cache Size must be even and over 0\n"},
        {{"-mc", "x"}, "Memory Cache Size not a number\n"},
        {{"-mc"}, "Memory Cache is NULL\n"},
        {{"-rc", "0"}, "resetChannels value must be > 0\n"},
        {{"-rc", "x"}, "resetChannels value not a number\n"},
        {{"-rc"}, "resetChannels value is NULL\n"},
        {{"--dxd-samplerate"}, "--dxd-samplerate requires a sample rate value\n"},
        {{"--dxd-samplerate", "384001"}, "--dxd-samplerate requires a valid sample rate (1-384000)\n"},
    });
}

TEST(Messages, Modulators)
{
    const auto sosEf = [](const std::string& got) {
        return "Error : --sos-ef order must be 15 (current NS15 profile) or an odd\n"
               "        number in 3..11 (verified range). Got " +
               got +
               ".\n"
               "        Measured in-band noise: 3..11 improves monotonically\n"
               "        (-42.7..-137.8 dBFS); 13..23 is non-monotone (15/17/21/23\n"
               "        are worse than the current default); >=25 locks up.\n";
    };
    const std::string thirteen = sosEf("13"), four = sosEf("4"), negative = sosEf("-3");
    const char* exclusive =
        "Error : --mash / --cifb / --sos-ef are mutually exclusive — pick exactly one modulator.\n"
        "        (the engine used to silently drop one of them when several are given, so this is rejected outright "
        "so you never get an unexpected result)\n";
    expectRejected({
        {{"-o", "11"}, kOrder},
        {{"-o", "4"}, kOrder},
        {{"-o", "x"}, "Order must be a number\n"},
        {{"-o"}, "Order must be a number\n"},
        {{"--sos-ef", "13"}, thirteen.c_str()},
        {{"--sos-ef", "4"}, four.c_str()},
        {{"--sos-ef", "-3"}, negative.c_str()},
        {{"--mash", "--cifb", "5"}, exclusive},
        {{"--cifb", "--sos-ef"}, exclusive},
        {{"--sos-ef", "15", "--mash"}, exclusive},
        {{"--poly-degree", "3"}, "Error : --poly-degree must be within 4-1024 (got 3).\n"},
        {{"--poly-degree", "8.5"}, "Error : --poly-degree needs an integer (4-1024).\n"},
        {{"-p", "x"}, "Error : -p/--pole needs a numeric value.\n"},
        {{"-z", "x"}, "Error : -z/--zero needs at least one numeric value.\n"},
        {{"--mp-poles"}, "Error: --mp-poles requires at least one pole value\n"},
    });
}

TEST(Messages, Effects)
{
    expectRejected({
        {{"-mt", "0"}, "Musict type is must be over 0.\n"},
        {{"-mt", "x"}, "Musict type must be a number.\n"},
        {{"-mt"}, "Musict type is NULL.\n"},
        {{"-nt", "1.5"}, "Noise threshold is must be <= 1.0.\n"},
        {{"-nt", "x"}, "Noise threshold must be a number of Db.\n"},
        {{"-nt"}, "Noise threshold option is NULL.\n"},
        {{"-qr", "x"}, "Quantization ratio not a number\n"},
        {{"-qr"}, "Quantization ratio is NULL\n"},
        {{"-qt", "x"}, "Unfound Quantization type\nQuantization type support rms, peak or hardLimiting\n"},
        {{"-qt"}, "Quantization type support rms, peak or hardLimiting\n"},
        {{"-H", "0", "tanh"}, "Harmonics mix value must be > 0\n"},
        {{"-H", "1.1", "tanh"}, "Harmonics value not a number\n"},
        {{"-H", "x", "tanh"}, "Harmonics value not a number\n"},
        {{"-H"}, "Harmonics value is NULL\n"},
        {{"-H", "0.5"}, "Missing value for --mode\n"},
        {{"-H", "0.5", "loud"}, "Invalid mode. Valid options: tanh, poly, softclip, fullwave, tape\n"},
        {{"--soft-limiter", "0.3"}, "Error : --soft-limiter delta must be within 0.0-0.2 (got 0.300000).\n"},
        {{"--hrtf", "quad"}, "Error: --hrtf needs mono, ms, or stereo\n"},
        {{"--hrtf-side-mix", "1.1"}, "Error: --hrtf-side-mix needs a value in [0.0, 1.0]\n"},
        {{"--hrtf-mix", "-0.1"}, "Error: --hrtf-mix needs a value in [0.0, 1.0]\n"},
        {{"--hrtf-depth", "x"}, "Error: --hrtf-depth needs a value in [-1.0, 1.0]\n"},
        {{"--denoise", "max"}, "bad --denoise (expected off|light|standard|strong)\n"},
        {{"--keep-harmonics", "yes"}, "bad --keep-harmonics (expected on|off)\n"},
        {{"--wiener-floor", "1"}, "bad --wiener-floor (expected dB, -120~0)\n"},
        {{"--wiener-frame", "9"}, "bad --wiener-frame (expected ms, 10~100)\n"},
        {{"--lal-lookahead", "0"}, "bad --lal-lookahead\n"},
        {{"--lal-lookahead", "1001"}, "bad --lal-lookahead\n"},
        {{"--lal-threshold", "0.5"}, "bad --lal-threshold\n"},
        {{"--lal-threshold"}, "bad --lal-threshold\n"},
        {{"--psy-strategy", "wild"}, "Invalid --psy-strategy\n"},
        {{"--psy-phon", "0"}, "psy-phon is integer > 0.\n"},
        {{"--psy-phon", "x"}, "psy-phon needs a numeric value > 0.\n"},
        {{"-abs", "0"}, "ABS Gain number is integer > 0.\n"},
        {{"-abs", "x"}, "ABS Gain needs a numeric value > 0.\n"},
        {{"-absdb", "x"}, "ABS dB Gain needs a numeric value.\n"},
        {{"-absdb", "1e9"}, "ABS dB Gain needs a numeric value.\n"},
        {{"-eq", "1000", "3"}, kEqBand},
        {{"-eq", "0", "3", "100"}, kEqBand},
        {{"-eq", "1000", "x", "100"}, kEqBand},
        {{"-tw", "2.1"}, "Error : --target-width needs a numeric value (0.0-2.0).\n"},
        {{"--bass", "x"}, "Error : --bass needs a numeric value (dB).\n"},
        {{"--treble"}, "Error : --treble needs a numeric value (dB).\n"},
        {{"--eq-precut", "x"}, "Error : --eq-precut needs a numeric value (dB).\n"},
        {{"--pbe-precut", "x"}, "Error : --pbe-precut needs a numeric value (dB).\n"},
        {{"--pbe", "1.5"}, "Error : --pbe needs an integer strength.\n"},
        {{"--rate", "x"}, "Error : --rate needs an integer target rate (Hz).\n"},
        {{"--surround", "x"}, "Error: --surround needs delayMs as a number (e.g. --surround 15 80 side)\n"},
        {{"-l", "x"}, "Lufs not a number\n"},
        {{"--headroom", "0"}, "Error : --headroom needs an attenuation (above 0, at most 60 dB) or 'auto'.\n"},
        {{"--headroom", "61"}, "Error : --headroom needs an attenuation (above 0, at most 60 dB) or 'auto'.\n"},
        {{"--dither", "8"}, "Error : --dither needs an integer value (0 to 7).\n"},
        {{"--eq", "100,3"}, "Error : --eq needs bands as \"freq1,gain1,q1;freq2,gain2,q2\".\n"},
        {{"--track", "999"}, "Error : --track must be within 1-998 (got 999).\n"},
        {{"--track", "0"}, "Error : --track must be within 1-998 (got 0).\n"},
        {{"--track", "x"}, "Error : --track needs an integer track number.\n"},
        {{"--artist"}, "Error : --artist needs a value.\n"},
        {{"--cover"}, "Error : --cover needs a file name.\n"},
        {{"--output-format", "ogg"}, "Error : --output-format needs dsf|dff|wav|flac.\n"},
    });
    for (const char* name :
         {"--expand-threshold", "--expand-ratio", "--expand-knee", "--expand-attack", "--expand-release", "--eq-bass",
          "--eq-presence", "--eq-air", "--stereo-width", "--stereo-crossfeed"})
        EXPECT_EQ(parse({name, "loud"}).text, std::string("Error : ") + name + " needs a numeric value.\n");
}

TEST(Messages, FilesAndUnknownArguments)
{
    const std::vector<Case> cases = {
        {{"-i"}, "-i requires a filename\n"},
        {{"-i", "", "out.dsf"}, "-i requires a filename\n"},
        {{"out.dsf"}, "Report              \tNo input files specified.\n"},
        {{"-i", "in.wav"}, "Report              \tNo output file specified.\n"},
        {{"-i", "in.wav", "a.dsf", "b.dsf"}, "Output is not unique, b.dsf is excess parameters.\n"},
        {{"-i", "a.wav", "-i", "b.wav", "o.dsf"}, "Outfile extension unsupport multiple inputs.\n"},
        {{"-i", "in.wav", "out"}, "Error : Outfile extension is not found\n"},
        {{"-i", "in.wav", "dir.dsf/out"}, "Error : Outfile extension is not found\n"},
        {{"-i", "in.wav", "out.dsf.Flac"},
         "Report              \tError: unsupported PDM output extension '.flac'.\n"
         "  Non-DXD conversion writes a PDM container — use .dsf/.dff/.dst/.wsd.\n"
         "  (FLAC/WAV output belongs to the --dxd path, e.g. -i in.wav out.flac --dxd --dxd-samplerate 352800)\n"},
        {{"-i", "in.wav", "o.dsf", "--pipe"},
         "Error : --pipe writes to standard output, so the output file o.dsf cannot be written too.\n"},
        {{"--measure"}, "--measure needs an input file (WAV/FLAC/AIFF)\n"},
        {{"--tap", "512"}, "Error : unfound --tap options\n        did you mean --taps ?\n"},
        {{"-Q"}, "Error : unfound -Q options\n"},
        {{"--%n%s"}, "Error : unfound --%n%s options\n"},
        {{"-i", "in.wav", "--filter-type", "%s%n"}, "Unknown filter type '%s%n'. Use: standard, slow, minphase\n"},
    };
    for (const Case& c : cases) {
        const Parsed parsed = parse(c.line);
        EXPECT_EQ(parsed.outcome.status, 1) << c.text;
        EXPECT_EQ(parsed.text, c.text);
    }
}

TEST(Messages, WarningsDoNotEndTheLine)
{
    const Parsed dither = parseOptionsOnly({"--dither", "-os", "128"});
    EXPECT_EQ(dither.outcome.status, 0);
    EXPECT_EQ(dither.settings.oversampling, 128);
    EXPECT_EQ(dither.text.rfind("Warning: --dither has no effect on DSD output -- DSD is 1-bit, there is no bit depth "
                                "to reduce; each modulator quantization stage already applies TPDF dither and noise "
                                "shaping. --dither only applies to PCM output.\n",
                                0),
              0u);
    EXPECT_EQ(parseOptionsOnly({"--mash", "3"}).text.rfind("Warning: MASH 3-order not supported, using 2-order\n", 0),
              0u);
    EXPECT_NE(parseOptionsOnly({"--mastering-preset", "pop", "--preset-load", "x.json"})
                  .text.find("Warning: --mastering-preset and --preset-load/--preset-save both used. The latter option "
                             "wins.\n"),
              std::string::npos);
}

} // namespace
} // namespace tesk::test
