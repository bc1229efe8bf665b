// The thread that listens to the host while a run goes on.
#pragma once

#include "public/inproc_ctl.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace tesk {

/// Owned by the reader's thread, which frees it when it ends.
struct ControlReader {
    std::uintptr_t queue;
    tesk_inproc_read_line read_line;
    std::atomic<std::uint8_t>* stop_flag;
    const char* tag; ///< printed in the messages
};

/// Reads lines until one asks to stop or the channel closes. Touches nothing but the flag and standard error.
void readControlLines(const ControlReader& reader);

/// Looks for -inproc-ctl and -inproc-ctl-fn and starts a detached reader when both have a value. Throws
/// std::system_error when there can be no thread.
void startControlChannel(int argc, char** argv);

} // namespace tesk
