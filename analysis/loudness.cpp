#include "analysis/loudness.h"

#include <algorithm>
#include <cmath>
#include <ebur128.h>

namespace tesk::analysis {
namespace {

constexpr std::size_t kPieceFrames = 8192;

ebur128_state* meterOf(void* state) { return static_cast<ebur128_state*>(state); }

} // namespace

void LoudnessMeter::Closer::operator()(void* state) const
{
    ebur128_state* meter = meterOf(state);
    ebur128_destroy(&meter);
}

LoudnessMeter::LoudnessMeter(std::size_t channels, std::uint32_t rate, bool truePeak)
    : state_(ebur128_init(static_cast<unsigned>(channels), rate,
                          EBUR128_MODE_I | EBUR128_MODE_LRA | (truePeak ? EBUR128_MODE_TRUE_PEAK : 0)))
{
    if (!works()) return;
    // The library knows five channels and an LFE. WAVE's 7.1 goes on with the back pair and the side pair.
    constexpr int kSevenOne[] = {EBUR128_Mp135, EBUR128_Mm135, EBUR128_Mp090, EBUR128_Mm090};
    for (unsigned c = 4; channels == 8 && c < 8; ++c) ebur128_set_channel(meterOf(state_.get()), c, kSevenOne[c - 4]);
    // Nobody knows where others stand: they count like the front.
    for (unsigned c = 5; channels != 6 && channels != 8 && c < channels; ++c)
        ebur128_set_channel(meterOf(state_.get()), c, EBUR128_CENTER);
}

bool LoudnessMeter::add(std::span<const double* const> channels, std::uint64_t at, std::size_t count)
{
    interleaved_.clear();
    for (std::size_t i = 0; i < count; ++i)
        for (const double* channel : channels) interleaved_.push_back(channel[at + i]);
    return ebur128_add_frames_double(meterOf(state_.get()), interleaved_.data(), count) == EBUR128_SUCCESS;
}

std::optional<double> LoudnessMeter::integrated() const
{
    double lufs = 0;
    if (ebur128_loudness_global(meterOf(state_.get()), &lufs) != EBUR128_SUCCESS || !std::isfinite(lufs)) return {};
    return lufs;
}

double LoudnessMeter::range() const
{
    double units = 0;
    return ebur128_loudness_range(meterOf(state_.get()), &units) == EBUR128_SUCCESS ? units : 0.0;
}

double LoudnessMeter::truePeakDb() const
{
    double largest = 0;
    for (unsigned c = 0; c < meterOf(state_.get())->channels; ++c) {
        double peak = 0;
        if (ebur128_true_peak(meterOf(state_.get()), c, &peak) == EBUR128_SUCCESS) largest = std::max(largest, peak);
    }
    return 20 * std::log10(largest);
}

Result<std::optional<Loudness>, PDM_ENCODING_STATUS>
measureLoudness(std::span<const double* const> channels, std::uint64_t frames, std::uint32_t rate, const StopFlag& stop)
{
    LoudnessMeter meter(channels.size(), rate, true);
    if (!meter.works()) return DSD_ERROR_INIT;
    for (std::uint64_t at = 0; at < frames; at += kPieceFrames) {
        if (stop.pending()) return kHostStopped;
        if (!meter.add(channels, at, static_cast<std::size_t>(std::min<std::uint64_t>(kPieceFrames, frames - at))))
            return DSD_ERROR_INIT;
    }
    const auto integrated = meter.integrated();
    if (!integrated) return std::optional<Loudness>();
    return std::optional(Loudness{*integrated, meter.range(), meter.truePeakDb()});
}

} // namespace tesk::analysis
