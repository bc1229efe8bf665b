// Which kernel table this processor gets.
#pragma once

#include "pipeline/kernel/kernel_table.h"
#include "platform/cpu_features.h"

namespace tesk::kernel {

/// The best table for a processor. Pure: a test may ask for any level its machine can run.
KernelTable kernelsFor(const platform::CpuFeatures& cpu);

/// The plain loops, which every other table is held against.
KernelTable scalarKernels();

/// This processor's table, probed on the first call and kept; with `simd` false the plain loops
/// ("scalar (--no-simd)").
const KernelTable& kernels(bool simd = true);

} // namespace tesk::kernel
