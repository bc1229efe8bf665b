#include "effect/stage_registry.h"

#include "effect/audio_effect.h"

namespace p2p::effect {
namespace {

using namespace capability;

constexpr StageEntry kStages[] = {
    {"compander", transform, "--compand 'in1,out1;in2,out2;...' [attack_ms] [release_ms]  compressor / expander"},
    {"dsee", transform,
     "--dsee [mix:0-1] [drive:0.5-3.0] [harmonicMix:0-1] DSEE digital signal enhancement (harmonic regeneration, HF "
     "repair for lossy sources)"},
    {"dsne", transform, ""},
    {"dsre", transform, "--dsre [mix:0-1]  DSRE SSB band extension (Hilbert SSB based)"},
    {"dynamic-range", transform, "Dynamic range analysis + suspected-conversion compensation (0.97x)"},
    {"harmonic-exciter", transform, "--add-harmonics [mix:0-1]  harmonic exciter (0=POLY 1=TANH 2=SOFT 3=FULL 4=TAPE)"},
    {"int16-ns", requantise, "adaptive noise shaping for 16-bit input (enabled automatically)"},
    {"loudness-normalize", transform, "--lufs <target_lufs>   EBU R128 loudness normalization"},
    {"sos-ef-noise-shaper", requantise,
     "--sos-ef [15]  SOS cascade + error feedback 1-bit modulator (15 = NS15 profile; 3..11 = auto-designed NTF, "
     "in-band noise ~-150 dBFS)"},
    {"resampler", resample, "--rate <target_hz> [passband:0.9-0.99]  polyphase FIR resampling"},
    {"cifb-noise-shaper", requantise, "--order 11+  CIFB cascaded-integrator noise shaping (multi-pole path)"},
    {"dither", requantise,
     "--dither [type:0-7]  dither and bit-depth reduction (0=TPDF, 1-3=POW-R, 4=Lipshitz, 5=F-weighted, 6=Gesemann, "
     "7=Shibata)"},
    {"lookahead-limiter", transform, "--lookahead-limiter [lookahead_ms]  look-ahead limiter"},
    {"mash", requantise, "--mash [topo:421|222|111] [efm:fir2|iir2]  MASH modulator"},
    {"cifb", requantise, "--cifb N  N-th order CIFB single-loop 1-bit modulator (N=4|5|6|7, scheme E)"},
    {"noise-shaper", requantise, "--order N  sigma-delta noise shaping (orders 3-9, DF2 IIR)"},
    {"soft-limiter", transform, "--soft-limiter [delta:0.01-0.2]  soft limiter"},
};

} // namespace

std::span<const StageEntry> stageRegistry() { return kStages; }

const StageEntry* findStage(std::string_view name)
{
    for (const StageEntry& entry : kStages)
        if (name == entry.name) return &entry;
    return nullptr;
}

} // namespace p2p::effect
