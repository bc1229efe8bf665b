// What the processor and the operating system together allow.
#pragma once

namespace tesk::platform {

/// One flag per capability that the kernels ask for. AVX and wider are set only when the system saves the
/// registers (XGETBV); `avx512` means AVX512F and CD with the ZMM and mask state, `bitCounts` LZCNT, BMI1 and BMI2.
struct CpuFeatures {
    bool sse2 = false, sse41 = false, avx = false, fma = false, avx2 = false, avx512 = false;
    bool avx512bw = false, bitCounts = false;
};

/// Tells the processor that the thread is waiting in a loop.
inline void relaxProcessor() { __builtin_ia32_pause(); }

/// Reads CPUID and XGETBV.
CpuFeatures cpuFeatures();

} // namespace tesk::platform
