#include "container/pipe_writer.h"

namespace tesk {

Status PipeWriter::append(const std::uint8_t* const* packed, std::size_t bytes)
{
    for (std::uint32_t c = 0; c < info_.channels; ++c)
        if (Status status = sink_.write({packed[c], bytes}); !status) return status;
    return {};
}

} // namespace tesk
