#include "analysis/spectrum.h"

#include "modulator/equal_loudness.h"

#include "filter/fft.h"
#include "filter/windows.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <optional>

namespace tesk::analysis {
namespace {

constexpr double kBeta = 38.0;
constexpr double kFloor = 1e-40; // -400 dB: what stands for nothing at all

double powerDb(double power) { return 10.0 * std::log10(std::max(power, kFloor)); }

struct BinRange {
    std::size_t first = 0, last = 0; // last is included; empty when it lies before first
};

BinRange binsWithin(const Spectrum& s, double lowHz, double highHz)
{
    const auto top = static_cast<double>(s.bins() - 1);
    return {static_cast<std::size_t>(std::clamp(std::ceil(lowHz / s.binHz()), 0.0, top)),
            static_cast<std::size_t>(std::clamp(std::floor(highHz / s.binHz()), 0.0, top))};
}

BinRange skirtOf(const Spectrum& s, std::size_t bin)
{
    return {bin > Spectrum::skirt() ? bin - Spectrum::skirt() : 0, std::min(s.bins() - 1, bin + Spectrum::skirt())};
}

/// The largest bin of a range that is not marked; nothing when all are.
std::optional<std::size_t> largestBin(const Spectrum& s, BinRange range, const std::vector<char>* marked = nullptr)
{
    std::optional<std::size_t> best;
    for (std::size_t k = range.first; k <= range.last; ++k)
        if (!(marked && (*marked)[k]) && (!best || s.power(k) > s.power(*best))) best = k;
    return best;
}

/// A parabola through the peak in dB, which fits the nearly Gaussian lobe of this window.
Component interpolated(const Spectrum& s, std::size_t bin)
{
    const double centre = s.sineDb(bin);
    Component peak{static_cast<double>(bin) * s.binHz(), centre};
    if (bin == 0 || bin + 1 >= s.bins()) return peak;
    const double left = s.sineDb(bin - 1), right = s.sineDb(bin + 1);
    const double curve = left - 2.0 * centre + right;
    if (left > centre || right > centre || curve >= 0.0) return peak; // the edge of a range, no peak
    const double shift = 0.5 * (left - right) / curve;
    peak.hz += shift * s.binHz();
    peak.dbfs -= 0.25 * (left - right) * shift;
    return peak;
}

double powerOf(const Spectrum& s, BinRange range, const std::vector<char>* marked = nullptr)
{
    double sum = 0.0;
    for (std::size_t k = range.first; k <= range.last; ++k)
        if (!(marked && (*marked)[k])) sum += s.power(k);
    return sum;
}

/// The same with every bin weighted by a gain.
template <class Gain>
double weightedPower(const Spectrum& s, const BinRange& range, const std::vector<char>& marked, Gain gain)
{
    double sum = 0.0;
    for (std::size_t k = range.first; k <= range.last; ++k) {
        if (marked[k]) continue;
        const double g = gain(static_cast<double>(k) * s.binHz());
        sum += s.power(k) * g * g;
    }
    return sum;
}

} // namespace

Spectrum::Spectrum(std::span<const double> segment, double rate)
    : rate_(rate), binHz_(rate / static_cast<double>(segment.size()))
{
    const std::size_t n = segment.size();
    const auto window = dsp_utils::signal_processing::generate_kaiser_window(n, kBeta);
    double weight = 0.0, weightSquared = 0.0, sum = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
        weight += window[i];
        weightSquared += window[i] * window[i];
        sum += window[i] * segment[i];
    }
    mean_ = sum / weight; // removed before the transform: else its lobe would cover the lowest bins of the band
    std::vector<std::complex<double>> x(n);
    for (std::size_t i = 0; i < n; ++i) x[i] = window[i] * (segment[i] - mean_);
    FftPlan(n).forward(x.data());

    power_.resize(n / 2 + 1);
    const double scale = 1.0 / (static_cast<double>(n) * weightSquared);
    for (std::size_t k = 0; k < power_.size(); ++k)
        power_[k] = std::norm(x[k]) * scale * (k == 0 || k == n / 2 ? 1.0 : 2.0);
    sineScale_ = static_cast<double>(n) * weightSquared / (weight * weight);
}

double Spectrum::sineDb(std::size_t bin) const { return powerDb(2.0 * power_[bin] * sineScale_); }

Readings readSpectrum(const Spectrum& spectrum, const std::vector<double>& toneHz, const Bands& bands)
{
    Readings out;
    out.dc = spectrum.mean();
    std::vector<char> marked(spectrum.bins(), 0);
    double tonePower = 0.0;
    for (double hz : toneHz) {
        const auto expected = static_cast<std::size_t>(
            std::clamp(std::round(hz / spectrum.binHz()), 0.0, static_cast<double>(spectrum.bins() - 1)));
        const std::size_t bin = *largestBin(spectrum, skirtOf(spectrum, expected));
        const BinRange skirt = skirtOf(spectrum, bin);
        const double power = powerOf(spectrum, skirt, &marked); // two tones in one skirt are counted once
        out.tones.push_back({interpolated(spectrum, bin).hz, powerDb(2.0 * power)});
        tonePower += power;
        std::fill(marked.begin() + static_cast<std::ptrdiff_t>(skirt.first),
                  marked.begin() + static_cast<std::ptrdiff_t>(skirt.last) + 1, 1);
    }
    const BinRange band = binsWithin(spectrum, bands.low, bands.high);
    const double noise = powerOf(spectrum, band, &marked);
    out.noiseDbfs = powerDb(2.0 * noise);
    static const modulator::EqualLoudnessContour contour(40);
    out.noiseADbfs = powerDb(2.0 * weightedPower(spectrum, band, marked, aWeighting));
    out.noise40Dbfs = powerDb(2.0 * weightedPower(spectrum, band, marked, [](double hz) {
                                  return std::pow(10.0, (40 - contour.levelDb(hz)) / 20);
                              }));
    out.snrDb = powerDb(tonePower) - powerDb(noise);
    if (const auto bin = largestBin(spectrum, band, &marked)) out.spur = interpolated(spectrum, *bin);
    const BinRange outside{band.last + 1, binsWithin(spectrum, bands.high, bands.outsideHigh).last};
    if (const auto bin = largestBin(spectrum, outside, &marked)) out.outside = interpolated(spectrum, *bin);
    return out;
}

std::vector<BandLevel> octaveLevels(const Spectrum& spectrum)
{
    std::vector<BandLevel> bands;
    std::size_t k = 0;
    for (double low = 0.0, high = 20.0; k < spectrum.bins(); low = high, high *= 2) {
        double sum = 0.0;
        const std::size_t first = k;
        for (; k < spectrum.bins() && static_cast<double>(k) * spectrum.binHz() < high; ++k) sum += spectrum.power(k);
        if (k == spectrum.bins() - 1) sum += spectrum.power(k++); // half the rate itself ends a band
        if (k > first) bands.push_back({low, std::min(high, spectrum.rate() / 2), powerDb(2.0 * sum)});
    }
    return bands;
}

double aWeighting(double hz)
{
    const auto response = [](double f) {
        const double q = f * f;
        return 12194.0 * 12194.0 * q * q /
               ((q + 20.6 * 20.6) * std::sqrt((q + 107.7 * 107.7) * (q + 737.9 * 737.9)) * (q + 12194.0 * 12194.0));
    };
    return response(hz) / response(1000);
}

Component largestPeak(const Spectrum& spectrum, double lowHz, double highHz)
{
    const auto bin = largestBin(spectrum, binsWithin(spectrum, lowHz, highHz));
    return bin ? interpolated(spectrum, *bin) : Component{};
}

} // namespace tesk::analysis
