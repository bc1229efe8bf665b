#include "pipeline/overload_report.h"

namespace tesk {

void reportOverload(const Pcm2pdm& job)
{
    std::uint64_t total = 0;
    const auto overloads = job.modulator->overloads();
    for (std::size_t c = 0; c < overloads.size(); ++c) {
        const modulator::Overload& o = overloads[c];
        total += o.clips + o.restarts;
        if (o.clips > 0)
            job.report.warning("Modulator overload: channel %zu, %llu rescues, the first at %.3f s\n", c + 1,
                               static_cast<unsigned long long>(o.clips),
                               static_cast<double>(o.firstClip) / job.plan.dsdRate);
        if (o.restarts > 0)
            job.report.warning("Modulator restarted: channel %zu, %llu times\n", c + 1,
                               static_cast<unsigned long long>(o.restarts));
    }
    if (total == 0) return;
    job.report.alert("the music was too loud for the modulator %llu times and is audibly noisier there; %s\n",
                     static_cast<unsigned long long>(total), job.modulator->overloadAdvice());
}

} // namespace tesk
