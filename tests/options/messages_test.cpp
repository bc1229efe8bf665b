// Every text a rejected command line prints, as users and front ends know it.
#include "tests/options/command_line.h"

namespace tesk::test {
namespace {

/// A text, and the lines that are refused with it.
struct Case {
    std::string text;
    Line lines;
};

void expectRejected(const std::vector<Case>& cases, const std::string& before = "-i in.wav out.dsf ")
{
    for (const auto& [text, lines] : cases)
        for (const std::string& line : lines) {
            const Parsed parsed = parse(before + line);
            EXPECT_EQ(parsed.outcome.status, 1) << line;
            EXPECT_FALSE(parsed.outcome.finished);
            EXPECT_EQ(parsed.text, text) << line;
        }
}

TEST(Messages, ValuesOfOptions)
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
    expectRejected({
        {"Oversampling must be a power of two >= 64 (64|128|256|...|4096).\n",
         {"-os 96", "-os 32", "-os 8192", "-os -64"}},
        {"Oversampling value not a number.\n", {"-os 64.5", "-os 64x", "-os "}},
        {"Oversampling value is not valid value.\n", {"-os 1e12"}},
        {"Oversampling value is NULL.\n", {"--oversampling"}},
        {"Error : -fe/--force-endianness needs 'l' (little) or 'm' (big).\n", {"-fe b"}},
        {"Error : --format takes dsf|dff|wsd in forward mode (got 'wav').\n"
         "        PCM containers (wav|flac) belong to --reverse.\n",
         {"--format wav"}},
        {"TAPS must be even and >= 512.\n", {"-t 511", "-t 1001", "-t 510"}},
        {"TAPS value not a number.\n", {"--taps many"}},
        {"TAPS value is NULL.\n", {"--taps"}},
        {"K_beta must be < 700 && > 0\n", {"-b 0", "-b 700"}},
        {"K_beta must be a number\n", {"-b x", "-b nan"}},
        {"Stopgain Alpha is must be over 0.\n", {"-sga 0"}},
        {"Stopgain Alpha must be a number.\n", {"-sga x"}},
        {"Stopgain Alpha is NULL.\n", {"-sga"}},
        {"K_beta is NULL\n", {"-b"}},
        {"Error : -pc/--passband-cutoff needs a frequency (Hz) or 'auto'.\n", {"-pc x"}},
        {"Error : -sc/--stopband-cutoff needs a frequency (Hz) or 'auto'.\n", {"-sc", "-sc 0"}},
        {"Error: stopband_cutoff [22000] must be > passband_cutoff [22000]\n", {"-pc 22000 -sc 22000"}},
        {"unfound window type.\nsport window type : \t0,kaiser; 1,blackman; 2,flattop; "
         "3,bartlett; 4,hamming; 5,hanning\n",
         {"-w 6", "-w gauss"}},
        {"Delta-f option is must be over 0.\n", {"-df 0"}},
        {"Delta-f option must be a number.\n", {"-df x"}},
        {"Delta-f option is NULL.\n", {"-df"}},
        {"Griddensity must be a number\n", {"-gd 129"}},
        {"Griddensity is NULL\n", {"-gd"}},
        {"Maxiterations must be a number\n", {"-mi 49"}},
        {"Maxiterations is NULL\n", {"-mi"}},
        {"Unknown filter type 'fast'. Use: standard, slow, minphase\n", {"--filter-type fast"}},
        {"--filter-type requires an argument (standard|slow|minphase)\n", {"--filter-type"}},
        {"Memory Cache Size must be even and over 0\n", {"-mc 7", "-mc 0"}},
        {"Memory Cache Size not a number\n", {"-mc x"}},
        {"Memory Cache is NULL\n", {"-mc"}},
        {"resetChannels value must be > 0\n", {"-rc 0"}},
        {"resetChannels value not a number\n", {"-rc x"}},
        {"resetChannels value is NULL\n", {"-rc"}},
        {"--dxd-samplerate requires a sample rate value\n", {"--dxd-samplerate"}},
        {"--dxd-samplerate requires a valid sample rate (1-384000)\n", {"--dxd-samplerate 384001"}},
        {"Order value must be 3,5,7,9 (11 measured 48 dB worse in-band than 9; use --cifb)\n", {"-o 11", "-o 4"}},
        {"Order must be a number\n", {"-o x", "-o"}},
        {sosEf("13"), {"--sos-ef 13"}},
        {sosEf("4"), {"--sos-ef 4"}},
        {sosEf("-3"), {"--sos-ef -3"}},
        {"Error : --mash / --cifb / --sos-ef are mutually exclusive — pick exactly one modulator.\n"
         "        (the engine used to silently drop one of them when several are given, so this is rejected outright "
         "so you never get an unexpected result)\n",
         {"--mash --cifb 5", "--cifb --sos-ef", "--sos-ef 15 --mash"}},
        {"Error : --poly-degree must be within 4-1024 (got 3).\n", {"--poly-degree 3"}},
        {"Error : -p/--pole needs a numeric value.\n", {"-p x"}},
        {"Error : -z/--zero needs at least one numeric value.\n", {"-z x"}},
        {"Error: --mp-poles requires at least one pole value\n", {"--mp-poles"}},
        {"Musict type is must be over 0.\n", {"-mt 0"}},
        {"Musict type must be a number.\n", {"-mt x"}},
        {"Musict type is NULL.\n", {"-mt"}},
        {"Noise threshold is must be <= 1.0.\n", {"-nt 1.5"}},
        {"Noise threshold must be a number of Db.\n", {"-nt x"}},
        {"Noise threshold option is NULL.\n", {"-nt"}},
        {"Quantization ratio not a number\n", {"-qr x"}},
        {"Quantization ratio is NULL\n", {"-qr"}},
        {"Unfound Quantization type\nQuantization type support rms, peak or hardLimiting\n", {"-qt x"}},
        {"Quantization type support rms, peak or hardLimiting\n", {"-qt"}},
        {"Harmonics mix value must be > 0\n", {"-H 0 tanh"}},
        {"Harmonics value not a number\n", {"-H 1.1 tanh", "-H x tanh"}},
        {"Harmonics value is NULL\n", {"-H"}},
        {"Missing value for --mode\n", {"-H 0.5"}},
        {"Invalid mode. Valid options: tanh, poly, softclip, fullwave, tape\n", {"-H 0.5 loud"}},
        {"Error : --soft-limiter delta must be within 0.0-0.2 (got 0.300000).\n", {"--soft-limiter 0.3"}},
        {"Error: --hrtf needs mono, ms, or stereo\n", {"--hrtf quad"}},
        {"Error: --hrtf-side-mix needs a value in [0.0, 1.0]\n", {"--hrtf-side-mix 1.1"}},
        {"Error: --hrtf-mix needs a value in [0.0, 1.0]\n", {"--hrtf-mix -0.1"}},
        {"Error: --hrtf-depth needs a value in [-1.0, 1.0]\n", {"--hrtf-depth x"}},
        {"bad --denoise (expected off|light|standard|strong)\n", {"--denoise max"}},
        {"bad --keep-harmonics (expected on|off)\n", {"--keep-harmonics yes"}},
        {"bad --wiener-floor (expected dB, -120~0)\n", {"--wiener-floor 1"}},
        {"bad --wiener-frame (expected ms, 10~100)\n", {"--wiener-frame 9"}},
        {"bad --lal-lookahead\n", {"--lal-lookahead 0", "--lal-lookahead 1001"}},
        {"bad --lal-threshold\n", {"--lal-threshold 0.5", "--lal-threshold"}},
        {"Invalid --psy-strategy\n", {"--psy-strategy wild"}},
        {"psy-phon is integer > 0.\n", {"--psy-phon 0"}},
        {"psy-phon needs a numeric value > 0.\n", {"--psy-phon x"}},
        {"ABS Gain number is integer > 0.\n", {"-abs 0"}},
        {"ABS Gain needs a numeric value > 0.\n", {"-abs x"}},
        {"ABS dB Gain needs a numeric value.\n", {"-absdb x", "-absdb 1e9"}},
        {"EQ band requires 3 parameters: centerFreq(Hz) gain(dB) bandwidth(Hz)\n",
         {"-eq 1000 3", "-eq 0 3 100", "-eq 1000 x 100"}},
        {"Error : --target-width needs a numeric value (0.0-2.0).\n", {"-tw 2.1"}},
        {"Error: --surround needs delayMs as a number (e.g. --surround 15 80 side)\n", {"--surround x"}},
        {"Lufs not a number\n", {"-l x"}},
        {"Error : --headroom needs an attenuation (above 0, at most 60 dB) or 'auto'.\n",
         {"--headroom 0", "--headroom 61"}},
        {"Error : --eq needs bands as \"freq1,gain1,q1;freq2,gain2,q2\".\n", {"--eq 100,3"}},
        {"Error : --track must be within 1-998 (got 999).\n", {"--track 999"}},
        {"Error : --track must be within 1-998 (got 0).\n", {"--track 0"}},
        {"Error : --output-format needs dsf|dff|wav|flac.\n", {"--output-format ogg"}},
    });
    const std::vector<Case> named = {
        // behind the option's name
        {"needs an integer value (1 to 128).\n", {"--dst-compression 129"}},
        {"needs a value (dsf|dff|wsd).\n", {"--format"}},
        {"needs an integer (4-1024).\n", {"--poly-degree 8.5"}},
        {"needs a numeric value (dB).\n", {"--bass x", "--treble", "--eq-precut x", "--pbe-precut x"}},
        {"needs an integer strength.\n", {"--pbe 1.5"}},
        {"needs an integer target rate (Hz).\n", {"--rate x"}},
        {"needs an integer value (0 to 7).\n", {"--dither 8"}},
        {"needs an integer track number.\n", {"--track x"}},
        {"needs a value.\n", {"--artist"}},
        {"needs a file name.\n", {"--cover"}},
        {"needs a numeric value.\n",
         {"--expand-threshold loud", "--expand-ratio loud", "--expand-knee loud", "--expand-attack loud",
          "--expand-release loud", "--eq-bass loud", "--eq-presence loud", "--eq-air loud", "--stereo-width loud",
          "--stereo-crossfeed loud"}},
    };
    for (const auto& [text, lines] : named)
        for (const std::string& line : lines) expectRejected({{"Error : " + words(line)[0] + " " + text, {line}}});
}

TEST(Messages, FilesAndUnknownArguments)
{
    expectRejected(
        {
            {"-i requires a filename\n", {"-i", "-i  out.dsf"}},
            {"Report              \tNo input files specified.\n", {"out.dsf"}},
            {"Report              \tNo output file specified.\n", {"-i in.wav"}},
            {"Output is not unique, b.dsf is excess parameters.\n", {"-i in.wav a.dsf b.dsf"}},
            {"Outfile extension unsupport multiple inputs.\n", {"-i a.wav -i b.wav o.dsf"}},
            {"Error : Outfile extension is not found\n", {"-i in.wav out", "-i in.wav dir.dsf/out"}},
            {"Report              \tError: unsupported PDM output extension '.flac'.\n"
             "  Non-DXD conversion writes a PDM container — use .dsf/.dff/.dst/.wsd.\n"
             "  (FLAC/WAV output belongs to the --dxd path, e.g. -i in.wav out.flac --dxd --dxd-samplerate 352800)\n",
             {"-i in.wav out.dsf.Flac"}},
            {"Error : --pipe writes to standard output, so the output file o.dsf cannot be written too.\n",
             {"-i in.wav o.dsf --pipe"}},
            {"--measure needs an input file (WAV/FLAC/AIFF)\n", {"--measure"}},
            {"Error : unfound --tap options\n        did you mean --taps ?\n", {"--tap 512"}},
            {"Error : unfound -Q options\n", {"-Q"}},
            {"Error : unfound --%n%s options\n", {"--%n%s"}},
            {"Unknown filter type '%s%n'. Use: standard, slow, minphase\n", {"-i in.wav --filter-type %s%n"}},
        },
        "");
}

TEST(Messages, WarningsDoNotEndTheLine)
{
    const Parsed dither = parseOptionsOnly("--dither -os 128");
    EXPECT_EQ(dither.outcome.status, 0);
    EXPECT_EQ(dither.settings.oversampling, 128);
    EXPECT_EQ(dither.text.rfind("Warning: --dither has no effect on DSD output -- DSD is 1-bit, there is no bit depth "
                                "to reduce; each modulator quantization stage already applies TPDF dither and noise "
                                "shaping. --dither only applies to PCM output.\n",
                                0),
              0u);
    EXPECT_EQ(parseOptionsOnly("--mash 3").text.rfind("Warning: MASH 3-order not supported, using 2-order\n", 0), 0u);
    EXPECT_NE(parseOptionsOnly("--mastering-preset pop --preset-load x.json")
                  .text.find("Warning: --mastering-preset and --preset-load/--preset-save both used. The latter option "
                             "wins.\n"),
              std::string::npos);
}

} // namespace
} // namespace tesk::test
