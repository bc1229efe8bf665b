#include "filter/fft.h"

#include "pipeline/parallel/for_range.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <utility>

namespace tesk {
namespace {

using Complex = std::complex<double>;

constexpr std::size_t kParallelFrom = std::size_t{1} << 15; // points; below, waking the workers costs more
constexpr std::size_t kChunks = 64;                         // per pass, whatever the number of workers

/// Without the NaN repair of std::complex's operator, which stands in the way of vector code.
inline Complex multiply(Complex a, Complex b)
{
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

/// One radix-4 pass over butterflies [first, last), counted p·stride + q.
struct Radix4Pass {
    const Complex* from;
    Complex* to;
    const Complex* roots;
    std::size_t points;  // of the whole transform
    std::size_t stride;  // a power of four: the transforms already finished side by side
    std::size_t quarter; // points / 4: the distance of a butterfly's inputs

    template <bool isInverse>
    void run(std::size_t first, std::size_t last) const
    {
        const int shift = std::countr_zero(stride);
        while (first < last) {
            const std::size_t p = first >> shift;
            const std::size_t q = first & (stride - 1);
            const std::size_t end = std::min(stride, q + (last - first));
            row<isInverse>(p, q, end);
            first += end - q;
        }
    }

private:
    template <bool isInverse>
    void row(std::size_t p, std::size_t q, std::size_t end) const
    {
        const auto root = [&](std::size_t k) { return isInverse ? std::conj(roots[k]) : roots[k]; };
        const Complex w1 = root(p * stride), w2 = root(2 * p * stride), w3 = root(3 * p * stride);
        const Complex* x = from + stride * p;
        Complex* y = to + 4 * stride * p;
        for (; q < end; ++q) {
            const Complex a = x[q], b = x[q + quarter], c = x[q + 2 * quarter], d = x[q + 3 * quarter];
            const Complex evenSum = a + c, evenDifference = a - c, oddSum = b + d, odd = b - d;
            const Complex turned = isInverse ? Complex(-odd.imag(), odd.real()) : Complex(odd.imag(), -odd.real());
            y[q] = evenSum + oddSum;
            y[q + stride] = multiply(w1, evenDifference + turned);
            y[q + 2 * stride] = multiply(w2, evenSum - oddSum);
            y[q + 3 * stride] = multiply(w3, evenDifference - turned);
        }
    }
};

/// The closing radix-2 pass, butterflies [first, last) of points / 2.
void radix2Pass(const Complex* from, Complex* to, std::size_t half, std::size_t first, std::size_t last)
{
    for (std::size_t q = first; q < last; ++q) {
        const Complex a = from[q], b = from[q + half];
        to[q] = a + b;
        to[q + half] = a - b;
    }
}

/// Calls part(first, last) over [0, count), in parallel for a long transform. Every butterfly has its own outputs,
/// so the cut changes no bit.
template <class Part>
void inParts(std::size_t points, std::size_t count, const Part& part)
{
    if (points < kParallelFrom) return part(0, count);
    const auto chunk = static_cast<std::int64_t>(count / kChunks);
    pcm2pdm::parallel::for_range(0, static_cast<std::int64_t>(count), chunk, [&](std::int64_t first) {
        part(static_cast<std::size_t>(first), static_cast<std::size_t>(first + chunk));
    });
}

/// The first three quarters of the circle, which is what w³ of the first pass reaches.
std::vector<Complex> rootTable(std::size_t n)
{
    std::vector<Complex> roots(std::max<std::size_t>(1, 3 * n / 4), Complex(1.0));
    if (n < 4) return roots;
    const std::size_t quarter = n / 4;
    for (std::size_t k = 0; k <= quarter / 2; ++k) {
        roots[k] = unitRoot(k, n);
        roots[quarter - k] = {-roots[k].imag(), -roots[k].real()};
    }
    for (std::size_t k = quarter; k < roots.size(); ++k)
        roots[k] = {roots[k - quarter].imag(), -roots[k - quarter].real()};
    return roots;
}

} // namespace

std::complex<double> unitRoot(std::size_t index, std::size_t length)
{
    const std::size_t turned = 4 * (index % length); // quarters of the circle, as a fraction over `length`
    const std::size_t quadrant = turned / length;
    const std::size_t rest = turned % length;
    const bool upperOctant = 2 * rest > length;
    const double angle =
        std::numbers::pi / 2 * static_cast<double>(upperOctant ? length - rest : rest) / static_cast<double>(length);
    double re = std::cos(angle), im = std::sin(angle);
    if (2 * rest == length) re = im = std::numbers::sqrt2 / 2;
    if (upperOctant) std::swap(re, im);
    switch (quadrant) {
    case 0: return {re, -im};
    case 1: return {-im, -re};
    case 2: return {-re, im};
    default: return {im, re};
    }
}

/// X[k] = c[k]·Σ (x[i]·c[i])·conj(c[k − i]) with c[k] = e^(−πi·k²/n): a convolution, done by a power of two.
struct FftPlan::Chirp {
    FftPlan inner;
    std::vector<Complex> chirp;    // c, [n]
    std::vector<Complex> spectrum; // of the wrapped conj(c), divided by its length
    std::vector<Complex> work;

    explicit Chirp(std::size_t n)
        : inner(std::bit_ceil(2 * n - 1)), chirp(n), spectrum(inner.size()), work(inner.size())
    {
        const double scale = 1.0 / static_cast<double>(inner.size());
        for (std::size_t k = 0; k < n; ++k) { // k² is reduced while it is an integer: no phase is lost far out
            chirp[k] = unitRoot(k * k % (2 * n), 2 * n);
            spectrum[k] = std::conj(chirp[k]) * scale;
            if (k > 0) spectrum[inner.size() - k] = spectrum[k];
        }
        inner.forward(spectrum.data());
    }
};

FftPlan::FftPlan(std::size_t n) : n_(n)
{
    if (n < 2) return;
    if (std::has_single_bit(n)) {
        roots_ = rootTable(n);
        scratch_.resize(n);
    } else {
        chirp_ = std::make_unique<Chirp>(n);
    }
}

FftPlan::FftPlan(FftPlan&&) noexcept = default;
FftPlan& FftPlan::operator=(FftPlan&&) noexcept = default;
FftPlan::~FftPlan() = default;

template <bool isInverse>
void FftPlan::transform(std::complex<double>* data)
{
    std::complex<double>* from = data;
    std::complex<double>* to = scratch_.data();
    std::size_t stride = 1;
    for (; n_ / stride >= 4; stride *= 4) {
        const Radix4Pass pass{from, to, roots_.data(), n_, stride, n_ / 4};
        inParts(n_, n_ / 4, [&](std::size_t first, std::size_t last) { pass.run<isInverse>(first, last); });
        std::swap(from, to);
    }
    if (n_ / stride == 2) {
        inParts(n_, n_ / 2, [&](std::size_t first, std::size_t last) { radix2Pass(from, to, n_ / 2, first, last); });
        std::swap(from, to);
    }
    if (from != data) std::copy(from, from + n_, data);
}

void FftPlan::chirpForward(std::complex<double>* data)
{
    auto& [inner, chirp, spectrum, work] = *chirp_;
    for (std::size_t k = 0; k < n_; ++k) work[k] = multiply(data[k], chirp[k]);
    std::fill(work.begin() + static_cast<std::ptrdiff_t>(n_), work.end(), std::complex<double>());
    inner.forward(work.data());
    for (std::size_t k = 0; k < work.size(); ++k) work[k] = multiply(work[k], spectrum[k]);
    inner.inverse(work.data());
    for (std::size_t k = 0; k < n_; ++k) data[k] = multiply(work[k], chirp[k]);
}

void FftPlan::forward(std::complex<double>* data)
{
    if (n_ < 2) return;
    if (chirp_) return chirpForward(data);
    transform<false>(data);
}

void FftPlan::inverse(std::complex<double>* data)
{
    if (n_ < 2) return;
    if (!chirp_) return transform<true>(data);
    for (std::size_t k = 0; k < n_; ++k) data[k] = std::conj(data[k]);
    chirpForward(data);
    for (std::size_t k = 0; k < n_; ++k) data[k] = std::conj(data[k]);
}

} // namespace tesk
