// tesk-oversampler-check: what the oversampler alone makes of a sine, up to half the one-bit rate. In the finished
// stream the modulator's noise hides most of it.

#include "analysis/spectrum.h"
#include "engine/base/numbers.h"
#include "engine/base/reporter.h"
#include "engine/base/stop_flag.h"
#include "filter/window_design.h"
#include "pipeline/kernel/dispatch.h"
#include "pipeline/kernel/fir_upsample.h"

#include <atomic>
#include <cmath>
#include <cstdio>
#include <new>
#include <numbers>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace tesk;

constexpr const char* kHelp =
    "Usage: tesk-oversampler-check [options]\n"
    "  --tone HZ     a sine of full scale; may repeat (1000)\n"
    "  --rate HZ     PCM rate (44100)\n"
    "  --factor L    oversampling (64)\n"
    "  --bits N      word length of the source, which decides the number of taps (24)\n"
    "  --taps N, --beta B, --window 0..5, --slow, --unpd   as the engine's -t, -b, -w, --filter-type slow, -unpd\n"
    "  --fft LOG2    samples in the segment, 2^16 to 2^24 (22)\n"
    "  --csv         comma-separated rows\n"
    "\n"
    "Readings, from a Kaiser-windowed (beta 38) transform of the settled output; all but the first in dB relative to\n"
    "the tone in the output:\n"
    "  response      level of the tone in the output over its level in the input, the oversampler's 6.02 dB of\n"
    "                headroom made good\n"
    "  largest       the largest component other than the tone, from 20 Hz to half the output rate\n"
    "  first image   the component at rate - tone\n"
    "  all else      power of everything but the tone in that band\n"
    "Exit status: 0 done, 1 failed, 2 wrong arguments.\n";

struct CheckRequest {
    FilterRequest filter;
    std::vector<double> toneHz;
    int log2 = 22;
    bool csv = false;
};

/// Each tone needs its own skirt, clear of the mean and of its first image.
std::string toneProblem(const CheckRequest& request)
{
    const double rate = request.filter.sampleRate;
    const double binHz = rate * request.filter.oversampling / std::exp2(request.log2);
    const double apart = 2.0 * analysis::Spectrum::skirt() * binHz;
    for (double hz : request.toneHz)
        if (hz < apart || rate - 2.0 * hz < apart)
            return format("--tone takes %.1f to %.1f with this --fft", apart, (rate - apart) / 2.0);
    return {};
}

/// @return  an empty text, or what is wrong with the arguments
std::string readArguments(int argc, char** argv, CheckRequest& request)
{
    double tone = 0, rate = request.filter.sampleRate, factor = request.filter.oversampling;
    double bits = request.filter.bitDepth, taps = 0, window = 0, log2 = request.log2;
    struct Number {
        std::string_view name;
        double* value;
        double low, high;
    };
    const Number numbers[] = {{"--tone", &tone, 20, 1e6},      {"--rate", &rate, 8000, 1e6},
                              {"--factor", &factor, 2, 512},   {"--bits", &bits, 1, 64},
                              {"--taps", &taps, 512, 1048576}, {"--beta", &request.filter.beta, 0.01, 699},
                              {"--window", &window, 0, 5},     {"--fft", &log2, 16, 24}};
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--slow") {
            request.filter.filterType = filterSlowRollOff;
        } else if (argument == "--unpd") {
            request.filter.predistortion = false;
        } else if (argument == "--csv") {
            request.csv = true;
        } else {
            const Number* number = nullptr;
            for (const Number& candidate : numbers)
                if (candidate.name == argument) number = &candidate;
            if (!number) return format("what is '%s'?", argv[i]);
            const auto value = i + 1 < argc ? parseNumber(argv[++i]) : std::nullopt;
            if (!value || *value < number->low || *value > number->high)
                return format("%s takes %.7g to %.7g", number->name.data(), number->low, number->high);
            *number->value = *value;
            if (number->value == &tone) request.toneHz.push_back(tone);
        }
    }
    FilterRequest& filter = request.filter;
    filter.sampleRate = filter.sourceRate = static_cast<int>(rate);
    filter.oversampling = static_cast<int>(factor);
    filter.bitDepth = static_cast<int>(bits);
    filter.taps = static_cast<int>(taps);
    filter.windowType = static_cast<int>(window);
    request.log2 = static_cast<int>(log2);
    if (request.toneHz.empty()) request.toneHz.push_back(1000.0);
    return toneProblem(request);
}

/// A sine of amplitude 1 through the filter; [samples] of the output, its start-up left out.
std::vector<double> upsampledSine(const kernel::PhaseTable& phases, double hz, double rate, std::size_t samples)
{
    const std::size_t frames = phases.taps() + 1 + (samples + phases.phases() - 1) / phases.phases();
    std::vector<double> x(frames), history(phases.taps() + frames), y(frames * phases.phases());
    const double perFrame = hz / rate;
    for (std::size_t i = 0; i < frames; ++i) {
        const double turns = static_cast<double>(i) * perFrame;
        x[i] = std::sin(2.0 * std::numbers::pi * (turns - std::floor(turns)));
    }
    kernel::fir_upsample(x.data(), history.data(), y.data(), frames, phases, 0.0, kernel::kernels(), nullptr);
    return {y.end() - static_cast<std::ptrdiff_t>(samples), y.end()};
}

void printRow(const CheckRequest& request, const FilterPlan& plan, const kernel::PhaseTable& phases, double hz)
{
    const double rate = plan.designRate(), image = plan.sampleRate - hz;
    const auto y = upsampledSine(phases, hz, plan.sampleRate, std::size_t{1} << request.log2);
    const analysis::Spectrum spectrum(y, rate);
    const analysis::Bands whole{20.0, rate / 2, rate / 2};
    const auto all = analysis::readSpectrum(spectrum, {hz}, whole);
    const auto withImage = analysis::readSpectrum(spectrum, {hz, image}, whole);
    const double tone = all.tones[0].dbfs;
    std::printf(request.csv ? "%d,%g,%d,%.3f,%.6f,%.2f,%.2f,%.2f,%.2f,%.2f\n"
                            : "%7d %6.2f %6d %10.3f %10.6f %13.2f %9.2f %13.2f %9.2f %9.2f\n",
                plan.taps, plan.beta, request.filter.predistortion ? 1 : 0, hz, tone + 20.0 * std::log10(2.0),
                all.spur.hz, all.spur.dbfs - tone, image, withImage.tones[1].dbfs - tone, -all.snrDb);
}

/// Designs the filter and cuts its phases; nothing, with the reason printed, when there is no such filter.
std::optional<kernel::PhaseTable> designPhases(Result<FilterPlan, PDM_ENCODING_STATUS>& plan,
                                               CollectingReporter& reporter)
{
    std::atomic<std::uint8_t> noStop{0};
    StopFlag stop(noStop);
    if (plan) {
        auto prototype = designWindowFilter(*plan, reporter, stop);
        if (prototype) return kernel::PhaseTable(*prototype, static_cast<std::size_t>(plan->phases));
    }
    std::fprintf(stderr, "tesk-oversampler-check: no such filter\n%s", reporter.text.c_str());
    return {};
}

int check(const CheckRequest& request)
{
    CollectingReporter reporter;
    auto plan = settleFilter(request.filter, reporter);
    const auto phases = designPhases(plan, reporter);
    if (!phases) return 1;
    if (request.csv)
        std::printf("taps,beta,predistorted,tone_hz,response_db,largest_hz,largest_db,image_hz,image_db,all_else_db\n");
    else
        std::printf("%7s %6s %6s %10s %10s %13s %9s %13s %9s %9s\n", "taps", "beta", "predis", "tone Hz", "response",
                    "largest Hz", "dB", "1st image Hz", "dB", "all else");
    for (double hz : request.toneHz) printRow(request, *plan, *phases, hz);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && (std::string_view(argv[1]) == "--help" || std::string_view(argv[1]) == "-h")) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    try {
        CheckRequest request;
        const std::string wrong = readArguments(argc, argv, request);
        if (wrong.empty()) return check(request);
        std::fprintf(stderr, "tesk-oversampler-check: %s (--help shows the arguments)\n", wrong.c_str());
        return 2;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "tesk-oversampler-check: not enough memory\n");
        return 1;
    }
}
