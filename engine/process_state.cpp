#include "engine/process_state.h"

#include "engine/base/report.h"

#include <cstdio>
#include <cstdlib>

namespace tesk {

ProcessState& processState()
{
    static ProcessState state;
    return state;
}

int finish_status(int status)
{
    if (processState().process_owner.load() == 0) return status;
    log_close();
    std::fflush(stdout);
    std::fflush(stderr);
    std::exit(status);
}

} // namespace tesk
