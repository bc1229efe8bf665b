// Samples of full scale ±1 as the numbers that PCM files hold.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tesk {

/// llround(clamp(x, −1, 1) · (2^(bits−1) − 1)) of every sample, to the last bit: halves go away from zero. The scale is
/// symmetric on purpose, so that the most negative code never appears. NaN becomes silence.
///
/// @param bits  2 … 32
/// @param out   [count]
void quantizeSamples(const double* x, std::size_t count, unsigned bits, std::int32_t* out);

/// The samples as they stand in a WAVE file, little-endian. Integers by quantizeSamples; 32-bit float is rounded to
/// single precision, 64-bit float unchanged, and neither is clamped.
///
/// @param bits  16, 24 or 32; float 32 or 64
/// @param out   [count · bits / 8]
void packSamples(const double* x, std::size_t count, unsigned bits, bool isFloat, std::uint8_t* out);

} // namespace tesk
