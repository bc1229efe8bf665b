// Reads stretches of a DSF file as ±1.0 samples.
#pragma once

#include "platform/files.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tesk::measure {

/// Source: DSF File Format 1.01 (Sony). Only the plain layout is read: three chunks, 92 bytes, then blocks.
class DsfFile {
public:
    /// Empty when the file is open, else what is wrong with it.
    std::string open(const std::string& path);

    unsigned channels() const { return channels_; }
    unsigned rate() const { return rate_; }            ///< Hz
    std::uint64_t samples() const { return samples_; } ///< per channel, as far as the file's bytes reach

    /// Samples [first, first + count) of one channel, −1.0 or +1.0; fewer when the file ends before.
    std::vector<double> read(unsigned channel, std::uint64_t first, std::uint64_t count);

private:
    platform::FilePtr file_;
    unsigned channels_ = 0, rate_ = 0, blockBytes_ = 0;
    bool lowBitFirst_ = true;
    std::uint64_t samples_ = 0;
};

} // namespace tesk::measure
