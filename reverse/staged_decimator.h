// The decimator that works as the formulas read: unpack, biquads, FIR, one after the other.
#pragma once

#include "reverse/biquad_cascade.h"
#include "reverse/decimation_clock.h"
#include "reverse/decimator.h"

namespace tesk {

/// How the stages were spread over threads, as far as a report tells it.
struct StageNotes {
    bool bank = false;         ///< biquads run two channels per vector
    unsigned channelTasks = 1; ///< of the unpacking
    unsigned ranges = 1;       ///< of outputs per channel, in the last call
    unsigned firTasks = 1;     ///< in the last call; 1 when it ran on the calling thread
};

class StagedDecimator final : public Decimator {
public:
    StagedDecimator(DecimationPlan plan, const StageOptions& options, const kernel::KernelTable& kernels,
                    parallel::WorkerPool& pool, ReverseProfile* profile);

    std::size_t process(const std::uint8_t* const* planar, std::size_t bytes, double* const* out,
                        unsigned lastBits = 8) override;
    std::size_t flush(std::size_t samples, double* const* out) override;
    std::size_t maxFrames(std::size_t bytes) const override { return clock_.most(8 * bytes); }

    const StageNotes& notes() const { return notes_; }

private:
    struct Channel {
        std::vector<double> samples; // past the biquads; the part that outputs still need
        BiquadCascade biquads;
    };

    void append(const std::uint8_t* const* planar, std::size_t samples);
    void runBiquads(std::size_t samples);
    std::size_t runFir(double* const* out);
    unsigned rangesFor(std::size_t frames) const;
    void forgetOld();

    const DecimationPlan plan_;
    const StageOptions options_;
    const kernel::KernelTable& kernels_;
    parallel::WorkerPool& pool_;
    ReverseProfile* profile_;
    DecimationClock clock_;
    std::int64_t base_ = 0; // index of Channel::samples[0]; negative ones are the silence before the stream
    std::vector<Channel> channels_;
    StageNotes notes_;
};

/// x [8·bytes]: +1 for a set bit, −1 for a clear one.
void unpackBits(const std::uint8_t* bits, std::size_t bytes, bool firstSampleInLowBit, double* x);

} // namespace tesk
