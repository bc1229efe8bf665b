// DSDIFF with DST: one "DSTF" chunk for every coded frame.
#pragma once

#include "container/byte_sink.h"
#include "container/dff_writer.h"
#include "container/dsd_writer.h"

#include <functional>
#include <memory>
#include <vector>

namespace tesk {

/// Codes frames of 1/75 s. It may hold frames back, but hands them on in order, from within `push` and `finish`, and
/// ends with the first failure that the receiver returns.
class DstFrameCoder {
public:
    /// Takes one coded frame, never empty.
    using Receiver = std::function<Status(Bytes coded)>;

    virtual ~DstFrameCoder() = default;
    /// The next frame: 1/75 s of all channels, interleaved.
    virtual Status push(Bytes interleaved) = 0;
    /// Hands on every frame that is still held.
    virtual Status finish() = 0;
    /// How many threads it codes with.
    virtual unsigned threads() const = 0;
};

/// Makes the coder of one stream; null when there is none for it.
using DstCoderFactory =
    std::function<std::unique_ptr<DstFrameCoder>(const DsdStreamInfo& info, DstFrameCoder::Receiver receiver)>;

/// A conversion block is a frame; a stream that ends within one is filled with silence. The header that `begin` writes
/// claims frames in plain form, the most that they can take. A stop drops what the coder still holds.
class DffDstWriter final : public DsdWriter {
public:
    /// Coded frames are written in calls of about `batchBlocks` plain ones.
    DffDstWriter(ByteSink& sink, Reporter& report, int batchBlocks, DstCoderFactory makeCoder,
                 CommentClock clock = platform::localTime)
        : sink_(sink), report_(report), batchBlocks_(batchBlocks), makeCoder_(std::move(makeCoder)), clock_(clock)
    {
    }

    /// DSD_ERROR_INIT_ENCODED_DST when there is no coder for the stream.
    Status begin(const DsdStreamInfo& info) override;
    Status append(const std::uint8_t* const* packed, std::size_t bytes) override;
    /// DST_ERROR when frames are missing; "DST: ... frames written" when all is well.
    Status finish(const MetadataRecord& metadata, Reporter& report) override;
    Status stop() override;
    std::uint64_t bytesWritten() const override { return batch_ ? batch_->position() : sink_.position(); }

private:
    Status pushFrame();
    Status writeFrame(Bytes coded);
    Status finishFrames(Reporter& report);
    Status fail(Status status, Reporter& report);

    ByteSink& sink_;
    Reporter& report_;
    int batchBlocks_;
    DstCoderFactory makeCoder_;
    CommentClock clock_;
    DsdStreamInfo info_;
    std::unique_ptr<BatchSink> batch_;
    std::unique_ptr<DstFrameCoder> coder_;
    std::vector<const std::uint8_t*> rest_; // what of a call's bytes is still to be taken
    std::vector<std::uint8_t> frame_;       // interleaved, being filled
    std::size_t frameBytes_ = 0;            // of a frame per channel
    std::size_t held_ = 0;                  // bytes per channel in it
    std::uint32_t framesPushed_ = 0, framesWritten_ = 0;
    std::uint64_t codedBytes_ = 0; // with pads, without chunk heads
    bool writeFailed_ = false;
};

} // namespace tesk
