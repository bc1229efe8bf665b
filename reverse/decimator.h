// From one-bit sound to PCM at a fraction of its rate: low-pass biquads, a windowed-sinc FIR, every D-th sample.
#pragma once

#include "pipeline/kernel/kernel_table.h"
#include "pipeline/parallel/worker_pool.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace tesk {

class ReverseProfile;

/// What is to be computed. With x the ±1 samples (0 before the first and behind the last one), b their response to
/// `sections` equal biquads, and h the FIR, output j is Σ_k h[k] · b[n_j + k − (taps − 1)], n_j = firstNewest + j·D:
/// n_j is the newest sample that output j sees. An output is given once sample n_j + D has been seen, so that a stream
/// of B samples gives ⌊(B − 1 − firstNewest) / D⌋ of them.
struct DecimationPlan {
    std::uint32_t channels = 0;
    double dsdRate = 0;            ///< Hz
    std::uint32_t decimation = 1;  ///< D
    std::uint32_t sections = 4;    ///< biquads in a row, all alike; may be 0
    double cornerHz = 0;           ///< of the biquads
    std::vector<double> fir;       ///< [taps]
    std::int64_t firstNewest = -1; ///< at least −1: output j then sees x[jD − taps … jD − 1]
    bool firstSampleInLowBit = true;
};

class Decimator {
public:
    virtual ~Decimator() = default;

    /// Takes the next bytes of every channel and gives all outputs that are due (see DecimationPlan).
    /// planar[c] [bytes], any number; out[c] has room for maxFrames(bytes) samples. Returns frames per channel.
    /// @param lastBits  bits of the last byte that count, 1 … 8; less than 8 only in the last call of a stream
    virtual std::size_t process(const std::uint8_t* const* planar, std::size_t bytes, double* const* out,
                                unsigned lastBits = 8) = 0;

    /// As if `samples` zeros (no sound, neither +1 nor −1) followed; for the end of a stream that is to be drained.
    virtual std::size_t flush(std::size_t samples, double* const* out) = 0;

    virtual std::size_t maxFrames(std::size_t bytes) const = 0;
};

/// Four biquads of the design at Q = 1/√2 in a row, and the FIR: the designs as functions.
struct Biquad {
    double b0, b1, b2, a1, a2;
};
Biquad designLowpass(double cornerHz, double sampleRate, double q);

/// Kaiser-windowed sinc, not rescaled: tap k, x = k − (taps − 1)/2, is sin(2π·fn·x)/(π·x) · I0(β·√(1 − (x/c)²))/I0(β).
/// @param cutoff  fn, as a fraction of the sample rate
std::vector<double> designSinc(std::size_t taps, double cutoff, double beta);

/// Impulse response of the biquads and the FIR together, to where it has sunk below 1e-18 of its peak.
std::vector<double> jointResponse(const DecimationPlan& plan);

/// Every stage for itself, as the formulas read: unpack, biquads, FIR. The reference.
struct StageOptions {
    unsigned threads = 1;            ///< 1: everything on the calling thread
    bool biquadBank = true;          ///< two channels per vector
    std::uint64_t minMacs = 1200000; ///< multiply-adds that a task of the FIR should at least have
};
std::unique_ptr<Decimator> makeStagedDecimator(DecimationPlan plan, const StageOptions& options,
                                               const kernel::KernelTable& kernels, parallel::WorkerPool& pool,
                                               ReverseProfile* profile);

/// Biquads and FIR as one filter, by tables over the packed bytes; the same result within 1e-10. Null when the plan has
/// no such form (a decimation that is no multiple of eight).
std::unique_ptr<Decimator> makeJoinedDecimator(const DecimationPlan& plan, unsigned threads,
                                               const kernel::KernelTable& kernels, parallel::WorkerPool& pool);

} // namespace tesk
