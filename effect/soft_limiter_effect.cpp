#include "effect/soft_limiter_effect.h"

#include <algorithm>
#include <cmath>

namespace p2p::effect {
namespace {

constexpr double kKnee = 0.5;
const double kCeiling = std::pow(10.0, -0.05) * 0.5;

} // namespace

double SoftLimiterEffect::limit(double y)
{
    const double magnitude = std::fabs(y);
    if (!(magnitude > kKnee)) return y;
    const double t = (magnitude - kKnee) / std::max(1.0 - kKnee, 1e-9);
    return std::copysign(std::min(1.0, t) * (kCeiling - kKnee) + kKnee, y);
}

Status SoftLimiterEffect::process(double** channels, std::size_t frames, unsigned channelCount)
{
    for (unsigned c = 0; c < channelCount; ++c) {
        // Most blocks stay below the knee and pass with one look.
        if (!channels[c] || kernels_.peak(channels[c], frames) <= kKnee) continue;
        for (std::size_t i = 0; i < frames; ++i) channels[c][i] = limit(channels[c][i]);
    }
    return {};
}

} // namespace p2p::effect
