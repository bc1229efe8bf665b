#include "platform/cpu_features.h"

#include <cpuid.h>
#include <cstdint>

namespace tesk::platform {
namespace {

std::uint64_t enabledState()
{
    std::uint32_t low = 0, high = 0;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return (static_cast<std::uint64_t>(high) << 32) | low;
}

bool bit(unsigned word, int position) { return (word >> position) & 1U; }

} // namespace

// Bit positions: Intel 64 and IA-32 Architectures Software Developer's Manual, volume 2A, CPUID.
CpuFeatures cpuFeatures()
{
    CpuFeatures cpu;
    unsigned a = 0, b = 0, c = 0, d = 0;
    if (!__get_cpuid(1, &a, &b, &c, &d)) return cpu;
    cpu.sse2 = bit(d, 26);
    cpu.sse41 = bit(c, 19);
    if (!bit(c, 27) || !bit(c, 28)) return cpu;
    const std::uint64_t state = enabledState();
    if ((state & 0x6) != 0x6) return cpu; // XMM and YMM
    cpu.avx = true;
    cpu.fma = bit(c, 12);
    unsigned b7 = 0, c7 = 0, d7 = 0;
    if (!__get_cpuid_count(7, 0, &a, &b7, &c7, &d7)) return cpu;
    cpu.avx2 = bit(b7, 5);
    const bool zmm = (state & 0xe0) == 0xe0;
    cpu.avx512 = zmm && bit(b7, 16) && bit(b7, 28);
    cpu.avx512bw = cpu.avx512 && bit(b7, 30);
    unsigned cx = 0;
    const bool lzcnt = __get_cpuid(0x80000001, &a, &b, &cx, &d) && bit(cx, 5);
    cpu.bitCounts = lzcnt && bit(b7, 3) && bit(b7, 8);
    return cpu;
}

} // namespace tesk::platform
