// Adds noise of about one step of a target word length, so that the rounding behind it has no distortion.
#pragma once

#include "effect/audio_effect.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace p2p::effect {

/// The settings of a `DitherEffect`.
struct DitherConfig : EffectConfig {
    DitherConfig() = default;
    DitherConfig(std::int32_t bits, std::int32_t type, std::uint32_t start = 123456789)
        : bitDepth(bits), ditherType(type), seed(start)
    {
    }

    std::int32_t bitDepth = 24; ///< target word length, taken as 1 … 32
    /// 0 TPDF, 1 – 3 its first to third difference, 4 Lipshitz, 5 F-weighted, 6 Gesemann, 7 Shibata; taken as 0 … 7.
    std::int32_t ditherType = 0;
    std::uint32_t seed = 123456789;
};

/// The noise of one channel: white noise of triangular distribution over ±1 step, 1 / 2^(bits−1), through the FIR of
/// the type. Source of the random numbers: the MMIX generator, Knuth, TAOCP volume 2, section 3.3.4.
class DitherGenerator {
public:
    DitherGenerator(std::int32_t bitDepth, std::int32_t type, std::uint64_t seed);

    /// Takes the FIR of another type and empties its history; the random numbers go on.
    void setType(std::int32_t type);
    double next();

private:
    double triangular();

    double lsb_;
    std::uint64_t state_;
    std::span<const double> taps_; // the newest value's first
    std::array<double, 32> history_{};
    std::size_t index_ = 0; // where the next value goes, below the number of taps
};

/// Adds to every channel noise of its own: channel c starts from seed + 9973·c. The rounding is left to whoever writes
/// the samples. The same settings and the same number of channels give the same noise in every run.
class DitherEffect final : public AudioEffect, public DitherConfig {
public:
    explicit DitherEffect(const DitherConfig& config = {}) : DitherConfig(config) {}
    const char* name() const override { return "dither"; }
    unsigned capabilities() const override { return capability::requantise; }

    /// Takes a `DitherConfig`. In a prepared stage another type holds from the next sample on; word length and seed
    /// wait for `prepare`.
    Status configure(const EffectConfig* config) override;
    Status prepare(const EffectFormat& format) override;
    /// DSD_ERROR, with the samples untouched, unless channelCount is that of `prepare`.
    Status process(double** channels, std::size_t frames, unsigned channelCount) override;
    Status reset() override;

private:
    std::vector<DitherGenerator> generators_;
};

} // namespace p2p::effect
