// A recording that can be measured.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tesk::measure {

class SampleFile {
public:
    virtual ~SampleFile() = default;

    /// Empty when the file is open, else what is wrong with it.
    virtual std::string open(const std::string& path) = 0;

    unsigned channels() const { return channels_; }
    unsigned rate() const { return rate_; }            ///< Hz
    std::uint64_t samples() const { return samples_; } ///< per channel, as far as the file's bytes reach

    /// Samples [first, first + count) of one channel, full scale ±1; fewer when the file ends before.
    virtual std::vector<double> read(unsigned channel, std::uint64_t first, std::uint64_t count) = 0;

protected:
    unsigned channels_ = 0, rate_ = 0;
    std::uint64_t samples_ = 0;
};

} // namespace tesk::measure
