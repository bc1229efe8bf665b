// One block on its way to the file while the next is being computed.
#pragma once

#include "container/pcm/pcm_writer.h"
#include "pipeline/parallel/worker_pool.h"

#include <algorithm>
#include <vector>

namespace tesk {

class WriteBehind {
public:
    /// Both outlive the object.
    WriteBehind(PcmWriter& writer, parallel::WorkerPool& pool) : writer_(writer), group_(pool) {}

    /// Takes a copy of interleaved [frames · channels]. False when the block before could not be written.
    bool write(const double* interleaved, std::size_t frames, std::size_t channels)
    {
        if (!settle()) return false;
        samples_.assign(interleaved, interleaved + frames * channels);
        group_.run([this, frames] { good_ = writer_.write(samples_.data(), frames); });
        return true;
    }

    /// Waits for what is under way; false when that could not be written.
    bool settle()
    {
        group_.wait();
        return good_;
    }

private:
    PcmWriter& writer_;
    std::vector<double> samples_;
    bool good_ = true;
    parallel::TaskGroup group_; // last: it waits before anything else goes
};

} // namespace tesk
