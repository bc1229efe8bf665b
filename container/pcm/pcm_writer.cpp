#include "container/pcm/pcm_writer.h"

#include "container/pcm/flac_writer.h"
#include "container/pcm/wave_writer.h"

namespace tesk {

std::unique_ptr<PcmWriter> makePcmWriter(PcmContainer container, Reporter& report)
{
    if (container == PcmContainer::flac) return makeFlacWriter(report);
    return std::make_unique<WaveWriter>(report);
}

} // namespace tesk
