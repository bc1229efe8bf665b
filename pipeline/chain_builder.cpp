#include "pipeline/chain_builder.h"

#include "effect/dither_effect.h"
#include "effect/lookahead_limiter_effect.h"
#include "effect/soft_limiter_effect.h"
#include "modulator/int16_noise_shaper_effect.h"
#include "pipeline/modulator_builder.h"

#include <memory>
#include <stdexcept>

namespace tesk {
namespace {

using namespace p2p::effect;

constexpr double kDefaultDelta = 0.05;
constexpr double kAttackMs = 0.5, kReleaseMs = 100.0;
constexpr int kShaperOrder = 3;
constexpr double kShaperPole = 0.75;

void appendLimiter(const ConversionSettings& s, const kernel::KernelTable& kernels, EffectChain& chain)
{
    if (s.lookaheadLimiter)
        chain.append(
            std::make_unique<LookAheadLimiterEffect>(s.lookaheadMs, s.limiterThresholdDb, kAttackMs, kReleaseMs));
    else if (!s.softLimiterDelta || *s.softLimiterDelta > 0)
        chain.append(std::make_unique<SoftLimiterEffect>(s.softLimiterDelta.value_or(kDefaultDelta), kernels));
}

} // namespace

Result<const modulator::OneBitStage*, PDM_ENCODING_STATUS>
buildChain(const ConversionSettings& settings, int inputBits, double dsdRate, const kernel::KernelTable& kernels,
           parallel::WorkerPool& pool, Reporter& report, EffectChain& chain)
{
    appendLimiter(settings, kernels, chain);
    if (inputBits <= 16 && !settings.disableInt16Shaper) {
        const int order = settings.order < 1 ? kShaperOrder : settings.order;
        const double pole = settings.pole > 0 && settings.pole < 1 ? settings.pole : kShaperPole;
        chain.append(std::make_unique<Int16NoiseShaperEffect>(order, pole, kernels, pool));
        report.line("Report", "Int16 NS: activated (order=%d, pole=%.3f)\n", order, pole);
    } else if (!settings.usesDirectForm()) {
        if (settings.given.count("--pole") > 0 && settings.pole > 0)
            report.err("Warning: -p is not used: it acts on -o and on the noise shaper of 16-bit input.\n");
        if (settings.orderGiven)
            report.err(
                "Warning: -o is not used: another option chooses the modulator, and only 16-bit input has a noise "
                "shaper before it.\n");
    }
    if (settings.dither && settings.usesDirectForm())
        chain.append(std::make_unique<DitherEffect>(DitherConfig(inputBits > 0 ? inputBits : 24, settings.ditherType)));
    try {
        auto modulator = makeModulator(settings, dsdRate, kernels, pool, report);
        const modulator::OneBitStage* stage = modulator.get();
        chain.append(std::move(modulator));
        return stage;
    } catch (const std::invalid_argument& error) {
        report.error("Error : %s\n", error.what());
        return DSD_ERROR_UNSUPPORTED_ORDER;
    }
}

} // namespace tesk
