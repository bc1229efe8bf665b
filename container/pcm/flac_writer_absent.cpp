#include "container/pcm/flac_writer.h"

namespace tesk {

std::unique_ptr<PcmWriter> makeFlacWriter(Reporter&) { return std::make_unique<AbsentFlacWriter>(); }

} // namespace tesk
