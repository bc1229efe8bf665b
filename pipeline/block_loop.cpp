#include "pipeline/block_loop.h"

#include <algorithm>

namespace tesk {

void runBlockLoop(Pcm2pdm& job, ConversionBlockState& state)
{
    const StreamPlan& plan = job.plan;
    Progress progress(plan.totalFrames, plan.pcmRate, job.environment.progress);
    std::vector<const double*> input(plan.channels);
    for (std::uint64_t block = 0; block < plan.blockCount && job.status.ok() && !takeStop(job); ++block) {
        const std::uint64_t position = block * plan.blockFrames;
        const std::uint64_t frames = std::min<std::uint64_t>(plan.blockFrames, plan.totalFrames - position);
        for (std::uint32_t c = 0; c < plan.channels; ++c) input[c] = job.recording.signal.channel(c) + position;
        job.status.keep(processConversionBlock(&job, state, input.data(), static_cast<std::size_t>(frames), position));
        if (job.status.ok()) progress.advance(position + frames);
    }
    progress.finish();
}

} // namespace tesk
