#include "container/dst/dst_simd.h"

#include "engine/base/reporter.h"

#include <string_view>

namespace tesk {
namespace {

DstSimdLevel detected(const platform::CpuFeatures& cpu)
{
    if (cpu.avx512 && cpu.bitCounts) return kDstAvx512;
    if (cpu.avx2 && cpu.bitCounts) return kDstAvx2;
    return cpu.sse41 ? kDstSse41 : kDstScalar;
}

DstSimdLevel asked(std::string_view variable, DstSimdLevel best)
{
    struct Word {
        std::string_view start;
        DstSimdLevel level;
    };
    constexpr Word kWords[] = {
        {"0", kDstScalar}, {"sse", kDstSse41}, {"avx512", kDstAvx512}, {"avx2", kDstAvx2}, {"neon", kDstNeon}};
    for (const Word& word : kWords)
        if (variable.starts_with(word.start)) return word.level;
    return best;
}

const char* levelName(DstSimdLevel level)
{
    switch (level) {
    case kDstAvx512: return "AVX-512 (fir dot, 16 taps/instr)";
    case kDstAvx2: return "AVX2 (fir dot, 8 taps/instr)";
    case kDstSse41: return "SSE4.1 (fir dot, 4 taps/instr)";
    case kDstNeon: return "NEON (fir dot, 4 taps/instr)";
    case kDstScalar: break;
    }
    return "scalar";
}

const char* cpuName(const platform::CpuFeatures& cpu)
{
    if (cpu.avx512) return "AVX-512";
    if (cpu.avx2) return "AVX2";
    if (cpu.avx) return "AVX";
    if (cpu.sse41) return "SSE4.1";
    return cpu.sse2 ? "SSE2" : "scalar";
}

} // namespace

DstSimdChoice chooseDstSimd(const platform::CpuFeatures& cpu, const char* variable, bool simd)
{
    DstSimdChoice choice;
    if (simd) {
        choice.level = detected(cpu);
        const DstSimdLevel wanted = variable ? asked(variable, choice.level) : choice.level;
        if (wanted <= choice.level)
            choice.level = wanted;
        else
            choice.refusal = format("[DST] decode SIMD: ignoring TESK_DST_SIMD=%s (unsupported here)\n", variable);
    }
    choice.line = format("[DST] decode SIMD: %s [cpu: %s]\n", levelName(choice.level), cpuName(cpu));
    return choice;
}

} // namespace tesk
