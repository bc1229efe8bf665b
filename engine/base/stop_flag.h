// The host's request to stop: set by the control channel's thread, consumed once by the job.
#pragma once

#include <atomic>
#include <cstdint>

namespace tesk {

/// A view of the process's stop flag (or of a test's own).
class StopFlag {
public:
    explicit StopFlag(std::atomic<std::uint8_t>& flag) : flag_(flag) {}

    /// True once per request; clears it.
    bool take() { return flag_.load() != 0 && flag_.exchange(0) != 0; }
    /// True while a request waits; for loops that leave the taking to their caller.
    bool pending() const { return flag_.load() != 0; }

private:
    std::atomic<std::uint8_t>& flag_;
};

} // namespace tesk
