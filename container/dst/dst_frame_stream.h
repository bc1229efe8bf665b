// Many DST frames on many threads. A frame's bytes depend on nothing but its own sound, so any cut and any number of
// threads give the same ones.
#pragma once

#include "container/dst/dst_encoder.h"
#include "engine/base/reporter.h"
#include "pipeline/parallel/worker_pool.h"

#include <atomic>
#include <functional>

namespace tesk {

/// Whether frames can be coded so: 1 to 6 channels, a rate of at most 12.288 MHz, an order of 1 to 128.
/// DSD_ERROR_INIT_ENCODED_DST after a line otherwise.
Status checkDstParameters(const DstParameters& parameters, Reporter& report);

/// Encodes a stream of frames: while one block of them is being coded the next is collected, so the memory does not
/// grow with the length. To be used from one thread, which must not be one of the pool's.
class DstFrameStream {
public:
    /// Receives coded frames in order, on the thread of push() and finish().
    using Sink = std::function<Status(std::span<const std::uint8_t>)>;

    DstFrameStream(const DstParameters& parameters, parallel::WorkerPool& pool, Reporter& report, Sink sink);

    /// Tells whether the parameters are good: DSD_ERROR_INIT_ENCODED_DST otherwise, from push() and finish() as well.
    Status status() const { return status_; }

    /// Takes a copy of one frame of frameBytes(). One of another size cannot be coded: it is stored plain, cut or
    /// filled up with silence (0x69), and reported. What the sink answered, once it failed. Throws std::bad_alloc, as
    /// finish() does, when a worker ran out of memory.
    Status push(std::span<const std::uint8_t> interleaved);

    /// Hands on what is left. The stream may go on afterwards.
    Status finish();

    std::size_t encoders() const { return encoders_.size(); } ///< that work at once
    std::uint64_t frames() const { return frames_; }          ///< taken by the sink so far

private:
    struct Block {
        std::vector<std::vector<std::uint8_t>> frames, coded;
        std::size_t used = 0;
    };

    void start(Block& block);
    Status deliver();

    DstParameters parameters_;
    Reporter& report_;
    Sink sink_;
    std::vector<DstEncoder> encoders_; // one per worker
    Status status_;
    Block blocks_[2];
    unsigned filling_ = 0; // the block that push() fills; the workers have the other
    std::uint64_t frames_ = 0;
    std::atomic<bool> outOfMemory_{false};
    parallel::TaskGroup group_; // last: it waits for the workers before anything else goes
};

} // namespace tesk
