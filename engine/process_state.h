// The entry's flags, the only state that outlives a call of the engine besides the log and the workers.
#pragma once

#include <atomic>
#include <cstdint>

namespace tesk {

struct ProcessState {
    std::atomic<std::int32_t> process_owner{0};       ///< 1: the engine may end the process
    std::atomic<std::int32_t> pending_exit_code{-1};  ///< left by help or version for the next call; -1: none
    std::atomic<std::uint8_t> host_stop_requested{0}; ///< set by the control channel, taken by the job
    std::int32_t run_result = 0;                      ///< the last run's status
};

ProcessState& processState();

/// The single way in which early ends leave a run: flushes and exits when the engine owns the process, else answers
/// the status for the entry to return.
int finish_status(int status);

} // namespace tesk
