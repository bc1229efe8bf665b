#include "pipeline/chain_builder.h"
#include "pipeline/kernel/dispatch.h"

#include <gtest/gtest.h>
#include <string>

namespace tesk {
namespace {

std::string stages(const ConversionSettings& settings, int bits, CollectingReporter& report)
{
    p2p::effect::EffectChain chain;
    EXPECT_TRUE(buildChain(settings, bits, kernel::kernels(), parallel::WorkerPool::instance(), report, chain));
    std::string names;
    for (const auto& stage : chain.stages()) names += std::string(stage->name()) + " ";
    return names;
}

TEST(ChainBuilder, PutsTheStagesInTheirFixedOrder)
{
    CollectingReporter report;
    ConversionSettings settings;
    EXPECT_EQ(stages(settings, 24, report), "soft-limiter sos-ef-noise-shaper ");
    EXPECT_NE(report.text.find("Default modulator: SOS-EF NS15 profile"), std::string::npos);
    EXPECT_NE(report.text.find("SOS-EF modulator: order 15 (auto-generated NTF, Lee peak 4.44 dB)"), std::string::npos);
    for (const int bits : {0, 8, 16})
        EXPECT_EQ(stages(settings, bits, report), "soft-limiter int16-ns sos-ef-noise-shaper ") << bits;
    EXPECT_NE(report.text.find("Int16 NS: activated (order=9, pole=0.750)"), std::string::npos);
    settings.softLimiterDelta = 0.0;
    EXPECT_EQ(stages(settings, 32, report), "sos-ef-noise-shaper ");
    settings.lookaheadLimiter = true;
    settings.sosEfOrder = 5;
    CollectingReporter chosen;
    EXPECT_EQ(stages(settings, 24, chosen), "lookahead-limiter sos-ef-noise-shaper ");
    EXPECT_EQ(chosen.text.find("Default modulator"), std::string::npos);
    EXPECT_NE(chosen.text.find("order 5 (auto-generated NTF, Lee peak 2.06 dB)"), std::string::npos);
}

TEST(ChainBuilder, AnOrderThatCannotBeDesignedIsAStatus)
{
    ConversionSettings settings;
    settings.sosEfOrder = 13;
    CollectingReporter report;
    p2p::effect::EffectChain chain;
    const auto built = buildChain(settings, 24, kernel::kernels(), parallel::WorkerPool::instance(), report, chain);
    EXPECT_EQ(built.status(), DSD_ERROR_UNSUPPORTED_ORDER);
    EXPECT_NE(report.text.find("verified range [3, 11]"), std::string::npos);
}

} // namespace
} // namespace tesk
