#include "pipeline/pcm2pdm.h"

namespace tesk {

bool takeStop(const JobEnvironment& environment)
{
    if (!environment.stop.take()) return false;
    environment.report.error(
        "\n[engine] host requested stop (inproc control channel) -- conversion aborted, output is incomplete\n");
    return true;
}

bool takeStop(Pcm2pdm& job)
{
    if (!takeStop(job.environment)) return false;
    job.status.keep(kHostStopped);
    return true;
}

} // namespace tesk
