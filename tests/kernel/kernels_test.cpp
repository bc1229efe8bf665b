#include "tests/kernel/levels.h"

#include <gtest/gtest.h>
#include <limits>
#include <string>

namespace tesk::kernel {
namespace {

double peakOf(const double* x, std::size_t n)
{
    double top = 0;
    for (std::size_t i = 0; i < n; ++i) top = std::fmax(top, std::fabs(x[i])); // fmax passes a NaN over
    return top;
}

// A lost tail, an aligned load, a NaN that wins.
TEST(Kernels, PeakOfEveryLevelIsThePlainPeak)
{
    auto x = noise(80);
    x[13] = -7.5;
    x[17] = std::numeric_limits<double>::quiet_NaN();
    for (const KernelTable& table : tablesOfThisMachine())
        for (std::size_t start = 0; start < 20; ++start)
            for (std::size_t n = 0; n <= 48; ++n)
                EXPECT_EQ(table.peak(&x[start], n), peakOf(&x[start], n)) << table.level << ' ' << start << ' ' << n;
}

TEST(Kernels, DotOfEveryLevelIsTheSumWithinRounding)
{
    const auto a = noise(4200, 1), b = noise(4200, 2);
    for (const KernelTable& table : tablesOfThisMachine())
        for (int n : {0, 1, 2, 3, 4, 7, 8, 15, 16, 17, 31, 33, 128, 4099})
            for (int start = 0; start < 4; ++start) {
                long double exact = 0;
                for (int i = 0; i < n; ++i) exact += static_cast<long double>(a[start + i]) * b[start + i];
                EXPECT_NEAR(table.dot_int(&a[start], &b[start], n), static_cast<double>(exact), 1e-11) << table.level;
                EXPECT_EQ(table.dot_size(&a[start], &b[start], static_cast<std::size_t>(n)),
                          table.dot_int(&a[start], &b[start], n));
            }
}

// Decisions are signs: zero of either sign is a one, NaN is a zero, and the first sample's bit is where it was asked.
TEST(Kernels, PackingFollowsTheSignInBothBitOrders)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double x[16] = {1, -1, -1, 1, 0.0, -0.0, nan, -1e-300, -1, -1, -1, -1, -1, -1, -1, 1};
    for (const KernelTable& table : tablesOfThisMachine()) {
        std::uint8_t low[2], high[2];
        table.pack(x, low, 2, true);
        table.pack(x, high, 2, false);
        EXPECT_EQ(low[0], 0b00111001) << table.level;
        EXPECT_EQ(high[0], 0b10011100) << table.level;
        EXPECT_EQ(low[1], 0x80);
        EXPECT_EQ(high[1], 0x01);
    }
}

TEST(Kernels, DispatchTakesTheBestLevelTheProcessorAllows)
{
    using platform::CpuFeatures;
    const auto level = [](CpuFeatures cpu) { return std::string(kernelsFor(cpu).level); };
    CpuFeatures cpu;
    EXPECT_EQ(level(cpu), "scalar");
    cpu.sse2 = true;
    EXPECT_EQ(level(cpu), "SSE2");
    cpu.sse41 = true;
    EXPECT_EQ(level(cpu), "SSE4.1");
    cpu.avx = cpu.avx2 = true; // without FMA the search goes on
    EXPECT_EQ(level(cpu), "SSE4.1");
    cpu.avx2 = false;
    cpu.fma = true;
    EXPECT_EQ(level(cpu), "AVX+FMA");
    cpu.avx2 = true;
    EXPECT_EQ(level(cpu), "AVX2+FMA");
    cpu.avx512 = true;
    EXPECT_EQ(level(cpu), "AVX-512");
    EXPECT_STREQ(kernels(false).level, "scalar (--no-simd)");
}

} // namespace
} // namespace tesk::kernel
