#include "pipeline/kernel/fir_upsample.h"
#include "tests/kernel/levels.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace tesk::kernel {
namespace {

/// The convolution of the zero-stuffed input with h, as a textbook has it, one decision late.
std::vector<double> convolved(const std::vector<double>& h, std::size_t L, const std::vector<double>& x)
{
    std::vector<double> y(x.size() * L, 0.0);
    for (std::size_t j = 0; j < y.size(); ++j)
        for (std::size_t i = 0; i < x.size(); ++i)
            if (j >= i * L + 1 && j - i * L - 1 < h.size())
                y[j] += 0.5 * static_cast<double>(L) * h[j - i * L - 1] * x[i];
    return y;
}

std::vector<double> upsampled(const KernelTable& table, const PhaseTable& phases, const std::vector<double>& x,
                              const std::vector<std::size_t>& cuts, parallel::WorkerPool* pool, double threshold = 0)
{
    std::vector<double> history(phases.taps() + x.size()), y(x.size() * phases.phases());
    std::size_t at = 0;
    for (std::size_t i = 0; at < x.size(); ++i) {
        const std::size_t n = std::min(cuts[i % cuts.size()], x.size() - at);
        fir_upsample(&x[at], history.data(), &y[at * phases.phases()], n, phases, threshold, table, pool);
        at += n;
    }
    return y;
}

// An unsymmetric prototype, so that a reversed or shifted cut of the phases cannot pass.
TEST(FirUpsample, IsTheConvolutionOfTheZeroStuffedInput)
{
    for (const std::size_t L : {1, 2, 5, 8, 12, 64})
        for (const std::size_t taps : {1, 3, 9}) {
            const auto h = noise(L * taps, 7), x = noise(150, 8);
            const auto expected = convolved(h, L, x);
            const PhaseTable phases(h, L);
            for (const KernelTable& table : tablesOfThisMachine()) {
                const auto y = upsampled(table, phases, x, {x.size()}, nullptr);
                for (std::size_t j = 0; j < y.size(); ++j)
                    ASSERT_NEAR(y[j], expected[j], 1e-12 * static_cast<double>(L * taps)) << table.level << " L " << L;
            }
        }
}

// Block borders, worker counts and vector tiles leave no trace.
TEST(FirUpsample, AnyCutAndAnyThreadCountGiveTheSameBits)
{
    const auto h = noise(64 * 16, 3), x = noise(1000, 4);
    const PhaseTable phases(h, 64);
    parallel::WorkerPool one(1), three(3);
    for (const KernelTable& table : tablesOfThisMachine()) {
        const auto expected = upsampled(table, phases, x, {x.size()}, nullptr);
        EXPECT_EQ(upsampled(table, phases, x, {1, 63, 64, 65, 200}, nullptr), expected) << table.level;
        EXPECT_EQ(upsampled(table, phases, x, {588}, &one), expected) << table.level;
        EXPECT_EQ(upsampled(table, phases, x, {588}, &three), expected) << table.level;
    }
}

TEST(FirUpsample, ExpansionPushesDownWhatIsBelowTheThreshold)
{
    const std::vector<double> h{1.0}, x{0.2, 1.0, -0.4, 0.0, 0.1};
    const PhaseTable phases(h, 1); // y[i] = x[i − 1] / 2
    const auto y = upsampled(scalarKernels(), phases, x, {5}, nullptr, 0.25);
    const double expected[] = {0.0, 0.1 * 0.16, 0.5, -0.2 * 0.64, 0.0};
    for (int i = 0; i < 5; ++i) EXPECT_NEAR(y[static_cast<std::size_t>(i)], expected[i], 1e-15);
}

} // namespace
} // namespace tesk::kernel
