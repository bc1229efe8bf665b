// Where the time of a DSD to PCM conversion goes.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace tesk {

/// Time and calls of every stage. Any thread may count; print when nobody does.
class ReverseProfile {
public:
    enum Stage : std::size_t { unpack, biquad, fir, gain, noiseShaper, interleave };
    class Timer;

    void add(Stage stage, std::chrono::nanoseconds elapsed)
    {
        counters_[stage].ns.fetch_add(elapsed.count(), std::memory_order_relaxed);
        counters_[stage].calls.fetch_add(1, std::memory_order_relaxed);
    }
    void addFrames(std::uint64_t frames) { frames_.fetch_add(frames, std::memory_order_relaxed); }

    /// Eight lines of the report. A second of sound counts as 44100 frames, whatever the rate is.
    void print(std::FILE* stream) const;

private:
    struct Counter {
        std::atomic<std::int64_t> ns{0};
        std::atomic<std::int64_t> calls{0};
    };
    std::array<Counter, 6> counters_;
    std::atomic<std::uint64_t> frames_{0};
};

/// One call of a stage, from here to the end of the scope. Without a profile it does not even look at the clock.
class ReverseProfile::Timer {
public:
    Timer(ReverseProfile* profile, Stage stage) : profile_(profile), stage_(stage)
    {
        if (profile_) start_ = std::chrono::steady_clock::now();
    }
    ~Timer()
    {
        if (profile_) profile_->add(stage_, std::chrono::steady_clock::now() - start_);
    }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

private:
    ReverseProfile* profile_;
    Stage stage_;
    std::chrono::steady_clock::time_point start_;
};

} // namespace tesk
