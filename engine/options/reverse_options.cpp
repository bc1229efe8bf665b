#include "engine/options/reverse_options.h"

#include "engine/base/numbers.h"
#include "engine/options/help_rows.h"
#include "engine/options/options.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <string_view>

namespace tesk {
namespace {

using Words = std::span<const std::string>;

/// One option: its spellings, how many words follow it, and what becomes of them. `apply` gives the text that refuses
/// the values, or null.
struct ReverseOption {
    const char* names[2];
    const char* argument; ///< as the help shows it; "" for a flag
    std::size_t values;
    const char* missing; ///< what is said when values are missing; null: the help
    const char* help;
    const char* (*apply)(ReverseSettings&, Words);
};

constexpr const char* kBadRate = "Error: sample rate must be multiple of 44100 or 48000\n";
constexpr const char* kBadDepth = "Error: bit depth must be 16/24/32/64\n";
constexpr const char* kBadZeros = "-z requires 3 arguments\n";
constexpr const char* kBadFormat = "Error: format must be wav or flac\n";
constexpr const char* kBadPole = "Error: --pole needs a number between -1 and 1\n";
constexpr const char* kBadLowpass = "Error: --lowpass needs a frequency above 0 Hz, or 0 for half the PCM rate\n";
constexpr const char* kBadTaps = "Error: --taps needs a whole number, 0 (automatic) to 1048576\n";
constexpr const char* kBadGain = "Error: --gain needs a number of dB, -144 to 144, or auto\n";
constexpr const char* kBadArea = "Error: --area must be stereo or multichannel\n";
constexpr const char* kBadTrack = "Error: --disc-track needs a track number (1-255), all or list\n";

const char* takeRate(ReverseSettings& s, Words v)
{
    const auto rate = parseInteger(v[0]);
    if (!rate || *rate <= 0 || (*rate % 44100 != 0 && *rate % 48000 != 0)) return kBadRate;
    s.pcmRate = static_cast<std::uint32_t>(*rate);
    return nullptr;
}

const char* takeDepth(ReverseSettings& s, Words v)
{
    const int bits = parseInteger(v[0]).value_or(0);
    if (bits != 16 && bits != 24 && bits != 32 && bits != 64) return kBadDepth;
    s.bitDepth = bits;
    return nullptr;
}

const char* takeLowpass(ReverseSettings& s, Words v)
{
    s.lowpass = parseNumber(v[0]).value_or(-1);
    return s.lowpass >= 0 ? nullptr : kBadLowpass;
}

const char* takeZeros(ReverseSettings& s, Words v)
{
    s.zeros.clear();
    for (const std::string& word : v) {
        const auto zero = parseNumber(word);
        if (!zero) return kBadZeros;
        s.zeros.push_back(*zero);
    }
    return nullptr;
}

const char* takePole(ReverseSettings& s, Words v)
{
    const auto pole = parseNumber(v[0]);
    if (!pole) return kBadPole;
    s.pole = *pole;
    return nullptr;
}

const char* takeTaps(ReverseSettings& s, Words v)
{
    const auto taps = parseInteger(v[0]);
    if (!taps || *taps < 0 || *taps > 1 << 20) return kBadTaps;
    s.taps = static_cast<std::uint32_t>(*taps);
    return nullptr;
}

const char* takeFormat(ReverseSettings& s, Words v)
{
    if (v[0] != "wav" && v[0] != "flac") return kBadFormat;
    s.format = v[0] == "flac" ? PcmContainer::flac : PcmContainer::wave;
    return nullptr;
}

const char* takeGain(ReverseSettings& s, Words v)
{
    s.gainAuto = v[0] == "auto";
    s.gainDb.reset();
    if (s.gainAuto) return nullptr;
    s.gainDb = parseNumber(v[0]);
    return s.gainDb && std::abs(*s.gainDb) <= kMostGainDb ? nullptr : kBadGain;
}

const char* takeArea(ReverseSettings& s, Words v)
{
    if (v[0] != "stereo" && v[0] != "multichannel") return kBadArea;
    s.area = v[0] == "stereo" ? SacdAreaChoice::stereo : SacdAreaChoice::multichannel;
    return nullptr;
}

const char* takeTrack(ReverseSettings& s, Words v)
{
    using Tracks = ReverseSettings::DiscTracks;
    s.discTracks = v[0] == "all" ? Tracks::all : v[0] == "list" ? Tracks::list : Tracks::one;
    if (s.discTracks != Tracks::one) return nullptr;
    const int number = parseInteger(v[0]).value_or(0);
    s.discTrack = static_cast<unsigned>(std::max(number, 0));
    return number >= 1 && number <= 255 ? nullptr : kBadTrack;
}

template <bool ReverseSettings::*field, bool value>
const char* setFlag(ReverseSettings& s, Words)
{
    s.*field = value;
    return nullptr;
}

using S = ReverseSettings;
constexpr ReverseOption kOptions[] = {
    {{"-i", nullptr},
     "INPUT",
     1,
     nullptr,
     "DSF, DSDIFF or WSD file, or SACD disc image",
     [](S& s, Words v) -> const char* {
         s.inputPath = v[0];
         return nullptr;
     }},
    {{"-s", "--sampling"},
     "RATE",
     1,
     nullptr,
     "PCM rate in Hz: 44100, 88200, 176400, 352800 or 384000 (default 44100, or 48000 for DSD of that family)",
     takeRate},
    {{"-b", "--bit"}, "BITS", 1, nullptr, "Word length: 16, 24, 32, or 64 (64-bit float) (default 32)", takeDepth},
    {{"-f", "--float"}, "", 0, nullptr, "32-bit float, overrides --bit [flag]", setFlag<&S::floatOutput, true>},
    {{"--format", nullptr},
     "wav|flac",
     1,
     nullptr,
     "Container; without it the output's extension tells. FLAC holds 16 or 24 bits.",
     takeFormat},
    {{"--wave64", nullptr}, "", 0, nullptr, "Wave64 instead of WAV [flag]", setFlag<&S::wave64, true>},
    {{"-l", "--lowpass"}, "FREQ", 1, nullptr, "Pass-band edge in Hz (default: half the PCM rate)", takeLowpass},
    {{"-t", "--taps"},
     "N",
     1,
     nullptr,
     "Length of the FIR; 0 is automatic, 64 per one-bit sample dropped (DSD64 to 44100 Hz: 4096)",
     takeTaps},
    {{"--align", nullptr},
     "",
     0,
     nullptr,
     "Remove the filters' delay exactly and keep their tail: the PCM lies where the DSD did, and is as long [flag]",
     setFlag<&S::align, true>},
    {{"--gain", nullptr},
     "DB|auto",
     1,
     kBadGain,
     "Output gain; auto is the largest that does not clip (reads the source twice). "
     "Wins over TESK_PDM2PCM_GAIN. Louder samples than full scale are limited to it.",
     takeGain},
    {{"-n", "--no-ns"},
     "",
     0,
     nullptr,
     "Round plainly, without noise shaping [flag]",
     setFlag<&S::noiseShaping, false>},
    {{"-z", "--zero"},
     "Z1 Z2 Z3",
     3,
     kBadZeros,
     "Zeros of the noise shaper, 0 to 1 of the audio band (default 0.969 0.737 0.424)",
     takeZeros},
    {{"-p", "--pole"}, "POLE", 1, nullptr, "Pole of the noise shaper (default 0.85)", takePole},
    {{"--area", nullptr},
     "stereo|multichannel",
     1,
     kBadArea,
     "Area of a disc (default: stereo if there is one)",
     takeArea},
    {{"--disc-track", nullptr},
     "N|all|list",
     1,
     kBadTrack,
     "One track of a disc, every track into a file of its own, or only print the tracks "
     "(default: the whole area as one file)",
     takeTrack},
    {{"-lf", "--log-file"},
     "PATH",
     1,
     "Error: --log-file needs a path\n",
     "Write the log to PATH instead of ./pdm2pcm_<pid>.log; a log that is there goes on",
     [](S& s, Words v) -> const char* {
         s.logPath = v[0];
         return nullptr;
     }},
    {{"--no-simd", nullptr}, "", 0, nullptr, "Plain scalar arithmetic [flag]", setFlag<&S::simd, false>},
    {{"-h", "--help"}, "", 0, nullptr, "This text", setFlag<&S::help, true>},
};

const ReverseOption* find(const std::string& word)
{
    for (const ReverseOption& option : kOptions)
        for (const char* name : option.names)
            if (name && word == name) return &option;
    return nullptr;
}

/// Words that a host or the dispatch put there, with their values.
std::size_t foreignWords(const std::string& word)
{
    if (word == "--reverse" || word == "-inproc-host") return 1;
    return word == "-inproc-ctl" || word == "-inproc-ctl-fn" ? 2 : 0;
}

/// One option with its values; the number of words taken, 0 after printing why not.
std::size_t takeOption(const ReverseOption& option, Words words, ReverseSettings& settings, Reporter& report)
{
    if (words.size() < 1 + option.values) {
        if (option.missing)
            report.error("%s", option.missing);
        else
            printReverseHelp(report);
        return 0;
    }
    const char* refusal = option.apply(settings, words.subspan(1, option.values));
    if (refusal) report.error("%s", refusal);
    return refusal ? 0 : 1 + option.values;
}

int settlePaths(const std::vector<std::string>& positionals, ReverseSettings& settings, Reporter& report)
{
    const std::size_t expected = settings.inputPath.empty() ? 2 : 1;
    if (positionals.size() > expected) {
        report.error("extra argument: %s\n", positionals[expected].c_str());
        return DSD_ERROR;
    }
    std::size_t next = 0;
    if (settings.inputPath.empty() && next < positionals.size()) settings.inputPath = positionals[next++];
    if (next < positionals.size()) settings.outputPath = positionals[next];
    const bool writes = settings.discTracks != ReverseSettings::DiscTracks::list;
    if (!settings.inputPath.empty() && (!writes || !settings.outputPath.empty())) return DSD_SUCCESS;
    report.error("Error: --reverse needs an input and an output: -i INPUT OUTPUT.wav --reverse (or .flac); "
                 "--reverse --help tells more\n");
    return DSD_ERROR;
}

} // namespace

int parseReverse(const std::vector<std::string>& arguments, ReverseSettings& settings, Reporter& report)
{
    std::vector<std::string> positionals;
    for (std::size_t at = 0; at < arguments.size();) {
        const std::string& word = arguments[at];
        if (const std::size_t foreign = foreignWords(word); foreign > 0) {
            at += foreign;
        } else if (const ReverseOption* option = find(word)) {
            const std::size_t taken = takeOption(*option, Words(arguments).subspan(at), settings, report);
            if (taken == 0) return DSD_ERROR;
            if (settings.help) return DSD_SUCCESS;
            at += taken;
        } else if (word.starts_with('-')) {
            report.error("unknown option: %s\n", word.c_str());
            return DSD_ERROR;
        } else {
            positionals.push_back(word);
            ++at;
        }
    }
    return settlePaths(positionals, settings, report);
}

void printReverseHelp(Reporter& report)
{
    report.out("%-20s\n", versionBanner().c_str());
    report.out("%-20s\n\n", "Usage : -i INPUT [options] OUTPUT --reverse");
    for (const ReverseOption& option : kOptions) {
        std::vector<std::string> names;
        for (const char* name : option.names)
            if (name) names.emplace_back(name);
        printHelpRow(names, option.argument, option.help, report);
    }
}

std::vector<ReverseOptionText> reverseOptionTexts()
{
    std::vector<ReverseOptionText> texts;
    for (const ReverseOption& option : kOptions)
        texts.push_back({{option.names[0], option.names[1]}, option.argument, option.help});
    return texts;
}

} // namespace tesk
