#include "container/pcm/pcm_samples.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace tesk {
namespace {

constexpr std::size_t kBlock = 512; // stays in the first cache

/// Stored lowest byte first whatever the machine's order; compilers make one store of it.
template <unsigned Bytes, class Word>
void store(std::uint8_t* out, Word word)
{
    for (unsigned b = 0; b < Bytes; ++b) out[b] = static_cast<std::uint8_t>(word >> (8 * b));
}

template <unsigned Bytes>
void packIntegers(const double* x, std::size_t count, std::uint8_t* out)
{
    std::int32_t numbers[kBlock];
    for (std::size_t at = 0; at < count; at += kBlock) {
        const std::size_t n = std::min(kBlock, count - at);
        quantizeSamples(x + at, n, 8 * Bytes, numbers);
        for (std::size_t i = 0; i < n; ++i, out += Bytes) store<Bytes>(out, static_cast<std::uint32_t>(numbers[i]));
    }
}

} // namespace

void quantizeSamples(const double* x, std::size_t count, unsigned bits, std::int32_t* out)
{
    const double scale = static_cast<double>((std::int64_t{1} << (bits - 1)) - 1);
    for (std::size_t i = 0; i < count; ++i) {
        const double number = x[i] == x[i] ? x[i] : 0.0;
        const double scaled = std::min(std::max(number, -1.0), 1.0) * scale;
        // Adding ±0.5 before cutting would round where it must not: 0.5 − 2^-54 + 0.5 is 1. The rest is exact.
        const auto whole = static_cast<std::int32_t>(scaled);
        const double rest = scaled - whole;
        out[i] = whole + static_cast<int>(rest >= 0.5) - static_cast<int>(rest <= -0.5);
    }
}

void packSamples(const double* x, std::size_t count, unsigned bits, bool isFloat, std::uint8_t* out)
{
    if (isFloat && bits == 64) {
        for (std::size_t i = 0; i < count; ++i) store<8>(out + 8 * i, std::bit_cast<std::uint64_t>(x[i]));
    } else if (isFloat) {
        for (std::size_t i = 0; i < count; ++i)
            store<4>(out + 4 * i, std::bit_cast<std::uint32_t>(static_cast<float>(x[i])));
    } else if (bits == 16) {
        packIntegers<2>(x, count, out);
    } else if (bits == 24) {
        packIntegers<3>(x, count, out);
    } else {
        packIntegers<4>(x, count, out);
    }
}

} // namespace tesk
