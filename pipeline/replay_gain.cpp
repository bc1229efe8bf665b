#include "pipeline/replay_gain.h"

#include "input/tags/tag_set.h"

#include <algorithm>
#include <cmath>

namespace tesk {
namespace {

constexpr double kLargestGainDb = 64; // beyond it a tag is damage, not loudness

struct Chosen {
    const char* name;
    double gainDb;
    std::optional<double> peak;
};

std::optional<Chosen> choose(const ReplayGain& tags, bool album)
{
    const std::optional<Chosen> track =
        tags.trackGainDb ? std::optional(Chosen{"track", *tags.trackGainDb, tags.trackPeak}) : std::nullopt;
    const std::optional<Chosen> whole =
        tags.albumGainDb ? std::optional(Chosen{"album", *tags.albumGainDb, tags.albumPeak}) : std::nullopt;
    if (album) return whole ? whole : track;
    return track ? track : whole;
}

double samplePeak(const Pcm2pdm& job)
{
    double peak = 0;
    const Signal& signal = job.recording.signal;
    for (std::uint32_t c = 0; c < signal.channels(); ++c)
        peak = std::max(peak, job.kernels.peak(signal.channel(c), static_cast<std::size_t>(signal.frames())));
    return peak;
}

} // namespace

void settleReplayGain(Pcm2pdm& job)
{
    if (!job.settings.replayGain) return;
    const ReplayGain tags =
        job.piece.replayGain ? *job.piece.replayGain : readTagSet(job.settings.inputs.front()).replayGain;
    const bool album = job.settings.replayGainMode == "album";
    const auto chosen = choose(tags, album);
    if (!chosen || std::abs(chosen->gainDb) > kLargestGainDb) {
        job.report.alert(chosen ? "the ReplayGain tags of the input make no sense; its level stays as it is\n"
                                : "the input has no ReplayGain tags; its level stays as it is\n");
        return;
    }
    const bool other = album ? !tags.albumGainDb : !tags.trackGainDb;
    if (other)
        job.report.alert("the input tells no %s gain; the %s's gain is taken\n", album ? "album" : "track",
                         chosen->name);
    const double measured = samplePeak(job);
    const double peak = std::max(chosen->peak.value_or(0), measured); // a tag may know of peaks between the samples
    const double loudest = peak * job.plan.inputGain;                 // as other options leave it
    const double mostDb = loudest > 0 ? -20 * std::log10(loudest) : chosen->gainDb;
    const double appliedDb = std::min(chosen->gainDb, mostDb);
    job.plan.inputGain *= std::pow(10.0, appliedDb / 20);
    job.report.line("ReplayGain:", "%s gain %+.2f dB, peak %.6f (%s): %+.2f dB applied%s\n", chosen->name,
                    chosen->gainDb, peak, peak > measured ? "tag" : "measured", appliedDb,
                    appliedDb < chosen->gainDb ? ", so that it does not clip" : "");
}

} // namespace tesk
