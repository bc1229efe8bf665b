// One-bit sound in memory, for tests.
#pragma once

#include "container/reader/dsd_reader.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <vector>

namespace tesk {

class MemoryDsd final : public DsdReader {
public:
    /// Every channel gets the decisions of a second-order loop fed with `signal`(sample), |signal| up to one half.
    MemoryDsd(std::uint32_t channels, std::uint32_t rate, std::uint64_t samples,
              const std::function<double(std::uint64_t)>& signal)
    {
        source_.channels = channels;
        source_.dsdRate = rate;
        source_.blockBytes = 4096;
        source_.samples = samples;
        source_.firstSampleInLowBit = true;
        bytes_.resize((samples + 7) / 8);
        double e1 = 0, e2 = 0;
        for (std::uint64_t i = 0; i < samples; ++i) {
            const double u = signal(i) - 2 * e1 + e2;
            const double y = u >= 0 ? 1.0 : -1.0;
            e2 = e1;
            e1 = y - u;
            if (y > 0) bytes_[i / 8] |= static_cast<std::uint8_t>(1 << (i % 8));
        }
    }

    const DsdSource& source() const override { return source_; }
    std::size_t read(std::uint8_t* const* planar, std::size_t bytes) override
    {
        const std::size_t count = std::min(bytes, bytes_.size() - at_);
        for (std::uint32_t c = 0; c < source_.channels; ++c) std::copy_n(bytes_.data() + at_, count, planar[c]);
        at_ += count;
        return count;
    }

private:
    DsdSource source_;
    std::vector<std::uint8_t> bytes_;
    std::size_t at_ = 0;
};

} // namespace tesk
