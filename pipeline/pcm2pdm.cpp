#include "pipeline/pcm2pdm.h"

namespace tesk {

bool takeStop(Pcm2pdm& job)
{
    if (!job.stop.take()) return false;
    job.report.error(
        "\n[engine] host requested stop (inproc control channel) -- conversion aborted, output is incomplete\n");
    job.status.keep(kHostStopped);
    return true;
}

} // namespace tesk
