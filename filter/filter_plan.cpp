#include "filter/filter_plan.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

namespace tesk {
namespace {

constexpr int kLeastWindowTaps = 4096;
constexpr int kMostWindowTaps = 0x100000;
constexpr int kLeastTaps = 512;
constexpr int kMostRemezTaps = 2048;
constexpr double kForcedTransitionHz = 100.0;

/// An estimate beyond int is beyond every limit that follows, so the nearest int does.
int toInt(double value) { return static_cast<int>(std::clamp(value, -2147483648.0, 2147483647.0)); }

int roundToInt(double value) { return toInt(std::round(value)); }

/// The stopband of the standard and minimum phase filters. Only 192 kHz stands on the border between the two
/// rules: it is treated as the rates above it.
int standardStopband(const FilterRequest& request)
{
    const double nyquist = request.sampleRate / 2.0;
    if (nyquist >= request.sourceRate / 2.0 && nyquist < 96000.0) return roundToInt(nyquist + 100.0);
    // Below the passband on purpose: the transition check makes passband + 100 Hz of it.
    if (nyquist >= 96000.0 && request.highBandwidth) return 24000;
    return roundToInt(nyquist + std::round(0.05 * nyquist));
}

void settleCutoffs(const FilterRequest& request, FilterPlan& plan)
{
    const double nyquist = request.sampleRate / 2.0;
    if (request.remez) {
        plan.passbandCutoff = request.passbandCutoff != 0 ? request.passbandCutoff : roundToInt(nyquist);
        plan.stopbandCutoff = request.stopbandCutoff != 0 ? request.stopbandCutoff : plan.passbandCutoff + 4096;
    } else if (request.filterType == filterSlowRollOff) {
        plan.passbandCutoff = std::max(1, roundToInt(0.66 * nyquist));
        plan.stopbandCutoff = roundToInt(1.5 * nyquist);
    } else {
        plan.passbandCutoff = roundToInt(nyquist);
        plan.stopbandCutoff = standardStopband(request);
    }
}

Status settleTransition(const FilterRequest& request, FilterPlan& plan, Reporter& reporter)
{
    plan.deltaF = request.deltaF != 0.0 ? request.deltaF : plan.stopbandCutoff - plan.passbandCutoff;
    if (plan.deltaF > 0.0) return {};
    reporter.warning("stopband_cutoff(%d) <= passband_cutoff(%d); forcing 100 Hz transition\n", plan.stopbandCutoff,
                     plan.passbandCutoff);
    if (request.remez && plan.stopbandCutoff <= plan.passbandCutoff) {
        reporter.error("Error : ");
        reporter.error("Remez: stopband_cutoff must be > passband_cutoff\n");
        return DSD_ERROR_ASSERT;
    }
    plan.deltaF = kForcedTransitionHz;
    plan.stopbandCutoff = plan.passbandCutoff + 100;
    return {};
}

void settleAttenuation(const FilterRequest& request, FilterPlan& plan)
{
    plan.alphaScale = request.alphaScale > 0.0 ? request.alphaScale : request.oversampling * 0.015625;
    plan.alpha = request.stopGainAlpha != 0.0 ? request.stopGainAlpha
                                              : 2.0 * plan.alphaScale * sourceAttenuationDb(request.bitDepth);
}

int estimateTaps(const FilterRequest& request, const FilterPlan& plan, Reporter& reporter)
{
    if (!request.remez)
        return estimateWindowTaps(plan.alpha, request.oversampling * plan.deltaF, plan.designRate(),
                                  request.oversampling);
    const double automatic = 2.0 * plan.alphaScale * sourceAttenuationDb(request.bitDepth);
    const auto estimate = estimateRemezTaps(plan.passbandCutoff, plan.stopbandCutoff, std::max(automatic, plan.alpha),
                                            request.sourceRate);
    if (estimate.invalidRate)
        reporter.warning("Remez tap estimation: invalid sampleRate(%.0f); using 44100\n",
                         static_cast<double>(request.sourceRate));
    if (estimate.clamped)
        reporter.warning("Remez estimated taps %d exceeds convergence envelope (2048); clamping\n", estimate.taps);
    return estimate.taps;
}

double automaticBeta(const FilterRequest& request)
{
    if (request.highBandwidth) return 12.0;
    return request.sampleRate <= 96000 ? 6.0 : 8.0;
}

Status settlePhases(const FilterRequest& request, FilterPlan& plan, Reporter& reporter)
{
    double ratio = request.pcmSampleRateRatio;
    if (!(ratio > 0.0)) {
        reporter.warning("pcmsampleRateRatio(%.3f) invalid; clamping to 1.0\n", ratio);
        ratio = 1.0;
    }
    plan.phases = std::max(1, roundToInt(request.oversampling / ratio));
    plan.tapsPerPhase = plan.taps / plan.phases;
    if (plan.taps % 2 == 0 && plan.taps >= kLeastTaps && plan.tapsPerPhase > 0) return {};
    reporter.error("TAPS must be even and >= 512.\n");
    if (plan.tapsPerPhase == 0)
        reporter.error("%d taps cannot be divided among %d phases: at least one tap per phase is needed.\n", plan.taps,
                       plan.phases);
    return DSD_ERROR_ASSERT;
}

void printPlan(const FilterRequest& request, const FilterPlan& plan, Reporter& reporter)
{
    const char* type = request.filterType == filterStandard      ? "standard"
                       : request.filterType == filterSlowRollOff ? "slow roll-off"
                                                                 : "minimum phase";
    reporter.line("Filter Type:", "%s\n", type);
    reporter.line("Passband Cutoff:", "%d(Hz)\n", plan.passbandCutoff);
    reporter.line("Stopband Cutoff:", "%d(Hz)\n", plan.stopbandCutoff);
    reporter.line("Delta f:", "%d(Hz)\n", roundToInt(plan.deltaF));
    reporter.line("Stop Gain Alpha:", "%.0f\n", plan.alpha);
    reporter.line("DefTaps:", "%d\n", plan.taps);
    reporter.line("PDM Channels:", "%d\n", request.pdmChannels);
}

} // namespace

Result<FilterPlan, PDM_ENCODING_STATUS> settleFilter(const FilterRequest& request, Reporter& reporter)
{
    FilterPlan plan;
    plan.sampleRate = request.sampleRate;
    plan.sourceRate = request.sourceRate;
    plan.oversampling = request.oversampling;
    plan.filterType = request.filterType;
    plan.windowType = request.windowType;
    plan.apodizingMode = request.apodizingMode;
    plan.minimumPhase = request.minimumPhase || request.filterType >= filterMinimumPhase;
    plan.remez = request.remez;
    plan.gridDensity = request.gridDensity;
    plan.maxIterations = request.maxIterations;
    plan.predistortion = request.predistortion;
    plan.eqBands = request.eqBands;
    plan.beta = request.beta != 0.0 ? request.beta : automaticBeta(request);

    settleCutoffs(request, plan);
    if (const Status status = settleTransition(request, plan, reporter); !status.ok()) return status.status();
    settleAttenuation(request, plan);
    plan.taps = request.taps != 0 ? request.taps : estimateTaps(request, plan, reporter);
    if (const Status status = settlePhases(request, plan, reporter); !status.ok()) return status.status();
    printPlan(request, plan, reporter);
    return plan;
}

int sourceAttenuationDb(int bitDepth)
{
    const int bits = bitDepth < 1 ? 24 : bitDepth;
    return toInt(std::clamp(std::floor(6.02 * bits - 10.0), 60.0, 144.0));
}

int estimateWindowTaps(double alpha, double width, double rate, int oversampling)
{
    if (!(rate > 0.0 && width > 0.0)) return kLeastWindowTaps;
    const std::int64_t estimate = toInt(std::ceil((alpha - 7.95) / (14.36 * width / rate)));
    const std::int64_t most = std::int64_t{std::max(1, oversampling)} * kLeastWindowTaps;
    const std::int64_t needed = std::max<std::int64_t>(1, std::min(most, estimate));
    // ceil(log2 needed) without a logarithm's rounding; the exponent counts modulo 32, as a 32-bit shift does.
    const int exponent = std::bit_width(static_cast<std::uint64_t>(needed - 1)) % 32;
    const std::int64_t taps = std::int64_t{1} << exponent;
    return static_cast<int>(std::clamp<std::int64_t>(taps, kLeastWindowTaps, kMostWindowTaps));
}

RemezTapEstimate estimateRemezTaps(double passbandHz, double stopbandHz, double alpha, double rate)
{
    RemezTapEstimate result;
    result.invalidRate = !(rate > 0.0);
    if (result.invalidRate) rate = 44100.0;
    double width = (stopbandHz - passbandHz) / rate;
    if (width <= 0.0) width = kForcedTransitionHz / rate;
    std::int64_t estimate = toInt(std::ceil(((alpha - 7.95) / (14.36 * width) + 1.0) * 1.2));
    estimate += estimate & 1;
    if (estimate < 2) {
        result.taps = kLeastTaps;
        return result;
    }
    const std::uint64_t power = std::bit_ceil(static_cast<std::uint64_t>(estimate));
    result.clamped = power > kMostRemezTaps;
    result.taps = static_cast<int>(std::clamp<std::uint64_t>(power, kLeastTaps, kMostRemezTaps));
    return result;
}

} // namespace tesk
