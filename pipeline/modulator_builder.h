// The one-bit modulator that the settings choose.
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/settings.h"
#include "modulator/one_bit_stage.h"
#include "pipeline/kernel/kernel_table.h"
#include "pipeline/parallel/worker_pool.h"

#include <memory>

namespace tesk {

/// Designs it and prints what was chosen. Throws std::invalid_argument, with the user's text, for a design that cannot
/// be.
/// @param dsdRate  Hz
std::unique_ptr<modulator::OneBitStage> makeModulator(const ConversionSettings& settings, double dsdRate,
                                                      const kernel::KernelTable& kernels, parallel::WorkerPool& pool,
                                                      Reporter& report);

} // namespace tesk
