#include "filter/remez.h"

#include "filter/barycentric.h"
#include "filter/fft.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <iterator>
#include <numbers>
#include <utility>
#include <vector>

namespace tesk {
namespace {

using std::numbers::pi;

constexpr double kExactEnough = 1e-5;       // weighted error below which no filter is worth another round
constexpr double kEvenEnough = 1e-4;        // spread of the ripples, relative
constexpr double kRounding = 1e-13;         // of a response near 1: what its evaluation may be wrong by
constexpr double kNodesShare = 0.999;       // of the deviation: a peak below it would not raise the next one
constexpr double kLeastRelative = 1e-4;     // desired value from which a differentiator's error counts relatively
constexpr std::size_t kMostEvenStart = 32;  // cosines up to which evenly spread extremals are a fair start
constexpr int kCoarseDensity = 16;          // at which a longer filter is tried first
constexpr std::size_t kStopInterval = 4096; // grid points between two looks at the stop flag

/// The filter that is wanted, as the caller's arrays describe it.
struct Wish {
    int taps, bands;
    const double *edges, *desired, *weights;
    int type, gridDensity;

    bool odd() const { return taps % 2 != 0; }
    bool antisymmetric() const { return type != remezBandPass; }
    bool zeroAtNyquist() const { return antisymmetric() == odd(); }
    /// r, the cosines whose sum, times `factor`, is the response.
    std::size_t cosines() const { return static_cast<std::size_t>(taps) / 2 + (odd() && !antisymmetric() ? 1 : 0); }
    /// A smaller task with a like answer: the same filter on a coarse grid, and of that one the filter with half the
    /// cosines (rounded down).
    Wish rougher() const
    {
        Wish other = *this;
        other.gridDensity = std::min(gridDensity, kCoarseDensity);
        if (gridDensity > kCoarseDensity) return other;
        const int oddTap = !odd() ? 0 : antisymmetric() ? 1 : -1;
        other.taps = 2 * static_cast<int>(cosines() / 2) + oddTap;
        return other;
    }

    /// What the symmetry takes out of every response: A(f) = factor·Σ c[k]·cos(2πfk), x = cos 2πf. Odd filters 1 and
    /// sin 2πf, even ones cos πf and sin πf.
    long double factor(long double x) const
    {
        if (antisymmetric()) return odd() ? std::sqrt(1.0L - x * x) : std::sqrt((1.0L - x) / 2.0L);
        return odd() ? 1.0L : std::sqrt((1.0L + x) / 2.0L);
    }
};

/// The printed reason for refusing the arguments, its placeholders unexpanded as ever; null when they are fine.
const char* argumentFault(const Wish& wish, const double* h, int maxIterations)
{
    if (wish.taps < 3) return "Remez error: N (taps) must be >= 3 (got %d)";
    if (wish.bands < 1) return "Remez error: numband must be >= 1 (got %d)";
    if (wish.gridDensity < 1) return "Remez error: griddensity must be >= 1 (got %d)";
    if (maxIterations < 1) return "Remez error: maxiterations must be >= 1 (got %d)";
    if (!h || !wish.edges || !wish.desired || !wish.weights) return "Remez error: NULL pointer argument";
    for (int b = 0; b < wish.bands; ++b) {
        const double lower = wish.edges[2 * b], upper = wish.edges[2 * b + 1];
        if (!(0.0 <= lower && lower < upper && upper <= 0.5))
            return "Remez error: band %d edges [%f, %f] out of range [0, 0.5]";
        // An edge shared by two bands would have two desired values.
        if (b > 0 && !(lower > wish.edges[2 * b - 1])) return "Remez error: a band begins before the one below it ends";
    }
    if (wish.type < remezBandPass || wish.type > remezHilbert) return "Remez error: unknown filter type %d";
    return nullptr;
}

/// Where the error is looked at, for the sum of cosines alone: the symmetry's factor is divided out.
struct Grid {
    std::vector<double> x;               // cos 2πf, descending
    std::vector<double> wanted;          // of the response
    std::vector<double> desired, weight; // of the sum
    std::vector<std::size_t> bandEnds;   // index behind each band's last point; as many for any number of cosines

    explicit Grid(const Wish& wish)
    {
        const double spacing = 0.5 / (static_cast<double>(wish.gridDensity) * static_cast<double>(wish.cosines()));
        for (int b = 0; b < wish.bands; ++b) addBand(wish, b, spacing);
    }

private:
    /// Both edges are points, except where the symmetry makes the response zero whatever the coefficients.
    void addBand(const Wish& wish, int band, double spacing)
    {
        double lower = wish.edges[2 * band], upper = wish.edges[2 * band + 1];
        if (wish.antisymmetric()) lower = std::max(lower, spacing);
        if (wish.zeroAtNyquist()) upper = std::min(upper, 0.5 - spacing);
        if (lower > upper) return bandEnds.push_back(x.size());
        const double steps = std::max(1.0, std::round((upper - lower) / spacing));
        for (double i = 0.0; i < steps; i += 1.0) addPoint(wish, band, lower + (upper - lower) * i / steps);
        addPoint(wish, band, upper);
        bandEnds.push_back(x.size());
    }

    void addPoint(const Wish& wish, int band, double f)
    {
        const double lower = wish.edges[2 * band], upper = wish.edges[2 * band + 1];
        const double from = wish.desired[2 * band], to = wish.desired[2 * band + 1];
        wanted.push_back(from + (to - from) * (f - lower) / (upper - lower));
        const bool relative = wish.type == remezDifferentiator && std::abs(wanted.back()) > kLeastRelative;
        x.push_back(std::cos(2.0 * pi * f));
        const auto factor = static_cast<double>(wish.factor(x.back()));
        desired.push_back(wanted.back() / factor);
        weight.push_back(wish.weights[band] * factor / (relative ? f : 1.0));
    }
};

/// Indices of grid points in ascending order, and the weighted error at every point of the grid.
using Points = std::vector<std::size_t>;
using Errors = std::vector<double>;

/// Adds a point, and keeps the greater of two that follow each other on the same side; no point without a number.
void keepAlternating(Points& points, std::size_t point, const Errors& error)
{
    if (!std::isfinite(error[point])) return;
    if (points.empty() || std::signbit(error[points.back()]) != std::signbit(error[point]))
        points.push_back(point);
    else if (std::abs(error[point]) > std::abs(error[points.back()]))
        points.back() = point;
}

/// The local maxima of |error| within each band, its edges among them, with alternating signs; those below `floor`, or
/// below what rounding alone may show at the weight of the place, are none.
Points alternatingPeaks(const Grid& grid, const Errors& error, double floor)
{
    Points peaks;
    std::size_t begin = 0;
    for (const std::size_t end : grid.bandEnds) {
        for (std::size_t i = begin; i < end; ++i) {
            const double sign = error[i] < 0.0 ? -1.0 : 1.0, top = sign * error[i];
            const bool rises = i == begin || sign * error[i - 1] <= top;
            const bool falls = i + 1 == end || sign * error[i + 1] < top;
            if (rises && falls && top >= std::max(floor, kRounding * grid.weight[i])) keepAlternating(peaks, i, error);
        }
        begin = end;
    }
    return peaks;
}

/// Fills up with the points of the last round. Their errors alternate, so no fewer alternations can result.
Points joined(const Points& peaks, const Points& last, const Errors& error)
{
    Points all, points;
    std::set_union(peaks.begin(), peaks.end(), last.begin(), last.end(), std::back_inserter(all));
    for (const std::size_t point : all) keepAlternating(points, point, error);
    return points;
}

/// The points of each band apart, counted from the band's first point.
std::vector<Points> byBand(const Points& points, const std::vector<std::size_t>& bandEnds)
{
    std::vector<Points> bands(bandEnds.size());
    for (std::size_t b = 0, begin = 0, i = 0; b < bandEnds.size(); begin = bandEnds[b++])
        for (; i < points.size() && points[i] < bandEnds[b]; ++i) bands[b].push_back(points[i] - begin);
    return bands;
}

/// `count` points over the way of `points`, evenly in their numbering, at the scale of a grid `stretch` times finer.
void drawOut(const Points& points, std::size_t count, double stretch, std::size_t begin, Points& result)
{
    const double step = count > 1 ? static_cast<double>(points.size() - 1) / static_cast<double>(count - 1) : 0.0;
    for (std::size_t i = 0; i < count; ++i) {
        const auto whole = static_cast<std::size_t>(step * static_cast<double>(i));
        const auto from = static_cast<double>(points[std::min(whole, points.size() - 1)]);
        const auto to = static_cast<double>(points[std::min(whole + 1, points.size() - 1)]);
        const double place = from + (to - from) * (step * static_cast<double>(i) - static_cast<double>(whole));
        result.push_back(begin + static_cast<std::size_t>(std::round(place * stretch)));
    }
}

/// A start for `wanted` extremals from those of a rougher task: the same places, or for half the cosines one more
/// between each two of a band, and what is then missing in the band that has most.
Points startFrom(const Points& rough, const Grid& roughGrid, const Grid& grid, std::size_t wanted)
{
    const std::vector<Points> bands = byBand(rough, roughGrid.bandEnds);
    const auto fullest = std::max_element(bands.begin(), bands.end(),
                                          [](const Points& a, const Points& b) { return a.size() < b.size(); });
    const auto drawn = [&](const Points& band) {
        return rough.size() == wanted || band.empty() ? band.size() : 2 * band.size() - 1;
    };
    std::size_t placed = 0;
    for (const Points& band : bands) placed += drawn(band);
    Points points;
    for (std::size_t b = 0, from = 0, begin = 0; b < bands.size();
         from = roughGrid.bandEnds[b], begin = grid.bandEnds[b++]) {
        if (bands[b].empty()) continue;
        const std::size_t missing = &bands[b] == &*fullest ? wanted - placed : 0;
        const double stretch = static_cast<double>(grid.bandEnds[b] - begin - 1) /
                               static_cast<double>(std::max<std::size_t>(1, roughGrid.bandEnds[b] - from - 1));
        drawOut(bands[b], drawn(bands[b]) + missing, stretch, begin, points);
    }
    for (std::size_t i = 1; i < points.size(); ++i) points[i] = std::max(points[i], points[i - 1] + 1);
    const std::size_t slack = grid.x.size() - points.size();
    for (std::size_t i = 0; i < points.size(); ++i) points[i] = std::min(points[i], slack + i);
    return points;
}

/// Takes the least peaks away until `wanted` are left, and leaves the signs alternating: an inner peak goes together
/// with the lesser of its neighbours, and a single one too many is the lesser of the two outermost.
void dropLeast(Points& peaks, std::size_t wanted, const Errors& error)
{
    const auto lesser = [&](std::size_t a, std::size_t b) { return std::abs(error[a]) < std::abs(error[b]); };
    while (peaks.size() > wanted) {
        const auto last = std::prev(peaks.end());
        auto least = std::min_element(peaks.begin(), peaks.end(), lesser);
        if (peaks.size() == wanted + 1) least = lesser(*last, peaks.front()) ? last : peaks.begin();
        if (least == peaks.begin() || least == last) {
            peaks.erase(least);
            continue;
        }
        if (!lesser(*std::next(least), *std::prev(least))) --least;
        peaks.erase(least, least + 2);
    }
}

/// The exchange: fits a response to r + 1 points so that its error there is even and alternates, then moves the points
/// to where the error is largest, until they stay.
class Exchange {
public:
    explicit Exchange(const Wish& wish) : wish_(wish), grid_(wish), error_(grid_.x.size()) {}

    PDM_ENCODING_STATUS run(int maxIterations, const StopFlag& stop)
    {
        if (grid_.x.size() < wish_.cosines() + 1) return PDM_REMEZ_TOO_FEW_EXTREMALS;
        if (!start(maxIterations, stop)) return kHostStopped;
        for (int iteration = 0; iteration < maxIterations; ++iteration) {
            fit();
            if (!measure(stop)) return kHostStopped;
            if (largestError() < kExactEnough) return DSD_SUCCESS;
            if (const PDM_ENCODING_STATUS status = exchange(); status != DSD_SUCCESS) return status;
            if (isEven()) return DSD_SUCCESS;
        }
        return PDM_REMEZ_NOT_CONVERGED;
    }

    /// The taps: the response through the last extremals, sampled at k/N and transformed back.
    void writeTaps(double* h)
    {
        fit();
        const auto n = static_cast<std::size_t>(wish_.taps);
        std::vector<double> x(n / 2 + 1), sum(x.size());
        for (std::size_t k = 0; k < x.size(); ++k) x[k] = unitRoot(k, n).real();
        curve_.evaluateExactly(x.data(), x.size(), sum.data());
        const std::complex<double> turn(wish_.antisymmetric() ? 0.0 : 1.0, wish_.type == remezHilbert ? -1.0
                                                                           : wish_.antisymmetric()    ? 1.0
                                                                                                      : 0.0);
        std::vector<std::complex<double>> spectrum(n);
        for (std::size_t k = 0; k < x.size(); ++k) {
            const double response = static_cast<double>(wish_.factor(x[k])) * sum[k];
            spectrum[k] = response * turn * unitRoot(k * (n - 1), 2 * n);
            if (k > 0) spectrum[n - k] = std::conj(spectrum[k]);
        }
        FftPlan(n).inverse(spectrum.data());
        const double mirrored = wish_.antisymmetric() ? -1.0 : 1.0;
        for (std::size_t i = 0; i < n; ++i) // the symmetry holds to the last bit
            h[i] = (spectrum[i].real() + mirrored * spectrum[n - 1 - i].real()) / (2.0 * static_cast<double>(n));
    }

private:
    /// Evenly spread points would leave a long filter so small a deviation between so large errors that the first
    /// rounds drown in rounding; a rougher task's answer is near already, and saves most of the rounds.
    /// False when the host wants to stop.
    bool start(int maxIterations, const StopFlag& stop)
    {
        const std::size_t r = wish_.cosines();
        if (r > kMostEvenStart) {
            Exchange rougher(wish_.rougher());
            const PDM_ENCODING_STATUS status = rougher.run(maxIterations, stop);
            if (status == kHostStopped) return false;
            if (status == DSD_SUCCESS) {
                extremals_ = startFrom(rougher.extremals_, rougher.grid_, grid_, r + 1);
                return true;
            }
        }
        for (std::size_t i = 0; i <= r; ++i) extremals_.push_back(i * (grid_.x.size() - 1) / r);
        return true;
    }

    /// The curve whose error is ±deviation at the extremals in turn. One more node than cosines is the condition that
    /// settles the deviation.
    void fit()
    {
        std::vector<double> nodes;
        nodes.reserve(extremals_.size());
        for (const std::size_t point : extremals_) nodes.push_back(grid_.x[point]);
        curve_.setNodes(std::move(nodes));
        const auto& weights = curve_.weights();
        long double desired = 0.0L, ripple = 0.0L;
        for (std::size_t k = 0; k < weights.size(); ++k) {
            const std::size_t point = extremals_[k];
            curve_.values()[k] = grid_.wanted[point] / wish_.factor(grid_.x[point]);
            desired += weights[k] * curve_.values()[k];
            ripple += (k % 2 == 0 ? weights[k] : -weights[k]) / grid_.weight[point];
        }
        const long double deviation = desired / ripple;
        for (std::size_t k = 0; k < weights.size(); ++k)
            curve_.values()[k] -= (k % 2 == 0 ? deviation : -deviation) / grid_.weight[extremals_[k]];
        deviation_ = static_cast<double>(deviation);
    }

    /// The weighted error on the grid; false when the host wants to stop.
    bool measure(const StopFlag& stop)
    {
        for (std::size_t first = 0; first < error_.size(); first += kStopInterval) {
            if (stop.pending()) return false;
            const std::size_t last = std::min(first + kStopInterval, error_.size());
            curve_.evaluate(&grid_.x[first], last - first, &error_[first]);
            for (std::size_t i = first; i < last; ++i) error_[i] = grid_.weight[i] * (grid_.desired[i] - error_[i]);
        }
        // Known at the extremals, and their signs must not drown where the deviation lies below the response's
        // rounding.
        for (std::size_t k = 0; k < extremals_.size(); ++k)
            error_[extremals_[k]] = k % 2 == 0 ? deviation_ : -deviation_;
        return true;
    }

    PDM_ENCODING_STATUS exchange()
    {
        const std::size_t r = wish_.cosines();
        Points peaks = alternatingPeaks(grid_, error_, kNodesShare * std::abs(deviation_));
        if (peaks.size() > 2 * r) return PDM_REMEZ_TOO_MANY_EXTREMALS;
        if (peaks.size() < r + 1) peaks = joined(peaks, extremals_, error_);
        if (peaks.size() < r + 1) return PDM_REMEZ_TOO_FEW_EXTREMALS;
        dropLeast(peaks, r + 1, error_);
        extremals_ = std::move(peaks);
        return DSD_SUCCESS;
    }

    double largestError() const
    {
        double largest = 0.0;
        for (const double e : error_) {
            if (std::isnan(e)) return e;
            largest = std::max(largest, std::abs(e));
        }
        return largest;
    }

    bool isEven() const
    {
        double least = std::abs(error_[extremals_[0]]), largest = least;
        for (const std::size_t point : extremals_) {
            least = std::min(least, std::abs(error_[point]));
            largest = std::max(largest, std::abs(error_[point]));
        }
        return (largest - least) / largest < kEvenEnough;
    }

    Wish wish_;
    Grid grid_;
    Errors error_;     // [grid]
    Points extremals_; // [r + 1]
    double deviation_ = 0.0;
    BarycentricPolynomial curve_;
};

} // namespace

PDM_ENCODING_STATUS remezExchange(int taps, double* h, int bands, const double* edges, const double* desired,
                                  const double* weights, int type, int gridDensity, int maxIterations, Reporter& report,
                                  StopFlag& stop)
{
    const Wish wish{taps, bands, edges, desired, weights, type, gridDensity};
    if (const char* fault = argumentFault(wish, h, maxIterations)) {
        report.closing("%-20s\n", fault);
        return PDM_REMEZ_INVALID_PARAM;
    }
    Exchange exchange(wish);
    const PDM_ENCODING_STATUS status = exchange.run(maxIterations, stop);
    if (status == PDM_REMEZ_NOT_CONVERGED) report.closing("%-20s\n", "Remez error: not converged within %d iterations");
    if (status == DSD_SUCCESS) exchange.writeTaps(h);
    return status;
}

} // namespace tesk
