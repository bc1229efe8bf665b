// The whole recording in memory: planar double samples, full scale ±1.0, with guard space behind them.
#pragma once

#include "platform/memory.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tesk {

/// Room behind the last frame of every channel, for what a stage or the oversampler appends.
inline constexpr std::uint64_t kGuardFrames = 1'048'576;

/// Shape: channels × (frames + kGuardFrames), each channel 32-byte aligned. The guard is address space
/// until somebody writes to it, and reads as zeros.
class Signal {
public:
    Signal() = default;

    /// Allocates zeroed channels; throws std::bad_alloc when the memory cannot be had.
    Signal(std::uint32_t channels, std::uint64_t frames) : frames_(frames)
    {
        for (std::uint32_t c = 0; c < channels; ++c)
            channels_.push_back(platform::zeroedDoubles(frames + kGuardFrames));
    }

    std::uint32_t channels() const { return static_cast<std::uint32_t>(channels_.size()); }
    std::uint64_t frames() const { return frames_; }
    double* channel(std::uint32_t c) { return channels_[c].get(); }
    const double* channel(std::uint32_t c) const { return channels_[c].get(); }
    std::span<double> samples(std::uint32_t c) { return {channel(c), static_cast<std::size_t>(frames_)}; }

    void swapChannels(std::uint32_t a, std::uint32_t b) { std::swap(channels_[a], channels_[b]); }
    void keepFirst(std::uint32_t channels) { channels_.resize(std::min<std::size_t>(channels, channels_.size())); }
    void clear()
    {
        channels_.clear();
        frames_ = 0;
    }

private:
    std::vector<platform::DoubleBuffer> channels_;
    std::uint64_t frames_ = 0;
};

} // namespace tesk
