#include "container/dff_dst_writer.h"

#include "container/dsdiff_comments.h"
#include "container/dsdiff_layout.h"
#include "container/dsf_layout.h"
#include "container/dst/dst_format.h"

#include <algorithm>

namespace tesk {
namespace {

/// The header for frames in plain form (a zero byte and the frame), coded frames are never longer.
std::vector<std::uint8_t> expectedHeader(const DsdStreamInfo& info)
{
    const std::uint64_t frameBytes = dstBytesPerChannel(info.sampleRate);
    const std::uint64_t frames = (info.bytes + frameBytes - 1) / frameBytes;
    const std::uint64_t coded = 1 + info.channels * frameBytes;
    return dsdiffDstHeader(info, static_cast<std::uint32_t>(frames), frames * (kDsdiffChunkHead + coded + coded % 2));
}

} // namespace

Status DffDstWriter::begin(const DsdStreamInfo& info)
{
    info_ = info;
    frameBytes_ = dstBytesPerChannel(info.sampleRate);
    frame_.assign(info.channels * frameBytes_, kDsdSilence);
    coder_ = makeCoder_(info, [this](Bytes coded) { return writeFrame(coded); });
    if (!coder_) return DSD_ERROR_INIT_ENCODED_DST;
    batch_ = std::make_unique<BatchSink>(sink_, batchBytes(info, batchBlocks_));
    return sink_.write(expectedHeader(info));
}

Status DffDstWriter::append(const std::uint8_t* const* packed, std::size_t bytes)
{
    rest_.assign(packed, packed + info_.channels);
    while (bytes > 0) {
        const std::size_t part = std::min(bytes, frameBytes_ - held_);
        interleave(rest_.data(), info_.channels, part, frame_.data() + held_ * info_.channels);
        for (auto& channel : rest_) channel += part;
        held_ += part;
        bytes -= part;
        if (held_ == frameBytes_)
            if (Status status = pushFrame(); !status) return fail(status, report_);
    }
    return {};
}

Status DffDstWriter::pushFrame()
{
    held_ = 0;
    ++framesPushed_;
    return coder_->push(frame_);
}

Status DffDstWriter::writeFrame(Bytes coded)
{
    if (coded.empty()) return DST_ERROR; // an empty chunk would end the sound for a reader
    const std::vector<std::uint8_t> chunk = dstFrameChunk(coded);
    codedBytes_ += chunk.size() - kDsdiffChunkHead;
    ++framesWritten_;
    Status status = batch_->write(chunk);
    if (!status) writeFailed_ = true;
    return status;
}

/// Says once what went wrong.
Status DffDstWriter::fail(Status status, Reporter& report)
{
    if (writeFailed_) {
        report.warning("batch write failed (-mc): output would be incomplete\n");
        return DSD_ERROR;
    }
    report.error("Error : DST batch encoding failed — aborting\n");
    return status;
}

Status DffDstWriter::finishFrames(Reporter& report)
{
    if (held_ > 0) {
        std::fill(frame_.begin() + static_cast<std::ptrdiff_t>(held_ * info_.channels), frame_.end(), kDsdSilence);
        if (Status status = pushFrame(); !status) return fail(status, report);
    }
    report.line("Report", "DST: batch-encoding %u frames (%u threads)...\n", framesPushed_,
                std::min(coder_->threads(), framesPushed_));
    if (Status status = coder_->finish(); !status) return fail(status, report);
    if (!writeFailed_ && framesWritten_ != framesPushed_)
        report.err("  DST: FATAL — batch encode produced %zu/%u frames, discarding\n", std::size_t{framesWritten_},
                   framesPushed_);
    if (writeFailed_ || framesWritten_ != framesPushed_) return fail(DST_ERROR, report);
    if (batch_->flush()) return {};
    report.warning("final batch flush failed (-mc): output is incomplete\n");
    return DSD_ERROR;
}

Status DffDstWriter::finish(const MetadataRecord& metadata, Reporter& report)
{
    if (!batch_) return reWriteDFFHeader(nullptr, {}, report);
    if (Status status = finishFrames(report); !status) return status;
    const double plainBytes = static_cast<double>(framesWritten_) * static_cast<double>(frame_.size());
    const double saved = plainBytes > 0 ? 1.0 - static_cast<double>(codedBytes_) / plainBytes : 0.0;
    report.line("Report", "DST: %zu frames written (%.1f%% compression)\n", std::size_t{framesWritten_}, saved * 100);

    const std::uint64_t frameBytes = codedBytes_ + framesWritten_ * kDsdiffChunkHead;
    if (Status status = reWriteDFFHeader(&sink_, dsdiffDstHeader(info_, framesWritten_, frameBytes), report); !status)
        return status;
    if (Status status = writeDffComtTag(sink_, metadata, clock_(), report); !status) return status;
    return sink_.flush();
}

/// Readers of DST count on the number of frames, so the header tells what is really there.
Status DffDstWriter::stop()
{
    if (!batch_) return {};
    if (Status status = batch_->flush(); !status || !sink_.seekable()) return status;
    const std::uint64_t frameBytes = codedBytes_ + framesWritten_ * kDsdiffChunkHead;
    return sink_.rewrite(0, dsdiffDstHeader(info_, framesWritten_, frameBytes));
}

} // namespace tesk
