// One channel's block of PCM samples, raised to the DSD rate.
#pragma once

#include "pipeline/kernel/kernel_table.h"
#include "pipeline/kernel/phase_table.h"
#include "pipeline/parallel/worker_pool.h"

namespace tesk::kernel {

/// Raises n samples by the factor L = phases.phases().
///
/// @param in         [n]            input samples, full scale ±1.0
/// @param history    [taps + n]     the last `taps` samples of the previous block at its start; updated
/// @param out        [n · L]        output, full scale ±0.5
/// @param threshold  outputs below it in magnitude become y·(|y| / threshold)²; 0 or less: none
/// @param pool       n of 64 and more is split over its workers and the calling thread; null: never
///
/// Any split gives the same bits.
/// Source: Crochiere and Rabiner, Multirate Digital Signal Processing (1983), chapter 3.
void fir_upsample(const double* in, double* history, double* out, std::size_t n, const PhaseTable& phases,
                  double threshold, const KernelTable& kernels, parallel::WorkerPool* pool);

} // namespace tesk::kernel
