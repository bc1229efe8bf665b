#include "container/pipe_writer.h"

#include "container/interleaver.h"

namespace tesk {

Status PipeWriter::begin(const DsdStreamInfo& info)
{
    info_ = info;
    if (form_ != PipeForm::dsf) block_.resize(info.channels * info.blockBytes);
    if (form_ == PipeForm::dff) report_->line("Report", "Skipping DFF header (pipe mode)\n");
    return {};
}

Status PipeWriter::append(const std::uint8_t* const* packed, std::size_t bytes)
{
    if (form_ != PipeForm::dsf) {
        interleave(packed, info_.channels, bytes, block_.data());
        return sink_.write({block_.data(), bytes * info_.channels});
    }
    for (std::uint32_t c = 0; c < info_.channels; ++c)
        if (Status status = sink_.write({packed[c], bytes}); !status) return status;
    return {};
}

} // namespace tesk
