#include "reverse/pcm_writer.h"

#include "reverse/flac_writer.h"
#include "reverse/wave_writer.h"

namespace tesk {

std::unique_ptr<PcmWriter> makePcmWriter(PcmContainer container, Reporter& report)
{
    if (container == PcmContainer::flac) return makeFlacWriter(report);
    return std::make_unique<WaveWriter>(report);
}

} // namespace tesk
