#include "pipeline/source.h"

#include <gtest/gtest.h>

namespace tesk {
namespace {

// A block is 1/75 s and ends at a whole byte, so that blocks coincide with the frames of a DSD disc.
TEST(StreamPlan, EveryAcceptedRateHasWholeBlocks)
{
    for (const std::uint32_t family : {44100U, 48000U})
        for (const std::uint32_t multiple : {1U, 2U, 4U, 8U})
            for (int oversampling = 64; oversampling <= 4096; oversampling *= 2) {
                auto found = planStream(family * multiple, oversampling, false);
                ASSERT_TRUE(found.ok());
                const StreamPlan& plan = *found;
                EXPECT_EQ(plan.dsdRate, family * static_cast<std::uint32_t>(oversampling));
                EXPECT_EQ(plan.factor * plan.pcmRate, plan.dsdRate);
                EXPECT_EQ(plan.blockFrames * 75, plan.pcmRate);
                EXPECT_EQ(plan.blockSamples() % 8, 0U);
            }
}

TEST(StreamPlan, OtherRatesNeedToBeAskedForAndToDivideTheDsdRate)
{
    for (const std::uint32_t rate : {0U, 1U, 8000U, 22050U, 32000U, 44000U, 64000U, 705600U, 4294967295U})
        EXPECT_EQ(planStream(rate, 64, false).status(), DSD_ERROR_PCMBASESAMPLERATE) << rate;
    for (const std::uint32_t rate : {8000U, 11025U, 22050U, 32000U, 64000U}) {
        auto plan = planStream(rate, 64, true);
        ASSERT_TRUE(plan.ok()) << rate;
        EXPECT_EQ(plan->factor * rate, plan->dsdRate);
        EXPECT_EQ(plan->blockSamples() % 8, 0U) << rate;
        EXPECT_GT(plan->blockFrames, 0U);
    }
    for (const std::uint32_t rate : {44000U, 3072000U}) EXPECT_FALSE(planStream(rate, 64, true).ok()) << rate;
}

} // namespace
} // namespace tesk
