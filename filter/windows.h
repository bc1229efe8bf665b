// Window functions for FIR design and for spectra. All are symmetric about (N − 1)/2.
#pragma once

#include <cstddef>
#include <vector>

namespace dsp_utils::signal_processing {

// Each returns N values; a window of one point is 1, of none empty. With x = 2πn/(N − 1) and M = (N − 1)/2:

/// (1 − cos x)/2
std::vector<double> generate_hanning_window(std::size_t length);
/// 0.54 − 0.46·cos x
std::vector<double> generate_hamming_window(std::size_t length);
/// 1 − |n − M|/M
std::vector<double> generate_bartlett_window(std::size_t length);
/// 0.21557895 − 0.41663158·cos x + 0.277263158·cos 2x − 0.083578947·cos 3x + 0.006947368·cos 4x
std::vector<double> generate_flat_top_window(std::size_t length);
/// 0.42659 − 0.49656·cos x + 0.076849·cos 2x; its ends stand at 0.0069, and its peak at 0.999999
std::vector<double> generate_blackman_window(std::size_t length);
/// I0(β·√(1 − ((n − M)/M)²)) / I0(β); β = 0 is taken as 1e-9. β up to 700 stays within a double's range.
/// Source: Kaiser, Nonrecursive digital filter design using the I0-sinh window function (1974).
std::vector<double> generate_kaiser_window(std::size_t length, double beta);

/// coefficients[n] *= window[n]. Throws std::invalid_argument when the lengths differ.
void apply_window(std::vector<double>& coefficients, const std::vector<double>& window);

/// The modified Bessel function of the first kind and order 0, by its power series.
double bessel_i0(double y);

} // namespace dsp_utils::signal_processing
