#include "pipeline/conversion_block.h"

#include "pipeline/kernel/fir_upsample.h"
#include "pipeline/parallel/parallel_for.h"

#include <algorithm>

namespace tesk {

Oversampler::Oversampler(const Pcm2pdm& job) : job_(job)
{
    for (std::uint32_t c = 0; c < job.plan.channels; ++c) {
        input_.push_back(platform::zeroedDoubles(job.plan.blockFrames));
        history_.push_back(platform::zeroedDoubles(job.phases->taps() + job.plan.blockFrames));
        output_.push_back(platform::zeroedDoubles(job.plan.blockSamples()));
        channels_.push_back(output_.back().get());
    }
}

double** Oversampler::process(const double* const* input, std::size_t frames)
{
    const StreamPlan& plan = job_.plan;
    // Channels in parallel cost one hand-over a block, ranges within a channel one per channel: the latter only
    // where channels alone would leave workers idle.
    const bool byChannel = plan.channels % job_.pool.workers() == 0;
    auto channel = [&](std::size_t c) {
        double* padded = input_[c].get();
        for (std::size_t i = 0; i < frames; ++i) padded[i] = input[c][i] * plan.inputGain;
        std::fill(padded + frames, padded + plan.blockFrames, 0.0);
        kernel::fir_upsample(padded, history_[c].get(), channels_[c], plan.blockFrames, *job_.phases,
                             job_.expansionThreshold, job_.kernels, byChannel ? nullptr : &job_.pool);
    };
    if (byChannel)
        parallel::parallel_for(0, plan.channels, channel, job_.pool);
    else
        for (std::size_t c = 0; c < plan.channels; ++c) channel(c);
    return channels_.data();
}

ConversionBlockState::ConversionBlockState(const Pcm2pdm& job, DsdWriter& dsdWriter)
    : oversampler(job), writer(dsdWriter), packed(job.plan.channels, std::vector<std::uint8_t>(job.plan.blockBytes()))
{
    for (const auto& channel : packed) packedChannels.push_back(channel.data());
}

PDM_ENCODING_STATUS processConversionBlock(Pcm2pdm* job, ConversionBlockState& state, const double* const* input,
                                           std::size_t frames, std::uint64_t position)
{
    const StreamPlan& plan = job->plan;
    double** samples = state.oversampler.process(input, frames);
    job->status.keep(job->chain.process(samples, plan.blockSamples(), plan.channels));

    // From here on every sample is a decision; only its sign matters.
    parallel::parallel_for(
        0, plan.channels,
        [&](std::size_t c) {
            job->kernels.pack(samples[c], state.packed[c].data(), plan.blockBytes(), plan.firstSampleInLowBit);
        },
        job->pool);
    for (BlockObserver* observer : state.observers) observer->see(samples, plan.blockSamples(), position);

    if (!job->status.ok()) return job->status.value();
    return state.writer.append(state.packedChannels.data(), plan.blockBytes()).status();
}

} // namespace tesk
