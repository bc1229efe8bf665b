// tesk-measure: makes test signals and reads the figures of one-bit streams.

#include "analysis/spectrum.h"
#include "engine/base/numbers.h"
#include "engine/base/reporter.h"
#include "tools/dsf_file.h"
#include "tools/pcm_file.h"
#include "tools/spectrum_svg.h"
#include "tools/test_signal.h"
#include "tools/wav_file.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <new>
#include <string>
#include <vector>

namespace {

using namespace tesk::analysis;
using namespace tesk::measure;

constexpr const char* kHelp =
    "Usage:\n"
    "  tesk-measure tone|noise|silence|impulse|music OUT.wav [options]\n"
    "    --freq HZ        frequency of the tone (1000)\n"
    "    --freq2 HZ       a second tone; each then has half of the amplitude\n"
    "    --level DB       peak of the signal, dB of full scale (-6)\n"
    "    --seconds S      length (10)\n"
    "    --rate HZ        sampling rate (44100)\n"
    "    --format F       f64, s24 or s16 (s24); integers are rounded, not dithered\n"
    "    --channels N     1 to 8 (2)\n"
    "  tesk-measure dsd FILE.dsf [options]\n"
    "  tesk-measure pcm FILE.wav [options]\n"
    "    --tone HZ|none   the tone; may repeat; default: the largest peak in band\n"
    "    --skip SECONDS   where the segment begins (0.5)\n"
    "    --fft LOG2       samples in the segment, 2^12 to 2^25 (22)\n"
    "    --csv            comma-separated rows\n"
    "    --svg PICTURE    draws the spectrum\n"
    "\n"
    "Readings, per channel, from a Kaiser-windowed (beta 38) transform of the segment:\n"
    "  level    peak level of the tone: a sine of amplitude 1 reads 0 dBFS. A converter that\n"
    "           keeps headroom in the stream reads lower than its input by that headroom.\n"
    "  SNR      power of the tones over the power of everything else from 20 Hz to 20 kHz;\n"
    "           harmonics and all other distortion count as noise. 14 bins to either side of\n"
    "           a tone belong to it.\n"
    "  noise    that power, 0 dBFS being the power of a sine of amplitude 1\n"
    "           (--csv: also A-weighted, and weighted by the 40 phon contour of ISO 226)\n"
    "  spur     largest peak from 20 Hz to 20 kHz but the tones; in pure noise, its largest bin\n"
    "  outside  largest peak above 20 kHz up to 100 kHz\n"
    "  DC       mean of the segment, full scale 1\n"
    "Exit status: 0 done, 1 failed, 2 wrong arguments.\n";

int wrong(const std::string& text)
{
    std::fprintf(stderr, "tesk-measure: %s (--help shows the arguments)\n", text.c_str());
    return 2;
}

int failed(const std::string& text)
{
    std::fprintf(stderr, "tesk-measure: %s\n", text.c_str());
    return 1;
}

/// Takes the arguments one by one; the first mistake is kept.
class Arguments {
public:
    Arguments(int argc, char** argv) : values_(argv, argv + argc) {}

    bool next(std::string& argument)
    {
        if (!mistake.empty() || at_ >= values_.size()) return false;
        argument = values_[at_++];
        return true;
    }
    std::string text(const std::string& option)
    {
        if (at_ < values_.size()) return values_[at_++];
        mistake = option + " needs a value";
        return {};
    }
    double number(const std::string& option, double low, double high)
    {
        const std::string value = text(option);
        const auto number = tesk::parseNumber(value);
        if (mistake.empty() && (!number || *number < low || *number > high))
            mistake = tesk::format("%s takes %g to %g, not '%s'", option.c_str(), low, high, value.c_str());
        return number.value_or(low);
    }

    std::string mistake;

private:
    std::vector<std::string> values_;
    std::size_t at_ = 0;
};

int makeFile(SignalKind kind, Arguments& arguments)
{
    SignalRequest request;
    request.kind = kind;
    std::string path, argument, format = "s24";
    while (arguments.next(argument)) {
        if (argument == "--freq")
            request.hz = arguments.number(argument, 0.001, 1e6);
        else if (argument == "--freq2")
            request.hz2 = arguments.number(argument, 0.001, 1e6);
        else if (argument == "--level")
            request.levelDb = arguments.number(argument, -300, 20);
        else if (argument == "--seconds")
            request.seconds = arguments.number(argument, 0, 36000);
        else if (argument == "--rate")
            request.rate = std::round(arguments.number(argument, 1000, 1e6));
        else if (argument == "--channels")
            request.channels = static_cast<unsigned>(arguments.number(argument, 1, 8));
        else if (argument == "--format")
            format = arguments.text(argument);
        else if (argument.starts_with("-") || !path.empty())
            return wrong("what is '" + argument + "'?");
        else
            path = argument;
    }
    const auto wav = wavFormat(format);
    if (!arguments.mistake.empty()) return wrong(arguments.mistake);
    if (!wav) return wrong("--format takes f64, s24 or s16, not '" + format + "'");
    if (path.empty()) return wrong("no output file");
    if (request.seconds * request.rate * request.channels * 8 > 3e9) return wrong("the file would not fit a WAV file");
    const auto bytes = wavImage(makeSignal(request), static_cast<unsigned>(request.rate), *wav);
    const std::string problem = writeFile(path, bytes);
    return problem.empty() ? 0 : failed(path + ": " + problem);
}

struct MeasureRequest {
    std::string path, picture;
    std::vector<double> toneHz;
    bool noTone = false, csv = false;
    double skipSeconds = 0.5;
    int log2 = 22;
};

void printHeading(const MeasureRequest& request, const SampleFile& file, std::uint64_t samples, std::uint64_t first)
{
    if (request.csv) {
        std::printf("file,rate_hz,samples,channel,tone_hz,level_dbfs,snr_db,noise_dbfs,spur_hz,spur_dbfs,outside_hz,"
                    "outside_dbfs,dc,noise_a_dbfs,noise_40phon_dbfs\n");
        return;
    }
    const double rate = file.rate();
    std::printf("%s: %u Hz, %u channels; %llu samples from %.3f s, %.3f Hz per bin\n", request.path.c_str(),
                file.rate(), file.channels(), static_cast<unsigned long long>(samples),
                static_cast<double>(first) / rate, rate / static_cast<double>(samples));
    std::printf("%7s %12s %9s %8s %8s %10s %8s %11s %8s %12s\n", "channel", "tone Hz", "dBFS", "SNR dB", "noise",
                "spur Hz", "dBFS", "outside Hz", "dBFS", "DC");
}

/// One row per tone; a channel without a tone has one row too.
void printRows(const MeasureRequest& request, const SampleFile& file, std::uint64_t samples, unsigned channel,
               const Readings& r)
{
    for (std::size_t t = 0; t < std::max<std::size_t>(1, r.tones.size()); ++t) {
        const bool tone = t < r.tones.size();
        const char* none = request.csv ? "" : "-";
        const std::string hz = tone ? tesk::format("%.3f", r.tones[t].hz) : none;
        const std::string level = tone ? tesk::format("%.3f", r.tones[t].dbfs) : none;
        const std::string snr = tone ? tesk::format("%.2f", r.snrDb) : none;
        if (request.csv)
            std::printf("%s,%u,%llu,%u,%s,%s,%s,%.2f,%.2f,%.2f,%.2f,%.2f,%.3e,%.2f,%.2f\n", request.path.c_str(),
                        file.rate(), static_cast<unsigned long long>(samples), channel + 1, hz.c_str(), level.c_str(),
                        snr.c_str(), r.noiseDbfs, r.spur.hz, r.spur.dbfs, r.outside.hz, r.outside.dbfs, r.dc,
                        r.noiseADbfs, r.noise40Dbfs);
        else
            std::printf("%7u %12s %9s %8s %8.2f %10.2f %8.2f %11.2f %8.2f %12.3e\n", channel + 1, hz.c_str(),
                        level.c_str(), snr.c_str(), r.noiseDbfs, r.spur.hz, r.spur.dbfs, r.outside.hz, r.outside.dbfs,
                        r.dc);
    }
}

int measureFile(const MeasureRequest& request, SampleFile& file)
{
    if (const std::string problem = file.open(request.path); !problem.empty())
        return failed(request.path + ": " + problem);
    const auto first = static_cast<std::uint64_t>(request.skipSeconds * file.rate());
    const std::uint64_t left = file.samples() > first ? file.samples() - first : 0;
    const std::uint64_t samples = std::min(std::uint64_t{1} << request.log2, std::bit_floor(left));
    if (samples < 4096) return failed(request.path + ": fewer than 4096 samples behind the skip");

    printHeading(request, file, samples, first);
    std::vector<Spectrum> spectra;
    for (unsigned c = 0; c < file.channels(); ++c) {
        const auto segment = file.read(c, first, samples);
        if (segment.size() != samples) return failed(request.path + ": cannot be read to its end");
        Spectrum spectrum(segment, file.rate());
        auto tones = request.toneHz;
        if (tones.empty() && !request.noTone) tones.push_back(largestPeak(spectrum, 20.0, 20000.0).hz);
        printRows(request, file, samples, c, readSpectrum(spectrum, tones));
        if (!request.picture.empty()) spectra.push_back(std::move(spectrum));
    }
    if (request.picture.empty()) return 0;
    const std::string name = request.path.substr(request.path.find_last_of('/') + 1);
    const std::string svg = spectrumSvg(spectra, tesk::format("%s, %u Hz", name.c_str(), file.rate()));
    const std::string problem = writeFile(request.picture, {svg.begin(), svg.end()});
    return problem.empty() ? 0 : failed(request.picture + ": " + problem);
}

int measureRecording(Arguments& arguments, SampleFile& file)
{
    MeasureRequest request;
    std::string argument;
    while (arguments.next(argument)) {
        if (argument == "--tone") {
            const std::string value = arguments.text(argument);
            const auto hz = tesk::parseNumber(value);
            if (value == "none")
                request.noTone = true;
            else if (hz && *hz > 0.0)
                request.toneHz.push_back(*hz);
            else
                return wrong("--tone takes a frequency or none");
        } else if (argument == "--skip") {
            request.skipSeconds = arguments.number(argument, 0, 1e6);
        } else if (argument == "--fft") {
            request.log2 = static_cast<int>(arguments.number(argument, 12, 25));
        } else if (argument == "--csv") {
            request.csv = true;
        } else if (argument == "--svg") {
            request.picture = arguments.text(argument);
        } else if (argument.starts_with("-") || !request.path.empty()) {
            return wrong("what is '" + argument + "'?");
        } else {
            request.path = argument;
        }
    }
    if (!arguments.mistake.empty()) return wrong(arguments.mistake);
    if (request.path.empty()) return wrong("no file to measure");
    return measureFile(request, file);
}

int run(int argc, char** argv)
{
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "--help" || command == "-h") {
        std::fputs(kHelp, stdout);
        return 0;
    }
    Arguments arguments(std::max(0, argc - 2), argv + std::min(2, argc));
    DsfFile dsd;
    PcmFile pcm;
    if (command == "dsd" || command == "pcm")
        return measureRecording(arguments, command == "dsd" ? static_cast<SampleFile&>(dsd) : pcm);
    if (const auto kind = signalKind(command)) return makeFile(*kind, arguments);
    return wrong(command.empty() ? "no command" : "unknown command '" + command + "'");
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::bad_alloc&) {
        return failed("not enough memory");
    }
}
