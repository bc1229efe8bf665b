#include "pipeline/kernel/dispatch.h"

#include "pipeline/kernel/loops.h"

namespace tesk::kernel {

KernelTable scalarKernels()
{
    return {"scalar",   dotScalar,  dotSizeScalar, upsampleRangeByDots,
            peakScalar, packScalar, oneBitScalar,  uniformScalar};
}

KernelTable kernelsFor(const platform::CpuFeatures& cpu)
{
    KernelTable table = scalarKernels();
    if (cpu.avx && cpu.avx512) {
        table = {"AVX-512", dotAvx512, dotSizeAvx512, upsampleRangeAvx512,
                 peakAvx,   packAvx2,  oneBitAvx512,  uniformAvx512};
    } else if (cpu.avx2 && cpu.fma) {
        table = {"AVX2+FMA", dotAvx2, dotSizeAvx2, upsampleRangeAvx2, peakAvx, packAvx2, oneBitAvx2, uniformAvx2};
    } else if (cpu.fma && !cpu.avx2) {
        table.level = "AVX+FMA";
        table.dot_int = dotAvxFma;
        table.dot_size = dotSizeAvxFma;
        table.peak = peakAvx;
    } else if (cpu.sse41 || cpu.sse2) {
        table.level = cpu.sse41 ? "SSE4.1" : "SSE2";
        table.dot_int = dotSse2;
        table.dot_size = dotSizeSse2;
    }
    return table;
}

const KernelTable& kernels(bool simd)
{
    static const KernelTable best = kernelsFor(platform::cpuFeatures());
    static const KernelTable plain = [] {
        KernelTable table = scalarKernels();
        table.level = "scalar (--no-simd)";
        return table;
    }();
    return simd ? best : plain;
}

} // namespace tesk::kernel
