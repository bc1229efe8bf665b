#include "container/dst/dst_predictor.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace tesk {
namespace {

// Idle patterns repeat almost exactly: without it their coefficients grow beyond what nine bits can say.
// Ten times as much would cost music at order 128 a noticeable share.
constexpr double kDiagonalLoad = 1e-6;
constexpr double kSingular = 1e-9; // of the first diagonal element

// Steps towards fewer wrong decisions. Measured: a third one gains less than 0.05 % of the frame; a longer step
// swings, a shorter one arrives late.
constexpr int kSteps = 2;
constexpr double kStep = 0.8;
constexpr double kStartGain = 2;        // of the least squares filter, so that half its predictions reach the unit
constexpr int kLargestUnitLog2 = 13;    // of one, in the integers of the steps
constexpr int kSmallestUnitLog2 = 6;    // a filter that leaves less has run away
constexpr double kShortfallUnit = 64;   // of the kernel's shortfall
constexpr std::size_t kFewestFree = 16; // samples: with less than one in so many there is nothing to steer by

constexpr double kCoefficientBits = 2; // about 5 are sent, but the refinement makes more of a coefficient
constexpr double kScale = 128;         // of the coefficients: finer ones cost more bits than they save
constexpr double kLargestCoefficient = 255;
constexpr double kDelicate = 4; // a coefficient beyond it leaves the others less than six bits

double sumOfMagnitudes(std::span<const double> values)
{
    double sum = 0;
    for (const double v : values) sum += std::abs(v);
    return sum;
}

/// About how many bits the decisions take when a filter takes `gone` off the squared error, which is one a sample
/// without it. As if every sample were predicted with the same confidence m: the error is then 1 − m² a sample, the
/// share of wrong predictions (1 − m) / 2.
double bitsOf(double samples, double gone)
{
    const double wrong = (1 - std::sqrt(std::clamp(gone / samples, 0.0, 1.0))) / 2;
    if (wrong <= 0) return 0;
    return -samples * (wrong * std::log2(wrong) + (1 - wrong) * std::log2(1 - wrong));
}

} // namespace

void DstSignal::load(std::span<const std::uint8_t> interleaved, std::uint32_t channel, std::uint32_t channels)
{
    const std::size_t bytes = interleaved.size() / channels;
    bits_.resize(kDstPast + 8 * bytes);
    for (std::size_t k = 0; k < kDstPast; ++k) bits_[kDstPast - 1 - k] = kDstStartHistory >> k % 8 & 1;
    std::uint8_t* out = bits_.data() + kDstPast;
    for (std::size_t i = 0; i < bytes; ++i)
        for (int bit = 7; bit >= 0; --bit)
            *out++ = static_cast<std::uint8_t>(interleaved[i * channels + channel] >> bit & 1);
    samples_.resize(bits_.size());
    std::transform(bits_.begin(), bits_.end(), samples_.begin(),
                   [](std::uint8_t bit) { return static_cast<std::int16_t>(2 * bit - 1); });
}

void DstPredictor::analyse(const DstSignal& signal)
{
    signals_.assign(1, &signal);
    sums_.resize(order_);
    shortfall_.assign(signal.samples(), signal.samples() + signal.count());
    kernels_.correlate(shortfall_.data(), signal.bits(), signal.count(), order_, sums_.data());
    target_.assign(sums_.begin(), sums_.end());
    setUpEquations();
}

void DstPredictor::analyseTogether(std::span<const DstPredictor> channels)
{
    signals_.clear();
    sums_.resize(order_);
    target_.assign(order_, 0);
    for (const DstPredictor& channel : channels) {
        signals_.insert(signals_.end(), channel.signals_.begin(), channel.signals_.end());
        for (unsigned i = 0; i < order_; ++i) target_[i] += channel.target_[i];
    }
    setUpEquations();
}

/// All elements are integers below 2^53. Those below the first row follow from the neighbour above left, for
/// both count the same products but for one at each end of the frame.
void DstPredictor::setUpEquations()
{
    matrix_.resize(std::size_t{order_} * order_);
    const auto order = static_cast<std::ptrdiff_t>(order_);
    for (std::ptrdiff_t i = 0; i < order; ++i) {
        double* const now = row(static_cast<std::size_t>(i));
        for (std::ptrdiff_t j = i; j < order; ++j) now[j] = i > 0 ? (now - order)[j - 1] : j > 0 ? target_[j - 1] : 0;
        for (const DstSignal* signal : signals_) {
            const std::int16_t *first = signal->samples() - 1, *last = first + signal->count();
            if (i == 0) now[0] += static_cast<double>(signal->count());
            for (std::ptrdiff_t j = i; j < order; ++j) now[j] += first[-i] * first[-j] - last[-i] * last[-j];
        }
    }
    factor();
    solution_ = target_;
    solution_.resize(usable_);
    eliminate(solution_);
    solution_.resize(bestOrder(solution_));
    substituteBack(solution_);
}

void DstPredictor::factor()
{
    const double first = row(0)[0];
    for (unsigned i = 0; i < order_; ++i) row(i)[i] += kDiagonalLoad * first;
    for (usable_ = 0; usable_ < order_; ++usable_) {
        const double* const pivot = row(usable_);
        if (pivot[usable_] <= kSingular * first) return;
        for (unsigned i = usable_ + 1; i < order_; ++i)
            kernels_.eliminate(row(i) + i, pivot + i, pivot[i] / pivot[usable_], order_ - i);
    }
}

void DstPredictor::eliminate(std::vector<double>& rightSide) const
{
    const std::size_t order = rightSide.size();
    for (std::size_t i = 0; i + 1 < order; ++i)
        kernels_.eliminate(&rightSide[i + 1], row(i) + i + 1, rightSide[i] / row(i)[i], order - i - 1);
}

void DstPredictor::substituteBack(std::vector<double>& eliminated) const
{
    for (std::size_t i = eliminated.size(); i-- > 0;) {
        double rest = eliminated[i];
        for (std::size_t j = i + 1; j < eliminated.size(); ++j) rest -= row(i)[j] * eliminated[j];
        eliminated[i] = rest / row(i)[i];
    }
}

/// The elimination of a lower order is the beginning of this one, and each row tells what it takes off the error.
std::size_t DstPredictor::bestOrder(std::span<const double> eliminated) const
{
    std::size_t best = 0;
    double least = std::numeric_limits<double>::infinity(), gone = 0;
    for (std::size_t i = 0; i < eliminated.size(); ++i) {
        gone += eliminated[i] * eliminated[i] / row(i)[i];
        const double bits = bitsOf(samples(), gone) + kCoefficientBits * static_cast<double>(i + 1);
        if (bits < least) {
            least = bits;
            best = i + 1;
        }
    }
    return best;
}

double DstPredictor::samples() const
{
    double sum = 0;
    for (const DstSignal* signal : signals_) sum += static_cast<double>(signal->count());
    return sum;
}

/// A least squares filter wastes effort on predictions that are right by far. The error that counts here is that of
/// the samples whose prediction misses the unit: a straight line where the logistic loss is a curve. Its gradient
/// goes through the equations of the least squares problem, which are its second derivative but for a factor.
/// @return false when the filter should stay as it is
bool DstPredictor::step(std::vector<double>& filter)
{
    const double room = 32767 - 0.5 * static_cast<double>(filter.size()); // for the rounding of each coefficient
    const double sum = sumOfMagnitudes(filter);
    int unitLog2 = kLargestUnitLog2;
    while (unitLog2 >= kSmallestUnitLog2 && std::ldexp(sum, unitLog2) > room) --unitLog2;
    if (unitLog2 < kSmallestUnitLog2) return false;
    std::vector<std::int16_t> coefs;
    coefs.reserve(filter.size());
    for (const double c : filter) coefs.push_back(static_cast<std::int16_t>(std::lround(std::ldexp(c, unitLog2))));

    const auto order = static_cast<unsigned>(filter.size());
    std::vector<double> gradient(order);
    std::size_t free = 0, samples = 0;
    for (const DstSignal* signal : signals_) {
        const std::size_t n = signal->count();
        prediction_.resize(n);
        shortfall_.resize(n);
        kernels_.filter(coefs.data(), order, signal->samples(), n, prediction_.data());
        free += kernels_.shortfall(prediction_.data(), signal->samples(), n, unitLog2, shortfall_.data());
        kernels_.correlate(shortfall_.data(), signal->bits(), n, order, sums_.data());
        for (unsigned i = 0; i < order; ++i) gradient[i] += static_cast<double>(sums_[i]) / kShortfallUnit;
        samples += n;
    }
    if (kFewestFree * free <= samples) return false;
    eliminate(gradient);
    substituteBack(gradient);
    const double length = kStep * static_cast<double>(samples) / static_cast<double>(free);
    for (unsigned i = 0; i < order; ++i) filter[i] += length * gradient[i];
    return true;
}

DstFilter DstPredictor::leastSquares(std::size_t order) const
{
    std::vector<double> filter = target_;
    filter.resize(std::min<std::size_t>(order, usable_));
    eliminate(filter);
    substituteBack(filter);
    return quantise(filter);
}

bool DstPredictor::delicate() const
{
    return std::any_of(solution_.begin(), solution_.end(), [](double c) { return std::abs(c) > kDelicate; });
}

DstFilter DstPredictor::refined()
{
    std::vector<double> filter = solution_;
    for (double& c : filter) c *= kStartGain;
    for (int i = 0; i < kSteps && step(filter); ++i)
        ;
    const double power = energy(filter); // what brings the predictions closest to +1 and -1 is match / power
    const double gain = power > 0 ? match(filter) / power : 0;
    for (double& c : filter) c *= gain;
    return quantise(filter);
}

/// Σ of sample times prediction.
double DstPredictor::match(std::span<const double> filter) const
{
    return std::inner_product(filter.begin(), filter.end(), target_.begin(), 0.0);
}

/// Σ of squared predictions, from the elimination.
double DstPredictor::energy(std::span<const double> filter) const
{
    double sum = 0;
    for (std::size_t i = 0; i < std::min<std::size_t>(filter.size(), usable_); ++i) {
        double part = 0;
        for (std::size_t j = i; j < filter.size(); ++j) part += row(i)[j] * filter[j];
        sum += part * part / row(i)[i];
    }
    return sum;
}

double DstPredictor::expectedBits(const DstPredictor& other) const
{
    return bitsOf(samples(), 2 * match(other.solution_) - energy(other.solution_));
}

DstFilter DstPredictor::quantise(std::span<const double> filter) const
{
    double largest = 0;
    for (const double c : filter) largest = std::max(largest, std::abs(c));
    const double scale = largest > 0 ? std::min(kScale, kLargestCoefficient / largest) : 0;
    DstFilter coefs(std::max<std::size_t>(filter.size(), 1));
    std::vector<double> error(filter.size());
    for (std::size_t i = filter.size(); i-- > 0;) {
        double wanted = scale * filter[i];
        for (std::size_t j = i + 1; j < filter.size(); ++j) wanted -= row(i)[j] / row(i)[i] * error[j];
        const double value = std::clamp(std::round(wanted), -kLargestCoefficient, kLargestCoefficient);
        error[i] = value - scale * filter[i];
        coefs[i] = static_cast<std::int16_t>(value);
    }
    while (coefs.size() > 1 && coefs.back() == 0) coefs.pop_back();
    return coefs;
}

} // namespace tesk
