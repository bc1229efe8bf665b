#include "filter/remez_design.h"

#include "filter/remez.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <numeric>

namespace tesk {
namespace {

constexpr double kPassbandWeight = 100.0;
constexpr double kMostAttenuationDb = 180.0;

using Coefficients = std::vector<double>;

double sumOf(const Coefficients& taps) { return std::accumulate(taps.begin(), taps.end(), 0.0); }

void scale(Coefficients& taps, double divisor)
{
    for (double& tap : taps) tap /= divisor;
}

/// What remains of the droop correction on this path: unit DC gain. The exchange has settled the slope, where the
/// correction would act, and its result is not bent afterwards.
void predistort(Coefficients& taps)
{
    const double sum = sumOf(taps);
    if (std::abs(sum) > 1e-12) scale(taps, sum);
}

/// By the sum of the magnitudes, not by the plain sum: the gain at DC is given away, never the headroom.
void normalise(Coefficients& taps)
{
    double sum = 0.0;
    for (const double tap : taps) sum += std::abs(tap);
    if (sum > 0.0) scale(taps, sum);
}

/// Σ taps[n]·e^(−2πi·f·n), f as a fraction of the rate.
std::complex<double> responseAt(const Coefficients& taps, double f)
{
    std::complex<double> sum;
    for (std::size_t n = 0; n < taps.size(); ++n)
        sum += std::polar(taps[n], -2.0 * std::numbers::pi * f * static_cast<double>(n));
    return sum;
}

/// The largest gain, in dB, at 513 points from `edge` to half the rate.
double stopbandDb(const Coefficients& taps, double edge)
{
    double largest = 0.0;
    for (int i = 0; i <= 512; ++i)
        largest = std::max(largest, std::abs(responseAt(taps, edge + (0.5 - edge) * i / 512)));
    return 20.0 * std::log10(largest + 1e-30);
}

} // namespace

Result<std::vector<double>, PDM_ENCODING_STATUS> designRemezFilter(const FilterPlan& plan, Reporter& reporter,
                                                                   StopFlag& stop)
{
    reporter.line("Report", "Maxiterations = %d\n", plan.maxIterations);
    reporter.line("Report", "Griddensity = %d\n", plan.gridDensity);
    const double passband = plan.passbandCutoff / plan.designRate(), stopband = plan.stopbandCutoff / plan.designRate();
    if (passband > stopband) {
        reporter.error("Error : ");
        reporter.error("Check bands_remez\n");
        return DSD_ERROR_ASSERT;
    }
    const double attenuation = std::min(plan.alpha, kMostAttenuationDb);
    const double edges[] = {0.0, passband, stopband, 0.5}, desired[] = {1.0, 1.0, 0.0, 0.0};
    const double weights[] = {kPassbandWeight, std::pow(10.0, attenuation / 20.0)};
    Coefficients taps(static_cast<std::size_t>(plan.taps));
    const PDM_ENCODING_STATUS status = remezExchange(plan.taps, taps.data(), 2, edges, desired, weights, remezBandPass,
                                                     plan.gridDensity, plan.maxIterations, reporter, stop);
    if (status == kHostStopped) return status;
    const bool predistorted = plan.predistortion && status == DSD_SUCCESS;
    reporter.line("Report", predistorted ? "Applying PreDistortion to FIR coefficients\n" : "PreDistortion not used\n");
    if (status != DSD_SUCCESS) return status;
    if (predistorted) predistort(taps);

    normalise(taps);
    reporter.line("Report", "Normalized DC gain = %f, optimum near to 1.0\n", sumOf(taps));
    reporter.line("Report", "Remez achieved stopband: %.1f dB (design target %.0f dB)\n", stopbandDb(taps, stopband),
                  attenuation);
    return taps;
}

} // namespace tesk
