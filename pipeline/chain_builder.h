// The stages of the block loop, from the settings: limiter, 16-bit input shaper, one modulator.
#pragma once

#include "effect/effect_chain.h"
#include "engine/base/reporter.h"
#include "engine/base/settings.h"
#include "modulator/one_bit_stage.h"
#include "pipeline/kernel/kernel_table.h"
#include "pipeline/parallel/worker_pool.h"

namespace tesk {

/// Appends the stages in their fixed order and prints a line for each choice. `inputBits` is the source's word
/// length, 0 when unknown; `dsdRate` in Hz. Answers the modulator, which the chain owns.
Result<const modulator::OneBitStage*, PDM_ENCODING_STATUS>
buildChain(const ConversionSettings& settings, int inputBits, double dsdRate, const kernel::KernelTable& kernels,
           parallel::WorkerPool& pool, Reporter& report, p2p::effect::EffectChain& chain);

} // namespace tesk
