#include "filter/chebyshev_fir.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>

namespace tesk {
namespace {

using Points = ChebyshevFitter::Points;
using Values = std::vector<double>;

constexpr std::size_t kLanes = 8; // points side by side, which fixes the order of every sum
using Lanes = std::array<double, kLanes>;
constexpr double kRidge = 1e-13;
constexpr int kMostRefinements = 12;

/// The recurrence of both halves, u_(m+1) = 2y·u_m − u_(m−1), for a block of points: even T_2m(x) from T_(−2) = y and
/// T_0 = 1, odd T_(2m+1)(x) from T_(−1) = T_1 = x.
struct Recurrence {
    Lanes twoY, before, first;

    Recurrence(const Points& points, std::size_t at, bool odd)
    {
        for (std::size_t i = 0; i < kLanes; ++i) {
            twoY[i] = 2.0 * points.y[at + i];
            before[i] = odd ? points.x[at + i] : points.y[at + i];
            first[i] = odd ? points.x[at + i] : 1.0;
        }
    }
};

Points makePoints(std::size_t taps)
{
    const double last = static_cast<double>(taps) - 1.0;
    const double halfStep = 1.0 / last;
    const std::size_t count = (taps + 1) / 2;
    Points points;
    for (std::size_t i = 0; i < count; ++i) {
        const double x = (last - 2.0 * static_cast<double>(i)) / last;
        const double arc = std::acos(std::max(x - halfStep, -1.0)) - std::acos(std::min(x + halfStep, 1.0));
        const bool alone = 2 * i + 1 == taps; // the middle one has no mirror
        points.x.push_back(x);
        points.weights.push_back(alone ? arc : 2.0 * arc);
    }
    const std::size_t whole = (count + kLanes - 1) / kLanes * kLanes;
    points.x.resize(whole);
    points.weights.resize(whole);
    for (double x : points.x) points.y.push_back(2.0 * x * x - 1.0);
    return points;
}

/// Σ weight·value·u_m over the points, for m < count.
Values project(const Points& points, bool odd, const Values& values, std::size_t count)
{
    std::vector<Lanes> sums(count, Lanes{});
    for (std::size_t at = 0; at < points.x.size(); at += kLanes) {
        Recurrence r(points, at, odd);
        Lanes weighted;
        for (std::size_t i = 0; i < kLanes; ++i) weighted[i] = points.weights[at + i] * values[at + i];
        for (Lanes& sum : sums)
            for (std::size_t i = 0; i < kLanes; ++i) {
                sum[i] += weighted[i] * r.first[i];
                const double next = r.twoY[i] * r.first[i] - r.before[i];
                r.before[i] = r.first[i];
                r.first[i] = next;
            }
    }
    Values result;
    for (const Lanes& sum : sums) result.push_back(std::accumulate(sum.begin(), sum.end(), 0.0));
    return result;
}

/// Σ c_m·u_m at every point: Clenshaw, On the summation of Chebyshev series (1955).
Values evaluateHalf(const Points& points, bool odd, std::span<const double> coefficients)
{
    Values result(points.x.size());
    for (std::size_t at = 0; at < result.size(); at += kLanes) {
        const Recurrence r(points, at, odd);
        Lanes b{}, above{};
        for (std::size_t m = coefficients.size(); m-- > 0;)
            for (std::size_t i = 0; i < kLanes; ++i) {
                const double next = coefficients[m] + (r.twoY[i] * b[i] - above[i]);
                above[i] = b[i];
                b[i] = next;
            }
        for (std::size_t i = 0; i < kLanes; ++i) result[at + i] = r.first[i] * b[i] - r.before[i] * above[i];
    }
    return result;
}

/// The factor of G_ij = (M_(i+j+odd) + M_|i−j|)/2 with the ridge on its diagonal, M the sums of T_2m. A pivot that
/// rounding has eaten becomes the ridge; the refinement then sees to the difference.
Values factorise(std::span<const double> moments, std::size_t order, bool odd)
{
    const double ridge = kRidge * moments[0];
    Values factor(order * order);
    for (std::size_t i = 0; i < order; ++i) {
        double* row = &factor[i * order];
        for (std::size_t j = 0; j <= i; ++j) {
            const double* other = &factor[j * order];
            const double entry = 0.5 * (moments[i + j + (odd ? 1 : 0)] + moments[i - j]) + (i == j ? ridge : 0.0);
            const double rest = entry - std::inner_product(row, row + j, other, 0.0);
            row[j] = i == j ? std::sqrt(std::max(rest, ridge)) : rest / other[j];
        }
    }
    return factor;
}

/// right [count] becomes the solution for the factor's leading block.
void substitute(const Values& factor, std::size_t order, Values& right)
{
    for (std::size_t i = 0; i < right.size(); ++i) {
        const double* row = &factor[i * order];
        right[i] = (right[i] - std::inner_product(row, row + i, right.begin(), 0.0)) / row[i];
    }
    for (std::size_t i = right.size(); i-- > 0;) {
        const double* row = &factor[i * order];
        right[i] /= row[i];
        for (std::size_t j = 0; j < i; ++j) right[j] -= row[j] * right[i];
    }
}

double weightedSquares(const Points& points, const Values& values)
{
    double sum = 0.0;
    for (std::size_t i = 0; i < values.size(); ++i) sum += points.weights[i] * values[i] * values[i];
    return sum;
}

std::size_t countOf(bool odd, int degree) { return static_cast<std::size_t>(odd ? (degree + 1) / 2 : degree / 2 + 1); }

bool mirrors(std::span<const double> taps)
{
    return std::equal(taps.begin(), taps.begin() + static_cast<std::ptrdiff_t>(taps.size() / 2), taps.rbegin());
}

} // namespace

std::size_t chebyshevCount(int degree, bool symmetric)
{
    return countOf(false, degree) + (symmetric ? 0 : countOf(true, degree));
}

std::vector<double> evaluateChebyshev(const ChebyshevFir& fir)
{
    const auto taps = static_cast<std::size_t>(fir.taps);
    const Points points = makePoints(taps);
    Values even, odd;
    for (std::size_t k = 0; k < fir.coefficients.size(); ++k)
        (fir.symmetric || k % 2 == 0 ? even : odd).push_back(fir.coefficients[k]);
    const Values mean = evaluateHalf(points, false, even);
    const Values tilt = evaluateHalf(points, true, odd);
    Values result(taps);
    for (std::size_t i = 0; i < (taps + 1) / 2; ++i) {
        result[i] = mean[i] - tilt[i];
        result[taps - 1 - i] = mean[i] + tilt[i];
    }
    return result;
}

Result<ChebyshevFitter, PDM_ENCODING_STATUS> ChebyshevFitter::create(std::span<const double> taps, int mostDegree)
{
    const bool finite = std::all_of(taps.begin(), taps.end(), [](double tap) { return std::isfinite(tap); });
    if (!finite || taps.size() <= kLeastPolyDegree || taps.size() > std::numeric_limits<int>::max())
        return DSD_ERROR_ASSERT;
    if (mostDegree < kLeastPolyDegree || mostDegree > kMostPolyDegree) return DSD_ERROR_ASSERT;
    return ChebyshevFitter(taps, std::min(mostDegree, static_cast<int>(taps.size()) - 1));
}

ChebyshevFitter::ChebyshevFitter(std::span<const double> taps, int mostDegree)
    : taps_(taps.begin(), taps.end()), mostDegree_(mostDegree), symmetric_(mirrors(taps)),
      points_(makePoints(taps.size()))
{
    const Values ones(points_.x.size(), 1.0);
    const Values moments = project(points_, false, ones, static_cast<std::size_t>(mostDegree) + 1);
    halves_.push_back(makeHalf(false, moments));
    if (!symmetric_) halves_.push_back(makeHalf(true, moments));
}

ChebyshevFitter::Half ChebyshevFitter::makeHalf(bool odd, std::span<const double> moments) const
{
    Half half{.odd = odd, .order = countOf(odd, mostDegree_), .values = Values(points_.x.size()), .factor = {}};
    for (std::size_t i = 0; i < (taps_.size() + 1) / 2; ++i) {
        const double upper = taps_[taps_.size() - 1 - i] / 2.0, lower = taps_[i] / 2.0;
        half.values[i] = odd ? upper - lower : upper + lower;
    }
    half.factor = factorise(moments, half.order, odd);
    return half;
}

/// Refines as long as a step still takes a tenth off the square error.
std::vector<double> ChebyshevFitter::solve(const Half& half, std::size_t count) const
{
    Values best(count), trial(count), residual = half.values;
    double error = weightedSquares(points_, residual);
    for (int step = 0; step <= kMostRefinements; ++step) {
        Values change = project(points_, half.odd, residual, count);
        substitute(half.factor, half.order, change);
        for (std::size_t k = 0; k < count; ++k) trial[k] = best[k] + change[k];
        const Values fitted = evaluateHalf(points_, half.odd, trial);
        for (std::size_t i = 0; i < residual.size(); ++i) residual[i] = half.values[i] - fitted[i];
        const double now = weightedSquares(points_, residual);
        if (!(now < error)) break;
        best = trial;
        const bool slow = now > 0.9 * error;
        error = now;
        if (slow) break;
    }
    return best;
}

ChebyshevFir ChebyshevFitter::fit(int degree) const
{
    degree = std::clamp(degree, 0, mostDegree_);
    ChebyshevFir fir{
        .taps = static_cast<int>(taps_.size()), .degree = degree, .symmetric = symmetric_, .coefficients = {}};
    fir.coefficients.resize(chebyshevCount(degree, symmetric_));
    for (const Half& half : halves_) {
        const Values solved = solve(half, countOf(half.odd, degree));
        for (std::size_t m = 0; m < solved.size(); ++m)
            fir.coefficients[symmetric_ ? m : 2 * m + (half.odd ? 1 : 0)] = solved[m];
    }
    return fir;
}

double chebyshevDeviation(std::span<const double> designed, std::span<const double> fitted)
{
    double difference = 0.0, gain = 0.0;
    for (std::size_t n = 0; n < designed.size(); ++n) {
        difference += std::abs(designed[n] - fitted[n]);
        gain += designed[n];
    }
    return gain != 0.0 ? difference / std::abs(gain) : std::numeric_limits<double>::infinity();
}

bool isUsable(double deviation) { return deviation <= std::pow(10.0, kUsableDb / 20.0); }

DegreeSearch searchDegree(const ChebyshevFitter& fitter, int leastDegree, double targetDb)
{
    const double target = std::pow(10.0, targetDb / 20.0);
    const auto attempt = [&](int degree) {
        DegreeSearch found{fitter.fit(degree)};
        found.deviation = chebyshevDeviation(fitter.taps(), evaluateChebyshev(found.fir));
        found.reached = found.deviation < target;
        return found;
    };
    int tooLow = leastDegree - 1, degree = std::min(leastDegree, fitter.mostDegree());
    DegreeSearch best = attempt(degree);
    while (!best.reached && degree < fitter.mostDegree()) {
        tooLow = degree;
        degree = std::min(2 * degree, fitter.mostDegree());
        DegreeSearch next = attempt(degree);
        if (next.deviation < best.deviation) best = std::move(next);
    }
    while (best.reached && best.fir.degree - tooLow > 1) {
        DegreeSearch middle = attempt((best.fir.degree + tooLow) / 2);
        if (middle.reached)
            best = std::move(middle);
        else
            tooLow = middle.fir.degree;
    }
    return best;
}

} // namespace tesk
