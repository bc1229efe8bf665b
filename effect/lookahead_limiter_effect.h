// A gain rider that sees a short window of the coming signal.
#pragma once

#include "effect/audio_effect.h"

#include <cstdint>
#include <vector>

namespace p2p::effect {

/// Per sample: the new sample enters a line of L, target = ceiling / (largest magnitude in the line) where that is
/// below 1, the gain moves towards it by the attack or release coefficient, and the oldest sample leaves with that
/// gain. Delay L − 1 samples, not compensated.
///
/// One line, one position and one gain serve all channels: each channel's block runs through the line left by the
/// channel before it, so the gain rides across channels in their order.
class LookAheadLimiterEffect final : public AudioEffect {
public:
    LookAheadLimiterEffect(double lookaheadMs, double thresholdDb, double attackMs, double releaseMs)
        : lookaheadMs_(lookaheadMs), thresholdDb_(thresholdDb), attackMs_(attackMs), releaseMs_(releaseMs)
    {
    }
    const char* name() const override { return "lookahead-limiter"; }

    double delay() const override { return line_.empty() ? 0.0 : static_cast<double>(line_.size() - 1); }
    Status prepare(const EffectFormat& format) override;
    Status process(double** channels, std::size_t frames, unsigned channelCount) override;
    Status reset() override;

    std::size_t length() const { return line_.size(); }

private:
    double step(double x);
    double slidingPeak(double magnitude);

    double lookaheadMs_, thresholdDb_, attackMs_, releaseMs_;
    double ceiling_ = 1, attackCoef_ = 1, releaseCoef_ = 1, gain_ = 1;
    std::vector<double> line_;
    std::size_t position_ = 0;
    // The candidates for the largest magnitude of the line, in falling order (a monotonic queue): the first is the
    // maximum a scan of the whole line would find.
    struct Candidate {
        double magnitude;
        std::uint64_t at;
    };
    std::vector<Candidate> candidates_; // a ring of L + 1
    std::size_t head_ = 0, count_ = 0;
    std::uint64_t time_ = 0;
};

} // namespace p2p::effect
