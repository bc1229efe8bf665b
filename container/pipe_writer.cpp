#include "container/pipe_writer.h"

namespace tesk {

Status PipeWriter::append(const std::uint8_t* const* packed)
{
    for (std::uint32_t c = 0; c < info_.channels; ++c)
        if (Status status = sink_.write({packed[c], info_.blockBytes()}); !status) return status;
    return {};
}

} // namespace tesk
