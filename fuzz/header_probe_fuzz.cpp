// Any bytes as the header of a WAV, Wave64 or AIFF file: what the parser accepts must be usable.
#include "input/header_probe.h"

#include <cstdlib>

namespace {

void demand(bool condition)
{
    if (!condition) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    tesk::MemorySource source({data, size});
    std::string error;
    const auto header = tesk::probeHeader(source, error);
    if (!header) {
        demand(!error.empty());
        return 0;
    }
    demand(header->channels >= 1 && header->channels <= tesk::kMaxChannels);
    demand(header->sampleRate >= 1);
    demand(header->storedBytes <= size);
    demand(header->storedBytes == 0 || header->dataOffset <= size - header->storedBytes);
    demand(header->coding == tesk::SampleCoding::compressed || header->frameBytes() > 0);
    return 0;
}
