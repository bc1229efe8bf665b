#include "pipeline/adaptive_choice.h"

#include <algorithm>
#include <array>
#include <vector>

namespace tesk {
namespace {

constexpr double kDenseCrestDb = 13, kDenseRangeLu = 7, kDenseDbfs = -3;
constexpr double kPercussiveCrestDb = 20, kPercussiveRangeLu = 12;
// The direct form of order 9 takes full scale; below DSD128 the default is quieter, from there on it is not.
constexpr int kFullLevelOrder = 9, kQuietestFrom = 128;

struct TypeInfo {
    MusicType type;
    const char* name;
    const char* reason;
    int filterType;
    bool fullLevel; // keeps its level even where that costs some noise
};

constexpr std::array kTypes = {
    TypeInfo{MusicType::wide, "wide", "quiet passages need the least noise", filterStandard, false},
    TypeInfo{MusicType::percussive, "percussive", "nothing shall ring before its attacks", filterMinimumPhase, false},
    TypeInfo{MusicType::dense, "dense", "it is loud throughout, covers noise and should keep its level", filterStandard,
             true},
    TypeInfo{MusicType::narrowBand, "narrow band",
             "the gentle slope lies above all its sound, and all images beyond it", filterSlowRollOff, false},
};

const TypeInfo& infoOf(MusicType type) { return kTypes.at(static_cast<std::size_t>(type) - 1); }

bool anyGiven(const ConversionSettings& s, std::initializer_list<const char*> names)
{
    return std::any_of(names.begin(), names.end(), [&](const char* name) { return s.given.count(name) > 0; });
}

Result<MusicType, PDM_ENCODING_STATUS> measuredType(const Pcm2pdm& job)
{
    const Signal& signal = job.recording.signal;
    std::vector<const double*> channels;
    for (std::uint32_t c = 0; c < signal.channels(); ++c) channels.push_back(signal.channel(c));
    const auto measure = analysis::measureMusic(channels, signal.frames(), job.plan.pcmRate, job.stop);
    if (!measure) return measure.status();
    job.report.line("Adaptive:", "bandwidth %.1f kHz, peak %.1f dBFS, crest factor %.1f dB, %.1f LUFS, range %.1f LU\n",
                    measure->bandwidthHz / 1000, measure->peakDbfs, measure->crestDb, measure->loudnessLufs,
                    measure->rangeLu);
    return classifyMusic(*measure, job.plan.pcmRate);
}

Result<MusicType, PDM_ENCODING_STATUS> musicType(const Pcm2pdm& job)
{
    const int asked = job.settings.musicType;
    if (asked >= 1 && asked <= static_cast<int>(kTypes.size())) return static_cast<MusicType>(asked);
    if (asked > 0)
        job.report.warning("--music-type knows 1 to %zu (wide, percussive, dense, narrow band); the recording is "
                           "measured instead\n",
                           kTypes.size());
    return measuredType(job);
}

const char* chooseFilter(ConversionSettings& s, const TypeInfo& info)
{
    constexpr std::array names = {"standard", "slow roll-off", "minimum phase"};
    if (anyGiven(s, {"--filter-type", "--minphase", "--algorithm", "--apo", "--poly-load"})) return "as asked";
    s.filterType = info.filterType;
    return names.at(static_cast<std::size_t>(info.filterType));
}

const char* chooseModulator(ConversionSettings& s, const TypeInfo& info)
{
    if (s.dxd) return "none";
    if (anyGiven(s, {"--order", "--mash", "--cifb", "--sos-ef", "--psy", "--pole", "--zero", "--mp-ns", "--mp-poles",
                     "--single-pole"}))
        return "as asked";
    if (!info.fullLevel && s.oversampling < kQuietestFrom) return "the default";
    s.order = kFullLevelOrder;
    s.orderGiven = true;
    return "-o 9";
}

const char* chooseHeadroom(ConversionSettings& s)
{
    if (anyGiven(s, {"--headroom"})) return "as asked";
    s.headroom.kind = Headroom::Kind::automatic;
    return "auto";
}

} // namespace

MusicType classifyMusic(const analysis::MusicMeasure& m, std::uint32_t rate)
{
    if (!(m.bandwidthHz > 0)) return MusicType::wide; // silence
    // The slow filter passes up to 0.33 and stops from 0.75 of the rate: sound below a quarter is passed whole, and
    // its images begin where the filter stops.
    if (m.bandwidthHz <= rate / 4.0) return MusicType::narrowBand;
    if (m.crestDb < kDenseCrestDb && m.rangeLu < kDenseRangeLu && m.peakDbfs > kDenseDbfs) return MusicType::dense;
    if (m.crestDb >= kPercussiveCrestDb && m.rangeLu < kPercussiveRangeLu) return MusicType::percussive;
    return MusicType::wide;
}

Status settleAdaptiveChoice(Pcm2pdm& job)
{
    ConversionSettings& s = job.settings;
    if (!s.adaptive) return {};
    const auto type = musicType(job);
    if (!type) return type.status();
    const TypeInfo& info = infoOf(*type);
    const char* filter = chooseFilter(s, info);
    const char* modulator = chooseModulator(s, info);
    job.report.line("Adaptive:", "music type %d, %s: %s\n", static_cast<int>(info.type), info.name, info.reason);
    job.report.line("Adaptive:", "filter %s, modulator %s, headroom %s\n", filter, modulator, chooseHeadroom(s));
    return {};
}

} // namespace tesk
