#include "filter/windows.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <stdexcept>

namespace dsp_utils::signal_processing {
namespace {

/// value(n) for every point; each is computed by itself, so the number of threads changes no bit.
template <class Value>
std::vector<double> fill(std::size_t length, const Value& value)
{
    std::vector<double> window(length, 1.0);
    const auto points = static_cast<std::int64_t>(length);
    if (points < 2) return window;
#ifdef _OPENMP
#pragma omp parallel for schedule(static)
#endif
    for (std::int64_t n = 0; n < points; ++n) window[static_cast<std::size_t>(n)] = value(static_cast<double>(n));
    return window;
}

/// From n to the angle x, one turn over the window.
double turnPerPoint(std::size_t length) { return 2.0 * std::numbers::pi / (static_cast<double>(length) - 1.0); }

double middle(std::size_t length) { return (static_cast<double>(length) - 1.0) / 2.0; }

} // namespace

std::vector<double> generate_hanning_window(std::size_t length)
{
    return fill(length, [turn = turnPerPoint(length)](double n) { return (1.0 - std::cos(n * turn)) / 2.0; });
}

std::vector<double> generate_hamming_window(std::size_t length)
{
    return fill(length, [turn = turnPerPoint(length)](double n) { return 0.54 - 0.46 * std::cos(n * turn); });
}

std::vector<double> generate_bartlett_window(std::size_t length)
{
    return fill(length, [m = middle(length)](double n) { return 1.0 - std::abs((n - m) / m); });
}

std::vector<double> generate_flat_top_window(std::size_t length)
{
    return fill(length, [turn = turnPerPoint(length)](double n) {
        const double x = n * turn;
        return 0.21557895 - 0.41663158 * std::cos(x) + 0.277263158 * std::cos(2 * x) - 0.083578947 * std::cos(3 * x) +
               0.006947368 * std::cos(4 * x);
    });
}

std::vector<double> generate_blackman_window(std::size_t length)
{
    return fill(length, [turn = turnPerPoint(length)](double n) {
        const double x = n * turn;
        return 0.42659 - 0.49656 * std::cos(x) + 0.076849 * std::cos(2 * x);
    });
}

std::vector<double> generate_kaiser_window(std::size_t length, double beta)
{
    if (beta == 0.0) beta = 1e-9;
    const double top = bessel_i0(beta);
    return fill(length, [m = middle(length), beta, top](double n) {
        const double offset = (n - m) / m;
        return bessel_i0(beta * std::sqrt(std::max(0.0, 1.0 - offset * offset))) / top;
    });
}

void apply_window(std::vector<double>& coefficients, const std::vector<double>& window)
{
    if (coefficients.size() != window.size())
        throw std::invalid_argument("Coefficients and window must have the same size");
    const auto points = static_cast<std::int64_t>(window.size());
#ifdef _OPENMP
#pragma omp parallel for schedule(static)
#endif
    for (std::int64_t n = 0; n < points; ++n)
        coefficients[static_cast<std::size_t>(n)] *= window[static_cast<std::size_t>(n)];
}

double bessel_i0(double y)
{
    double sum = 1.0, term = 1.0;
    for (double k = 1.0; term > sum * 1e-18; k += 1.0) {
        term *= y * y / (4.0 * k * k);
        sum += term;
    }
    return sum;
}

} // namespace dsp_utils::signal_processing
