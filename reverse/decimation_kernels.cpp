#include "reverse/decimation_kernels.h"

#include <algorithm>
#include <immintrin.h>
#include <numeric>
#include <string_view>

namespace tesk {
namespace {

bool hasAvx512(const kernel::KernelTable& kernels) { return std::string_view(kernels.level) == "AVX-512"; }

/// Eight values per register, `vectors` of them: adds what the bytes at one place of their windows contribute. A
/// nibble's sixteen sums are two registers, and looked up without going to memory.
template <int vectors>
[[gnu::target("avx512f")]] void addPlaces(const double* tables, std::size_t tableStep, std::size_t places,
                                          const std::uint64_t* index, double* out)
{
    __m512d sum[vectors];
    for (int v = 0; v < vectors; ++v) sum[v] = _mm512_loadu_pd(out + 8 * v);
    for (std::size_t p = 0; p < places; ++p, tables += tableStep) {
        const __m512d low0 = _mm512_loadu_pd(tables), low1 = _mm512_loadu_pd(tables + 8);
        const __m512d high0 = _mm512_loadu_pd(tables + 16), high1 = _mm512_loadu_pd(tables + 24);
        for (int v = 0; v < vectors; ++v) {
            const __m512i byte = _mm512_loadu_si512(index + p + 8 * v);
            const __m512i upper =
                _mm512_maskz_srli_epi64(0xFF, byte, 4); // GCC 12 warns of the unmasked form's own text
            sum[v] = _mm512_add_pd(sum[v], _mm512_permutex2var_pd(low0, byte, low1));
            sum[v] = _mm512_add_pd(sum[v], _mm512_permutex2var_pd(high0, upper, high1));
        }
    }
    for (int v = 0; v < vectors; ++v) _mm512_storeu_pd(out + 8 * v, sum[v]);
}

[[gnu::target("avx512f")]] double total(__m512d v)
{
    double lane[8];
    _mm512_storeu_pd(lane, v);
    return ((lane[0] + lane[4]) + (lane[2] + lane[6])) + ((lane[1] + lane[5]) + (lane[3] + lane[7]));
}

/// Outputs whose windows lie one vector apart, so that a vector of x serves all of them: output g takes it with the
/// taps that output g − 1 took one vector earlier. Behind and before its window an output adds products with zero taps,
/// which leaves its bits as `outputs` = 1 has them.
/// @param h  [8·vectors], and (outputs − 1) vectors of zeros
/// @param y  outputs at a distance of `spread`
template <int outputs>
[[gnu::target("avx512f")]] void dots512(const double* h, std::size_t vectors, const double* x, std::size_t spread,
                                        double* y)
{
    __m512d sum[outputs], taps[outputs];
    for (int g = 0; g < outputs; ++g) sum[g] = taps[g] = _mm512_setzero_pd();
    for (std::size_t v = 0; v < vectors + outputs - 1; ++v) {
        const __m512d samples = _mm512_loadu_pd(x + 8 * v);
        for (int g = outputs - 1; g > 0; --g) taps[g] = taps[g - 1];
        taps[0] = _mm512_loadu_pd(h + 8 * v);
        for (int g = 0; g < outputs; ++g) sum[g] = _mm512_fmadd_pd(taps[g], samples, sum[g]);
    }
    for (std::size_t g = 0; g < outputs; ++g) y[g * spread] = total(sum[g]);
}

constexpr std::size_t kTogether = 8;

} // namespace

PackedFir::PackedFir(const std::vector<double>& taps, std::size_t strideBytes, bool firstSampleInLowBit,
                     const kernel::KernelTable& kernels)
    : bytes_(taps.size() / 8), stride_(strideBytes)
{
    const bool nibbles = hasAvx512(kernels);
    fillTables(taps, firstSampleInLowBit, nibbles ? 4 : 8);
    loop_ = nibbles ? &PackedFir::byNibbles : &PackedFir::byBytes;
}

void PackedFir::fillTables(const std::vector<double>& taps, bool firstSampleInLowBit, unsigned bits)
{
    const std::size_t entries = std::size_t{1} << bits, groups = 8 / bits;
    tables_ = platform::zeroedDoubles(bytes_ * groups * entries);
    for (std::size_t p = 0; p < bytes_ * groups; ++p) {
        double weight[8]; // of the bits of this group, lowest first
        for (unsigned b = 0; b < bits; ++b) {
            const std::size_t bit = p % groups * bits + b, time = firstSampleInLowBit ? bit : 7 - bit;
            weight[b] = taps[taps.size() - 1 - (p / groups * 8 + time)];
        }
        for (std::size_t pattern = 0; pattern < entries; ++pattern)
            for (unsigned b = 0; b < bits; ++b)
                tables_[p * entries + pattern] += pattern >> b & 1 ? weight[b] : -weight[b];
    }
}

void PackedFir::byBytes(const std::uint8_t* bytes, std::size_t count, double* out, std::vector<std::uint64_t>&) const
{
    constexpr std::size_t together = 4; // additions in one sum wait for each other
    std::size_t i = 0;
    for (; i + together <= count; i += together) {
        double sum[together] = {};
        const std::uint8_t* at = bytes + i * stride_;
        const double* table = tables_.get();
        for (std::size_t p = 0; p < bytes_; ++p, table += 256)
            for (std::size_t k = 0; k < together; ++k) sum[k] += table[at[p + k * stride_]];
        std::copy_n(sum, together, out + i);
    }
    for (; i < count; ++i) {
        out[i] = 0;
        for (std::size_t p = 0; p < bytes_; ++p) out[i] += tables_[p * 256 + bytes[i * stride_ + p]];
    }
}

/// The bytes of every stride-th place stand side by side, widened to what the look-up wants, so that the indices of
/// eight values in a row are one load.
void PackedFir::byNibbles(const std::uint8_t* bytes, std::size_t count, double* out,
                          std::vector<std::uint64_t>& scratch) const
{
    constexpr std::size_t vector = 8, tile = 512, wide = 8;
    const std::size_t most = (bytes_ + stride_ - 1) / stride_;
    if (scratch.size() < tile + most) scratch.resize(tile + most);
    for (std::size_t first = 0; first < count; first += tile) {
        const std::size_t n = std::min(tile, count - first), whole = n / vector * vector;
        double sums[tile] = {};
        for (std::size_t phase = 0; phase < std::min(stride_, bytes_); ++phase) {
            const std::size_t places = (bytes_ - phase + stride_ - 1) / stride_;
            const std::uint8_t* from = bytes + first * stride_ + phase;
            for (std::size_t k = 0; k < n + places - 1; ++k) scratch[k] = from[k * stride_];
            const double* tables = tables_.get() + phase * 32;
            std::size_t v = 0;
            for (; v + wide * vector <= whole; v += wide * vector)
                addPlaces<wide>(tables, stride_ * 32, places, scratch.data() + v, sums + v);
            for (; v < n; v += vector) // the last may be less than a vector; what stands behind it is not used
                addPlaces<1>(tables, stride_ * 32, places, scratch.data() + v, sums + v);
        }
        std::copy_n(sums, n, out + first);
    }
}

DecimatingDot::DecimatingDot(const std::vector<double>& h, std::size_t step, const kernel::KernelTable& kernels)
    : h_(h), padded_(h.size()), step_(step), kernels_(kernels),
      spread_(hasAvx512(kernels) ? 8 / std::gcd(step, std::size_t{8}) : 0)
{
    if (spread_ > 0) padded_ = (h.size() + 7) / 8 * 8;
    if (spread_ > 0) h_.resize(padded_ + 8 * (kTogether - 1));
}

void DecimatingDot::run(const double* x, std::size_t count, double* y) const
{
    std::size_t j = 0;
    if (spread_ > 0) {
        const bool aVectorApart = spread_ * step_ == 8;
        for (const std::size_t block = kTogether * spread_; aVectorApart && j + block <= count; j += block)
            for (std::size_t k = j; k < j + spread_; ++k)
                dots512<kTogether>(h_.data(), padded_ / 8, x + k * step_, spread_, y + k);
        for (; j < count; ++j) dots512<1>(h_.data(), padded_ / 8, x + j * step_, 0, y + j);
    }
    for (; j < count; ++j) y[j] = kernels_.dot_size(h_.data(), x + j * step_, h_.size());
}

} // namespace tesk
