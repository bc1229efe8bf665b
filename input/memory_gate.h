// What keeps a broken header from making the engine ask for absurd amounts of memory.
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/stop_flag.h"
#include "platform/memory.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tesk {

class PcmReader;

/// Opens a file with a decoder loaded at run time: a reader after a successful `open`, or null with `error` set.
using StreamLoader = std::function<std::unique_ptr<PcmReader>(const std::string& path, std::string& error)>;

/// The world a load works in.
struct LoadContext {
    Reporter& report;
    StopFlag& stop;
    /// Bytes of physical memory that could be taken; nothing when the system does not say. Tests may lie.
    std::function<std::optional<std::uint64_t>()> availableMemory = platform::availablePhysicalMemory;
    StreamLoader streamLoader = {}; ///< for what the built-in readers do not read
};

/// Whether the samples of such a signal fit in nine tenths of the available memory; true when nobody can say.
bool fitsInMemory(std::uint32_t channels, std::uint64_t frames, const LoadContext& context);

/// Whether a signal of that many frames may be allocated: its samples must fit in nine tenths of the available
/// memory. A refusal is reported. When the memory cannot be asked for, everything may.
bool check_signal_memory(std::uint32_t channels, std::uint64_t frames, const LoadContext& context);

/// The MiB of TESK_STREAM_MAX_MB in bytes; nothing, which is no limit, for 0 or unset.
std::optional<double> streamLimit();

/// Whether the recording, counted at four bytes per sample, stays within the limit; if not, `error` tells both figures.
bool checkStreamLimit(std::uint32_t channels, std::uint64_t frames, std::optional<double> limit, std::string& error);

} // namespace tesk
