#include "effect/dither_effect.h"

#include <algorithm>
#include <cmath>

namespace p2p::effect {
namespace {

constexpr double kTriangular[] = {1};
constexpr double kDifference1[] = {1, -1};
constexpr double kDifference2[] = {1, -2, 1};
constexpr double kDifference3[] = {1, -3, 3, -1};
constexpr double kLipshitz[] = {2.033, -2.165, 1.959, -1.59, 0.6149};
constexpr double kFWeighted[] = {2.412, -3.37, 3.937, -4.174, 3.353, -2.205, 1.281, -0.569, 0.0847};
constexpr double kGesemann[] = {2.2061,    -2.806198, 2.56839,  -1.815282, 0.653374, 0.217552,  -0.670237, 0.593402,
                                -0.272327, -0.097997, 0.297894, -0.311149, 0.175385, -0.011133, -0.106876, 0.134887,
                                -0.0943,   0.022966,  0.034459, -0.058191, 0.047362, -0.019059, -0.008818, 0.023364,
                                -0.02271,  0.011907,  0.00066,  -0.008855, 0.01032,  -0.006668};
constexpr double kShibata[] = {2.67732,  -4.83089, 6.57011, -7.4572,  6.72633, -4.84817, 2.04121,
                               0.70064,  -2.95376, 4.08004, -4.18452, 3.33118, -2.11799, 0.8793,
                               -0.03176, -0.42383, 0.47882, -0.35491, 0.17497, -0.06091};
constexpr std::span<const double> kTaps[] = {kTriangular, kDifference1, kDifference2, kDifference3,
                                             kLipshitz,   kFWeighted,   kGesemann,    kShibata};

// One step of the generator, and two at once.
constexpr std::uint64_t kFactor = 0x5851F42D4C957F2D, kSummand = 0x14057B7EF767814F;
constexpr std::uint64_t kFactor2 = kFactor * kFactor, kSummand2 = kSummand * kFactor + kSummand;

/// The upper 53 bits, in [0, 1).
double uniform(std::uint64_t state) { return static_cast<double>(static_cast<std::int64_t>(state >> 11)) * 0x1p-53; }

} // namespace

DitherGenerator::DitherGenerator(std::int32_t bitDepth, std::int32_t type, std::uint64_t seed)
    : lsb_(std::ldexp(1.0, 1 - std::clamp(bitDepth, 1, 32))), state_(seed)
{
    setType(type);
}

void DitherGenerator::setType(std::int32_t type)
{
    taps_ = kTaps[std::clamp(type, 0, 7)];
    history_.fill(0.0);
    index_ = 0;
}

double DitherGenerator::triangular()
{
    const double first = uniform(state_ * kFactor + kSummand);
    state_ = state_ * kFactor2 + kSummand2;
    return (first - uniform(state_)) * lsb_;
}

double DitherGenerator::next()
{
    history_[index_] = triangular();
    double sum = 0;
    std::size_t k = 0;
    for (std::size_t i = index_ + 1; i-- > 0;) sum += taps_[k++] * history_[i];
    for (std::size_t i = taps_.size(); k < taps_.size();) sum += taps_[k++] * history_[--i];
    if (++index_ == taps_.size()) index_ = 0;
    return sum;
}

Status DitherEffect::configure(const EffectConfig* config)
{
    if (!config) return {};
    const auto* record = dynamic_cast<const DitherConfig*>(config);
    if (!record) return DSD_ERROR;
    if (record->ditherType != ditherType)
        for (DitherGenerator& generator : generators_) generator.setType(record->ditherType);
    static_cast<DitherConfig&>(*this) = *record;
    return {};
}

Status DitherEffect::prepare(const EffectFormat& format)
{
    generators_.clear();
    for (std::uint64_t c = 0; c < format.channels; ++c) generators_.emplace_back(bitDepth, ditherType, seed + 9973 * c);
    return AudioEffect::prepare(format);
}

Status DitherEffect::process(double** channels, std::size_t frames, unsigned channelCount)
{
    if (channelCount != generators_.size()) return DSD_ERROR;
    for (unsigned c = 0; c < channelCount; ++c)
        for (double& sample : std::span(channels[c], frames)) sample += generators_[c].next();
    return {};
}

Status DitherEffect::reset()
{
    generators_.clear();
    return AudioEffect::reset();
}

} // namespace p2p::effect
