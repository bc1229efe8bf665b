#include "filter/window_design.h"

#include "filter/fft.h"
#include "filter/windows.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>

namespace tesk {
namespace {

using std::numbers::pi;
using Coefficients = std::vector<double>;
namespace windows = dsp_utils::signal_processing;

/// The low-pass at one frequency: 1, a raised-cosine slope, 10^(−alpha/20).
double desiredGain(const FilterPlan& plan, double frequencyHz, double stopGain)
{
    if (frequencyHz < plan.passbandCutoff) return 1.0;
    if (frequencyHz >= plan.stopbandCutoff) return stopGain;
    const double width = plan.stopbandCutoff - plan.passbandCutoff;
    const double way = std::clamp((frequencyHz - plan.passbandCutoff) / width, 0.0, 1.0);
    return (1.0 + std::cos(pi * way)) / 2.0;
}

/// The lower half of the response, N/2 points. The grid stands at (k + 1)/(N + 1) of R, so never on DC.
Coefficients desiredResponse(const FilterPlan& plan)
{
    Coefficients response(static_cast<std::size_t>(plan.taps / 2));
    const auto points = static_cast<std::int64_t>(response.size());
    const double rate = plan.designRate();
    const double stopGain = std::pow(10.0, -plan.alpha / 20.0);
#ifdef _OPENMP
#pragma omp parallel for schedule(static)
#endif
    for (std::int64_t k = 0; k < points; ++k) {
        const double frequencyHz = static_cast<double>(k + 1) * rate / (plan.taps + 1.0);
        response[static_cast<std::size_t>(k)] = desiredGain(plan, frequencyHz, stopGain);
    }
    return response;
}

/// (k + 1)·R/N: the grid of the two corrections, which differs from the response's own.
double correctionFrequency(const FilterPlan& plan, std::size_t k)
{
    return static_cast<double>(k + 1) * plan.designRate() / plan.taps;
}

/// Undoes the droop of an N-point moving average within the slope. The grid stands on that average's zeros, so in
/// practice the limit of 2 decides and the slope is doubled.
void predistort(const FilterPlan& plan, Coefficients& response)
{
    const double taps = plan.taps;
    for (std::size_t k = 0; k < response.size(); ++k) {
        const double frequencyHz = correctionFrequency(plan, k);
        if (frequencyHz < plan.passbandCutoff || frequencyHz >= plan.stopbandCutoff) continue;
        const double w = 2.0 * pi * frequencyHz / plan.designRate();
        if (std::abs(w) < 1e-10) {
            response[k] = 1.0;
            continue;
        }
        const double droop = std::abs(std::sin(taps * w / 2.0) / (taps * std::sin(w / 2.0)));
        response[k] *= std::min(2.0, 1.0 / droop);
    }
}

/// Adds the band's bump: its gain at the centre, half of its height half a width away.
void addBand(const FilterPlan& plan, const FilterEqBand& band, Coefficients& response)
{
    if (band.widthHz <= 0) return;
    const double height = std::pow(10.0, band.gainDb / 20.0) - 1.0;
    for (std::size_t k = 0; k < response.size(); ++k) {
        const double offset = (correctionFrequency(plan, k) - band.centreHz) / (band.widthHz / 2.0);
        response[k] = std::max(0.0, response[k] + height * std::exp(-offset * offset * std::numbers::ln2));
    }
}

/// A band of a few bins is smeared by the window's main lobe: 500 Hz of the 344 Hz that 8192 taps tell apart at DSD64
/// keep 3.5 of 6 dB, 2000 Hz 5.6 dB.
void warnOfNarrowBands(const FilterPlan& plan, Reporter& reporter)
{
    constexpr double kFewestBins = 4, kMostTaps = 1 << 20; // more take minutes
    const double binHz = plan.designRate() / plan.taps;
    for (const FilterEqBand& band : plan.eqBands) {
        if (band.widthHz <= 0 || band.widthHz >= kFewestBins * binHz) continue;
        if (band.centreHz > static_cast<int>(plan.sampleRate) / 2) continue; // nothing is heard there anyhow
        const double taps = std::exp2(std::ceil(std::log2(kFewestBins * plan.designRate() / band.widthHz)));
        const std::string advice =
            taps <= kMostTaps ? format("-t %.0f would show it", taps) : std::string("take a wider one");
        reporter.warning(
            "-eq: the band at %d Hz is %d Hz wide, and %d taps tell only %.0f Hz apart: it comes out weaker "
            "or not at all; %s\n",
            band.centreHz, band.widthHz, plan.taps, binHz, advice.c_str());
    }
}

/// From the half response to N taps with the impulse's centre at N/2.
Coefficients impulseFrom(const Coefficients& half)
{
    const std::size_t n = 2 * half.size();
    std::vector<std::complex<double>> spectrum(n);
    for (std::size_t k = 0; k < half.size(); ++k) spectrum[k] = spectrum[n - 1 - k] = half[k];
    FftPlan(n).inverse(spectrum.data());
    Coefficients taps(n);
    for (std::size_t i = 0; i < n; ++i) taps[i] = spectrum[(i + n / 2) % n].real() / static_cast<double>(n);
    return taps;
}

Coefficients windowOf(const FilterPlan& plan, Reporter& reporter)
{
    const auto length = static_cast<std::size_t>(plan.taps);
    switch (plan.windowType) {
    case windowKaiser:
        reporter.line("Report", "Do Kaiser window\n");
        reporter.line("Beta:", "%lf\n", plan.beta);
        return windows::generate_kaiser_window(length, plan.beta);
    case windowBlackman:
        reporter.line("Report", "Do BlackMan window\n");
        return windows::generate_blackman_window(length);
    case windowFlatTop:
        reporter.line("Report", "Do FlatTop window\n");
        return windows::generate_flat_top_window(length);
    case windowBartlett:
        reporter.line("Report", "Do Bartlett window\n");
        return windows::generate_bartlett_window(length);
    case windowHamming: reporter.line("Report", "Do Hamming window\n"); return windows::generate_hamming_window(length);
    case windowHanning: reporter.line("Report", "Do Hanning window\n"); return windows::generate_hanning_window(length);
    default: return Coefficients(length, 1.0);
    }
}

/// Tapers both ends. The factor begins at 1 outside, falls to nothing and jumps back to 1 where the taper ends: that
/// order is meant, and sets the mode's stopband.
void apodize(int mode, Coefficients& taps)
{
    if (mode < 1 || mode > 3) return;
    constexpr double kept[] = {0.95, 0.9, 0.8};
    const std::size_t n = taps.size();
    const std::size_t tapered = n - static_cast<std::size_t>(static_cast<double>(n) * kept[mode - 1]);
    const std::size_t side = tapered / 2;
    for (std::size_t i = 0; i < side; ++i) {
        const double factor = (std::cos(pi * static_cast<double>(i) / static_cast<double>(side)) + 1.0) / 2.0;
        taps[i] *= factor;
        taps[n - 1 - i] *= factor;
    }
}

} // namespace

Result<std::vector<double>, PDM_ENCODING_STATUS> designWindowFilter(const FilterPlan& plan, Reporter& reporter,
                                                                    StopFlag& stop)
{
    if (plan.sampleRate == 0) return Coefficients{};
    if (plan.stopbandCutoff <= plan.passbandCutoff) {
        reporter.error("Error : ");
        reporter.error("Error: stopband_cutoff [%d] must be > passband_cutoff [%d]\n", plan.stopbandCutoff,
                       plan.passbandCutoff);
        return DSD_ERROR_ASSERT;
    }
    Coefficients response = desiredResponse(plan);
    if (stop.pending()) return kHostStopped;

    reporter.line("Report", plan.predistortion ? "Use PreDistortion\n" : "Unused PreDistortion\n");
    if (plan.predistortion) predistort(plan, response);
    for (const FilterEqBand& band : plan.eqBands) addBand(plan, band, response);
    warnOfNarrowBands(plan, reporter);
    if (stop.pending()) return kHostStopped;

    Coefficients taps = impulseFrom(response);
    if (stop.pending()) return kHostStopped;

    windows::apply_window(taps, windowOf(plan, reporter));
    apodize(plan.apodizingMode, taps);
    if (stop.pending()) return kHostStopped;
    return taps;
}

} // namespace tesk
