// DST decoding: coded frames in, one-bit sound out. Frames know nothing of each other.
#pragma once

#include "container/dst/dst_simd.h"
#include "container/dst/dst_tables.h"
#include "engine/base/reporter.h"
#include "engine/base/result.h"
#include "pipeline/parallel/worker_pool.h"

#include <memory>
#include <vector>

namespace tesk {

/// One frame to decode, and how it went.
struct DstFrameJob {
    std::span<const std::uint8_t> frame; ///< coded or plain, as the container carries it
    std::span<std::uint8_t> dsd;         ///< [frameBytes()] byte-interleaved, first sample in the high bit
    DstFault fault = DstFault::none;     ///< when set, `dsd` is silence (0x69)
};

/// "ERROR: ...\n"; empty for `none`.
/// @param frameIndex  for the one text that names it
std::string dstFaultText(DstFault fault, std::uint32_t frameIndex);

/// For one thread; the memory is taken in `init` and used for every frame.
class DstDecoder {
public:
    /// @param level  one that the processor has (chooseDstSimd)
    explicit DstDecoder(DstSimdLevel level = kDstScalar);
    ~DstDecoder();
    DstDecoder(DstDecoder&&) noexcept;
    DstDecoder& operator=(DstDecoder&&) noexcept;

    /// @param channels  1..6
    /// @param dsdRate   Hz; a frame holds dsdRate / 600 bytes of a channel, 1..20480
    /// @return          DST_ERROR, with a text on `report`, for anything else and without memory
    Status init(std::uint32_t channels, std::uint32_t dsdRate, Reporter& report);

    /// channels · bytes of a channel; 0 before `init`
    std::size_t frameBytes() const { return std::size_t{channels_} * bytesPerChannel_; }

    /// Decodes one frame. A damaged one is DST_ERROR, its text goes to `report`, `dsd` [frameBytes()] becomes silence
    /// (0x69), and the decoder is good for the next.
    Status decode(std::span<const std::uint8_t> frame, std::uint32_t frameIndex, std::span<std::uint8_t> dsd,
                  Reporter& report);

    /// Decodes any number of frames on this thread, two at a time: a third faster than one by one.
    void decode(std::span<DstFrameJob> jobs);

private:
    bool begin(DstFrameJob& job, unsigned lane);
    void decodePair(DstFrameJob& first, DstFrameJob* second);

    DstSimdLevel level_;
    std::uint32_t channels_ = 0, bytesPerChannel_ = 0;
    struct Lanes;
    std::unique_ptr<Lanes> lanes_;
};

/// A decoder per worker.
class DstParallelDecoder {
public:
    explicit DstParallelDecoder(DstSimdLevel level = kDstScalar,
                                parallel::WorkerPool& pool = parallel::WorkerPool::instance());

    /// As DstDecoder::init.
    Status init(std::uint32_t channels, std::uint32_t dsdRate, Reporter& report);
    std::size_t frameBytes() const { return decoders_.front().frameBytes(); }

    /// Decodes all jobs, whatever becomes of any of them. Texts are reported afterwards, in the order of the frames.
    /// Not to be called from a task of the pool.
    /// @param firstIndex  number of the first frame, for the texts
    /// @return            DST_ERROR when a frame is damaged; which one, the jobs tell
    Status decodeFrames(std::span<DstFrameJob> jobs, std::uint32_t firstIndex, Reporter& report);

private:
    parallel::WorkerPool& pool_;
    std::vector<DstDecoder> decoders_; // at least one
};

} // namespace tesk
