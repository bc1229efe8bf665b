// The job's low-pass, from the settings to phases.
#pragma once

#include "pipeline/pcm2pdm.h"

namespace tesk {

/// Settles and designs the filter, cuts its phases and sizes the guard behind the signal.
Status designOversamplingFilter(Pcm2pdm& job);

} // namespace tesk
