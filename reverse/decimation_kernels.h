// The two hot loops of the joined decimator: sums over packed bits by table, and a decimating inner product.
#pragma once

#include "pipeline/kernel/kernel_table.h"
#include "platform/memory.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tesk {

/// A FIR on packed ±1 samples, whose instants lie whole bytes apart.
class PackedFir {
public:
    /// @param taps              [8·bytes] newest sample first, on the grid of roundedForExactSums
    /// @param strideBytes       from one value to the next
    /// @param firstSampleInLowBit  of every byte
    /// @param kernels           chooses the loop; the values are the same bits at every level
    PackedFir(const std::vector<double>& taps, std::size_t strideBytes, bool firstSampleInLowBit,
              const kernel::KernelTable& kernels);

    /// out[i] = Σ taps · samples, the oldest of value i in bytes[i·strideBytes]. `scratch` is work space of one caller.
    void run(const std::uint8_t* bytes, std::size_t count, double* out, std::vector<std::uint64_t>& scratch) const
    {
        (this->*loop_)(bytes, count, out, scratch);
    }

private:
    using Loop = void (PackedFir::*)(const std::uint8_t*, std::size_t, double*, std::vector<std::uint64_t>&) const;

    void byBytes(const std::uint8_t* bytes, std::size_t count, double* out, std::vector<std::uint64_t>& scratch) const;
    void byNibbles(const std::uint8_t* bytes, std::size_t count, double* out,
                   std::vector<std::uint64_t>& scratch) const;
    void fillTables(const std::vector<double>& taps, bool firstSampleInLowBit, unsigned bits);

    std::size_t bytes_, stride_;
    platform::DoubleBuffer tables_; // [bytes][256], or [bytes][low, high nibble][16]
    Loop loop_;
};

/// y[j] = Σ_t h[t] · x[j·step + t], t < h.size(), for j < count. One table gives the same bits for any split of j.
class DecimatingDot {
public:
    DecimatingDot(const std::vector<double>& h, std::size_t step, const kernel::KernelTable& kernels);

    /// x [(count − 1)·step + padded()]
    void run(const double* x, std::size_t count, double* y) const;
    /// Taps with the zeros that fill the last vector; x is read, and must be finite, up to there.
    std::size_t padded() const { return padded_; }

private:
    std::vector<double> h_;
    std::size_t padded_, step_;
    const kernel::KernelTable& kernels_;
    std::size_t spread_; // from one output to the next whose window is whole 512-bit vectors away; 0 without those
};

} // namespace tesk
