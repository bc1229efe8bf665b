// What the modulator went through, told to the user when it was too much.
#pragma once

#include "pipeline/pcm2pdm.h"

namespace tesk {

/// Nothing when the modulator never had to be rescued; else a line per channel and what to do about it.
void reportOverload(const Pcm2pdm& job);

} // namespace tesk
