// One block of PCM through the whole signal path, and the buffers that it needs.
#pragma once

#include "pipeline/pcm2pdm.h"
#include "platform/memory.h"

#include <vector>

namespace tesk {

/// Looks at blocks that have been converted, and changes none.
class BlockObserver {
public:
    virtual ~BlockObserver() = default;
    /// `decisions` [channels][samples], `position` the PCM frame at which the block begins.
    virtual void see(const double* const* decisions, std::size_t samples, std::uint64_t position) = 0;
    virtual void report(Reporter& report) = 0;
};

/// The oversampler of all channels: padded input, histories and outputs, allocated once.
class Oversampler {
public:
    explicit Oversampler(const Pcm2pdm& job);

    /// `input` [channels] → `frames` samples; gain applied, padded with zeros to a whole block, raised to the DSD
    /// rate. Answers [channels] → blockSamples() samples, which the caller may overwrite.
    double** process(const double* const* input, std::size_t frames);

private:
    const Pcm2pdm& job_;
    std::vector<platform::DoubleBuffer> input_, history_, output_;
    std::vector<double*> channels_;
};

/// What `processConversionBlock` carries from block to block.
struct ConversionBlockState {
    ConversionBlockState(const Pcm2pdm& job, DsdWriter& dsdWriter);

    Oversampler oversampler;
    DsdWriter& writer;
    std::vector<std::vector<std::uint8_t>> packed; ///< [channels][blockBytes]
    std::vector<const std::uint8_t*> packedChannels;
    std::vector<BlockObserver*> observers;
};

/// Converts `frames` PCM samples per channel, at most a block's, and hands the bytes to the writer. `position` is
/// the first frame's index. A failing stage stores the job's status; nothing of a failed block is written.
PDM_ENCODING_STATUS processConversionBlock(Pcm2pdm* job, ConversionBlockState& state, const double* const* input,
                                           std::size_t frames, std::uint64_t position);

} // namespace tesk
