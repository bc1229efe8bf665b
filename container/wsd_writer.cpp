#include "container/wsd_writer.h"

#include "container/wsd_layout.h"

namespace tesk {
namespace {

Status reported(Status status, Reporter& report)
{
    if (!status) report.line("Report", "WSD: header write failed\n");
    return status;
}

} // namespace

Status WsdWriter::begin(const DsdStreamInfo& info)
{
    if (info.channels == 0 || info.channels > kWsdMostChannels) {
        report_.error("Error : a WSD file holds 1 to %u channels, not %u\n", kWsdMostChannels, info.channels);
        return DSD_ERROR;
    }
    info_ = info;
    sound_ = std::make_unique<InterleavedStream>(sink_, info, batchBlocks_);
    return reported(sink_.write(wsdHeader(info, info.bytes, {})), report_);
}

Status WsdWriter::append(const std::uint8_t* const* packed, std::size_t bytes)
{
    return sound_->append(packed, bytes, report_);
}

Status WsdWriter::finish(const MetadataRecord& metadata, Reporter& report)
{
    if (!sound_) return {};
    if (Status status = sound_->finish(report); !status) return status;
    const auto header = wsdHeader(info_, sound_->bytesPerChannel(), metadata);
    if (sink_.seekable()) {
        if (Status status = reported(sink_.rewrite(0, header), report); !status) return status;
    } else if (header != wsdHeader(info_, info_.bytes, {})) {
        report.warning("the output cannot seek: its WSD header keeps the expected sizes and no tags\n");
    }
    return sink_.flush();
}

Status WsdWriter::stop() { return sound_ ? sound_->flush() : Status{}; }

} // namespace tesk
