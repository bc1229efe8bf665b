#include "container/dst/dst_frame_stream.h"

#include <algorithm>
#include <new>

namespace tesk {
namespace {

constexpr std::uint8_t kSilence = 0x69;
constexpr std::size_t kFramesPerWorker = 4; // of a block of the stream

constexpr std::size_t kMostEncoders = 16;
constexpr std::size_t kMostHeldBytes = std::size_t{32} << 20; // of one of the stream's two blocks, coded ones included

/// At least one.
std::size_t framesOfBlock(std::size_t frameBytes, std::size_t encoders)
{
    return std::clamp<std::size_t>(kMostHeldBytes / (2 * frameBytes + 1), 1, kFramesPerWorker * encoders);
}

struct Range {
    std::size_t first, last;
};

/// Part `index` of `parts`; the first ones are one longer.
Range rangeOf(std::size_t frames, std::size_t parts, std::size_t index)
{
    const auto first = [&](std::size_t i) { return i * (frames / parts) + std::min(i, frames % parts); };
    return {first(index), first(index + 1)};
}

std::vector<std::uint8_t> plainOfSize(std::vector<std::uint8_t> frame, std::size_t bytes)
{
    frame.resize(bytes, kSilence);
    return plainDstFrame(frame);
}

} // namespace

Status checkDstParameters(const DstParameters& parameters, Reporter& report)
{
    if (parameters.channels < 1 || parameters.channels > kDstMaxChannels) {
        report.err("  DST: invalid batch parameters\n");
        return DSD_ERROR_INIT_ENCODED_DST;
    }
    const Status status = DstEncoder().init(parameters);
    if (!status)
        report.err("  DST: thread Init(%d,%d,%d,%d) failed\n", static_cast<int>(parameters.channels),
                   static_cast<int>(parameters.dsdRate), static_cast<int>(parameters.bytesPerChannel),
                   parameters.predictionOrder);
    return status;
}

DstFrameStream::DstFrameStream(const DstParameters& parameters, parallel::WorkerPool& pool, Reporter& report, Sink sink)
    : parameters_(parameters), report_(report), sink_(std::move(sink)),
      encoders_(std::min(pool.workers(), kMostEncoders)), status_(checkDstParameters(parameters, report)), group_(pool)
{
    for (DstEncoder& encoder : encoders_)
        if (status_) status_ = encoder.init(parameters);
    for (Block& block : blocks_) {
        block.frames.resize(framesOfBlock(parameters.frameBytes(), encoders_.size()));
        block.coded.resize(block.frames.size());
    }
}

Status DstFrameStream::push(std::span<const std::uint8_t> interleaved)
{
    if (!status_) return status_;
    Block& block = blocks_[filling_];
    block.frames[block.used++].assign(interleaved.begin(), interleaved.end());
    if (block.used < block.frames.size()) return {};
    status_ = deliver();
    if (status_) start(block);
    return status_;
}

/// The other block becomes the one to fill.
void DstFrameStream::start(Block& block)
{
    const std::size_t parts = std::min(encoders_.size(), block.used);
    for (std::size_t t = 0; t < parts; ++t)
        group_.run([this, &block, t, parts] {
            const Range range = rangeOf(block.used, parts, t);
            try {
                for (std::size_t i = range.first; i < range.last; ++i) {
                    auto frame = encoders_[t].encode(block.frames[i]);
                    block.coded[i] = frame ? std::move(*frame) : std::vector<std::uint8_t>();
                }
            } catch (const std::bad_alloc&) { // nothing may leave a worker
                outOfMemory_ = true;
            }
        });
    filling_ ^= 1;
}

/// Waits for the block that the workers have, hands it on and leaves it empty.
Status DstFrameStream::deliver()
{
    group_.wait();
    if (outOfMemory_) throw std::bad_alloc();
    Block& block = blocks_[filling_ ^ 1];
    const std::size_t used = std::exchange(block.used, 0);
    for (std::size_t i = 0; i < used; ++i) {
        if (block.coded[i].empty()) {
            report_.err("  DST: frame %u encode failed, using plain DSD fallback\n", static_cast<unsigned>(frames_));
            block.coded[i] = plainOfSize(block.frames[i], parameters_.frameBytes());
        }
        if (Status status = sink_(block.coded[i]); !status) return status;
        ++frames_;
    }
    return {};
}

Status DstFrameStream::finish()
{
    if (status_) status_ = deliver();
    if (!status_) return status_;
    start(blocks_[filling_]);
    return status_ = deliver();
}

} // namespace tesk
