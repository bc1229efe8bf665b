#include "pipeline/track_outputs.h"

#include <gtest/gtest.h>
#include <random>

namespace tesk {
namespace {

// Whatever the tracks: each begins at the border nearest to its first frame, none is empty, all fit.
TEST(TrackOutputs, CutsAtTheNearestBorder)
{
    std::mt19937 random(1);
    for (const std::uint64_t border : {1, 4096})
        for (const std::uint32_t factor : {8U, 64U, 256U, 4096U})
            for (int round = 0; round < 200; ++round) {
                std::vector<TrackCut> cuts(1);
                for (int t = 1; t < 20; ++t) {
                    const std::uint64_t length = 8 * border / factor * 2 + 2 + random() % 100000;
                    cuts.push_back({cuts.back().frame + length, {}, {}});
                }
                const std::uint64_t total = (cuts.back().frame + 1 + random() % 1000) * factor / 8;
                const auto starts = cutBytes(cuts, factor, border, total);
                ASSERT_EQ(starts.size(), cuts.size());
                EXPECT_EQ(starts.front(), 0U);
                for (std::size_t t = 1; t < starts.size(); ++t) {
                    EXPECT_EQ(starts[t] % border, 0U);
                    EXPECT_GT(starts[t], starts[t - 1]);
                    EXPECT_LT(starts[t], total);
                    const auto off =
                        static_cast<std::int64_t>(8 * starts[t]) - static_cast<std::int64_t>(cuts[t].frame * factor);
                    const bool atTheEnd = starts[t] + border >= total; // the next border would leave nothing
                    EXPECT_LE(std::abs(off), static_cast<std::int64_t>((atTheEnd ? 8 : 4) * border));
                }
            }
}

} // namespace
} // namespace tesk
