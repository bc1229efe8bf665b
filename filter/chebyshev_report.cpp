#include "filter/chebyshev_report.h"

#include "filter/fft.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <string>
#include <vector>

namespace tesk {
namespace {

double toDb(double ratio) { return 20.0 * std::log10(std::max(ratio, 1e-30)); }

/// |H| of both filters from 0 to half the rate.
struct Responses {
    std::vector<double> designed, fitted;
};

/// Both in one transform: the designed taps as real, the fitted ones as imaginary part.
Responses respond(std::span<const double> designed, std::span<const double> fitted)
{
    const std::size_t taps = std::bit_ceil(designed.size());
    const std::size_t n = std::min(8 * taps, std::max<std::size_t>(std::size_t{1} << 22, 4 * taps));
    std::vector<std::complex<double>> x(n);
    for (std::size_t i = 0; i < designed.size(); ++i) x[i] = {designed[i], fitted[i]};
    FftPlan(n).forward(x.data());
    Responses result;
    for (std::size_t k = 0; k <= n / 2; ++k) {
        const std::complex<double> mirror = std::conj(x[(n - k) % n]);
        result.designed.push_back(std::abs(x[k] + mirror) / 2.0);
        result.fitted.push_back(std::abs(x[k] - mirror) / 2.0);
    }
    return result;
}

/// The window widens the slope beyond its cutoff, by how much depends on the design: the first minimum ends it.
std::size_t stopbandBegin(const std::vector<double>& response, std::size_t cutoff)
{
    for (std::size_t k = std::max<std::size_t>(cutoff, 1); k + 1 < response.size(); ++k)
        if (response[k] <= response[k - 1] && response[k] <= response[k + 1]) return k;
    return std::min(cutoff, response.size() - 1);
}

void compareTaps(std::span<const double> designed, std::span<const double> fitted, ChebyshevReport& report)
{
    double top = 0.0, largest = 0.0, squares = 0.0;
    for (std::size_t n = 0; n < designed.size(); ++n) {
        const double difference = std::abs(designed[n] - fitted[n]);
        top = std::max(top, std::abs(designed[n]));
        largest = std::max(largest, difference);
        squares += difference * difference;
    }
    top = std::max(top, 1e-300);
    report.largestTapDb = toDb(largest / top);
    report.rmsTapDb = toDb(std::sqrt(squares / static_cast<double>(designed.size())) / top);
}

void compareResponses(const Responses& responses, const FilterPlan& plan, ChebyshevReport& report)
{
    const auto& [designed, fitted] = responses;
    const double step = plan.designRate() / 2.0 / static_cast<double>(designed.size() - 1);
    const auto last = static_cast<double>(designed.size() - 1);
    const auto bin = [&](double hz) { return static_cast<std::size_t>(std::clamp(std::floor(hz / step), 0.0, last)); };
    const std::size_t pass = bin(plan.passbandCutoff);
    const std::size_t stop = stopbandBegin(designed, bin(plan.stopbandCutoff));
    report.passbandHz = plan.passbandCutoff;
    report.stopbandHz = static_cast<double>(stop) * step;
    for (std::size_t k = 0; k <= pass; ++k)
        report.passbandDb = std::max(report.passbandDb, std::abs(toDb(fitted[k]) - toDb(designed[k])));
    const double gain = std::max(designed[0], 1e-300);
    const auto from = static_cast<std::ptrdiff_t>(stop);
    report.stopDesignedDb = toDb(*std::max_element(designed.begin() + from, designed.end()) / gain);
    report.stopFittedDb = toDb(*std::max_element(fitted.begin() + from, fitted.end()) / gain);
}

} // namespace

ChebyshevReport compareChebyshev(std::span<const double> designed, std::span<const double> fitted,
                                 const ChebyshevFir& fir, const FilterPlan& plan)
{
    ChebyshevReport report;
    report.degree = fir.degree;
    report.taps = fir.taps;
    report.stored = fir.coefficients.size();
    compareTaps(designed, fitted, report);
    compareResponses(respond(designed, fitted), plan, report);
    report.boundDb = toDb(chebyshevDeviation(designed, fitted));
    return report;
}

void printChebyshev(const ChebyshevReport& r, Reporter& reporter)
{
    reporter.line("Poly", "Degree %d: %zu coefficients stored for %d taps (%.1f %%); the filter runs all taps\n",
                  r.degree, r.stored, r.taps, 100.0 * static_cast<double>(r.stored) / r.taps);
    reporter.line("Poly", "Taps: deviation %.1f dB at most, %.1f dB RMS, of the largest tap\n", r.largestTapDb,
                  r.rmsTapDb);
    reporter.line("Poly", "Passband up to %.0f Hz: deviation %.2g dB at most\n", r.passbandHz, r.passbandDb);
    reporter.line("Poly", "Stopband from %.0f Hz: %.1f dB designed, %.1f dB fitted\n", r.stopbandHz, r.stopDesignedDb,
                  r.stopFittedDb);
    reporter.line("Poly", "No frequency deviates by more than %.1f dB of the gain at DC\n", r.boundDb);
}

void printSearch(const DegreeSearch& search, double targetDb, Reporter& reporter)
{
    if (search.reached)
        reporter.line("Poly", "Automatic degree: %d is the smallest below %.0f dB (%.1f dB)\n", search.fir.degree,
                      targetDb, toDb(search.deviation));
    else
        reporter.line("Poly", "Automatic degree: none reaches %.0f dB, %d is the best (%.1f dB)\n", targetDb,
                      search.fir.degree, toDb(search.deviation));
}

void alertUnusable(double deviation, const ChebyshevFitter& fitter, Reporter& reporter)
{
    const std::string gap =
        format("the polynomial deviates by %.1f dB of the gain at DC, more than the %.0f dB allowed; "
               "the designed filter is kept.",
               toDb(deviation), kUsableDb);
    const DegreeSearch search = searchDegree(fitter, kLeastPolyDegree, kUsableDb);
    if (search.reached)
        reporter.alert("%s Smallest usable degree: %d\n", gap.c_str(), search.fir.degree);
    else
        reporter.alert("%s No degree up to %d is usable\n", gap.c_str(), fitter.mostDegree());
}

} // namespace tesk
