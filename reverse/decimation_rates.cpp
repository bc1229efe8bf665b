#include "reverse/decimation_rates.h"

#include <algorithm>
#include <cmath>

namespace tesk {
namespace {

constexpr double kTapsPerFrame = 64;
constexpr double kFewestTaps = 128, kMostTaps = 65536;

bool isWhole(double value) { return std::abs(value - std::round(value)) < 1e-9; }

bool isMultiple(double value, double of) { return isWhole(value / of); }

double baseRate(double dsdRate, double target)
{
    if (isMultiple(dsdRate, 44100)) return 44100;
    if (isMultiple(dsdRate, 48000)) return 48000;
    return std::trunc(dsdRate / std::max(std::round(dsdRate / target), 1.0));
}

/// The ratio for a rate that was asked for and does not divide; 0 when there is none.
double nearbyRatio(double dsdRate, double target, Reporter& report)
{
    const double ratio = dsdRate / target, base = baseRate(dsdRate, target);
    if (!isMultiple(dsdRate, base)) {
        report.notice("Error: DSD sample rate (%.0f Hz) has no integer decimation to a PCM rate near target %u Hz "
                      "(ratio %.3f).\n",
                      dsdRate, static_cast<unsigned>(target), ratio);
        return 0;
    }
    const double decimation = std::round(dsdRate / base);
    const auto rate = static_cast<unsigned>(base);
    report.notice("Warning: -pcm %u does not divide the DSD rate %.0f Hz (ratio %.3f) -> decoding at %u Hz instead (%u "
                  "= %.0f / %u); the output stage resamples to the device rate\n",
                  static_cast<unsigned>(target), dsdRate, ratio, rate, rate, dsdRate,
                  static_cast<unsigned>(decimation));
    return decimation;
}

double automaticRatio(double dsdRate, Reporter& report)
{
    if (isMultiple(dsdRate, 48000)) return std::round(dsdRate / 48000);
    const double decimation = std::max(std::round(dsdRate / 44100), 1.0);
    report.notice("Warning: DSD rate %.0f Hz not integer-multiple of 44100/48000; output %.0f Hz\n", dsdRate,
                  dsdRate / decimation);
    return decimation;
}

std::uint32_t firLength(const ReverseSettings& settings, std::uint32_t decimation)
{
    if (settings.taps > 0) return settings.taps; // odd ones too
    const double factor = settings.tapsFactor > 0 ? settings.tapsFactor : 1.0;
    const double taps = std::clamp(std::round(decimation * kTapsPerFrame * factor), kFewestTaps, kMostTaps);
    return static_cast<std::uint32_t>(taps) + static_cast<std::uint32_t>(taps) % 2;
}

} // namespace

Result<DecimationRates, PDM_ENCODING_STATUS> settleRates(const ReverseSettings& settings, double dsdRate,
                                                         Reporter& report)
{
    const double target = settings.pcmRate > 0 ? settings.pcmRate : 44100, ratio = dsdRate / target;
    double decimation = std::round(ratio);
    if (!isWhole(ratio))
        decimation = settings.pcmRate > 0 ? nearbyRatio(dsdRate, target, report) : automaticRatio(dsdRate, report);
    if (!isWhole(ratio) && decimation <= 0) return DSD_ERROR;

    DecimationRates rates;
    rates.decimation = static_cast<std::uint32_t>(std::max(decimation, 1.0));
    rates.outRate = static_cast<std::uint32_t>(dsdRate / rates.decimation);
    const std::uint32_t wholeHalf = rates.outRate / 2;
    const double half = wholeHalf;
    rates.cutoff = settings.lowpass > 0 ? std::min(settings.lowpass, half) : half;
    rates.firTaps = firLength(settings, rates.decimation);
    rates.skipFrames = (std::uint64_t{rates.decimation} + rates.firTaps - 1) / rates.decimation;
    return rates;
}

} // namespace tesk
