// The kernel tables that this machine can run.
#pragma once

#include "pipeline/kernel/dispatch.h"

#include <cmath>
#include <cstdint>
#include <vector>

namespace tesk::kernel {

inline std::vector<KernelTable> tablesOfThisMachine()
{
    const platform::CpuFeatures cpu = platform::cpuFeatures();
    std::vector<KernelTable> tables{scalarKernels()};
    platform::CpuFeatures limited;
    limited.sse2 = cpu.sse2;
    tables.push_back(kernelsFor(limited));
    limited.sse41 = cpu.sse41;
    tables.push_back(kernelsFor(limited));
    limited.avx = cpu.avx;
    limited.fma = cpu.fma;
    if (cpu.avx && cpu.fma) tables.push_back(kernelsFor(limited));
    limited.avx2 = cpu.avx2;
    if (cpu.avx2) tables.push_back(kernelsFor(limited));
    limited.avx512 = cpu.avx512;
    if (cpu.avx512) tables.push_back(kernelsFor(limited));
    return tables;
}

/// Uniform noise in [−1, 1), the same on every machine.
inline std::vector<double> noise(std::size_t n, std::uint64_t seed = 1)
{
    std::vector<double> x(n);
    for (double& value : x) {
        seed = seed * 6364136223846793005ULL + 1442695040888963407ULL;
        value = static_cast<double>(seed >> 11) * 0x1p-52 - 1.0;
    }
    return x;
}

inline std::vector<double> sine(std::size_t n, double level, double cyclesPerSample)
{
    std::vector<double> x(n);
    for (std::size_t i = 0; i < n; ++i) x[i] = level * std::sin(2 * M_PI * cyclesPerSample * static_cast<double>(i));
    return x;
}

} // namespace tesk::kernel
