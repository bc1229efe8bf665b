#include "container/dff_writer.h"

#include "container/dsdiff_comments.h"
#include "container/dsdiff_layout.h"

#include <algorithm>

namespace tesk {

Status reWriteDFFHeader(ByteSink* stream, Bytes header, Reporter& report)
{
    if (!stream) {
        report.line("Report", "reWriteDFFHeader: wf is NULL, cannot rewrite header\n");
        return {};
    }
    if (stream->seekable()) return stream->rewrite(0, header);
    report.warning("the output cannot seek: its header keeps the sizes that were expected\n");
    return {};
}

Status DffWriter::begin(const DsdStreamInfo& info)
{
    info_ = info;
    sound_ = std::make_unique<InterleavedStream>(sink_, info, batchBlocks_);
    return sink_.write(dsdiffHeader(info, info.bytes));
}

Status DffWriter::append(const std::uint8_t* const* packed, std::size_t bytes)
{
    channels_.assign(packed, packed + info_.channels);
    // Recordings of 7.1 have the back pair in front of the side pair, as WAVE does; the IDs name the sides first.
    if (channels_.size() == 8) std::swap_ranges(channels_.begin() + 4, channels_.begin() + 6, channels_.begin() + 6);
    return sound_->append(channels_.data(), bytes, report_);
}

Status DffWriter::finish(const MetadataRecord& metadata, Reporter& report)
{
    if (!sound_) return reWriteDFFHeader(nullptr, {}, report);
    if (Status status = sound_->finish(report); !status) return status;
    const std::uint64_t bytes = sound_->bytesPerChannel();
    constexpr std::uint8_t pad[] = {0};
    if (bytes * info_.channels % 2 != 0)
        if (Status status = sink_.write(pad); !status) return status;
    // The sizes are known beforehand, so this changes nothing but after a miscount.
    if (bytes != info_.bytes)
        if (Status status = reWriteDFFHeader(&sink_, dsdiffHeader(info_, bytes), report); !status) return status;
    if (Status status = writeDffComtTag(sink_, metadata, clock_(), report); !status) return status;
    return sink_.flush();
}

Status DffWriter::stop() { return sound_ ? sound_->flush() : Status{}; }

} // namespace tesk
