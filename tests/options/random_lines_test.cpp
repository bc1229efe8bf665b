// Command lines drawn from the table: whatever is typed, the parser ends in one of its own ways.
#include "tests/options/line_generator.h"

namespace tesk::test {
namespace {

// And any prefix of a line, as a host may cut it.
TEST(RandomLines, EndInOneOfTheKnownWays)
{
    LineGenerator generator(20240917);
    int outcomes[4] = {};
    for (int i = 0; i < 20000; ++i) {
        const Line line = generator.line();
        const auto words = static_cast<std::ptrdiff_t>(line.size());
        for (std::ptrdiff_t size = i % 40 == 0 ? 0 : words; size <= words; ++size) {
            const Line part(line.begin(), line.begin() + size);
            const Parsed parsed = parse(part);
            const int status = parsed.outcome.status;
            // By the one parser, by the other, for a preset that is not there.
            const bool rejected = status == 1 || status == DSD_ERROR_USAGE || status == DSD_ERROR_PRESET;
            ASSERT_TRUE(status == 0 || rejected || status == DSD_ERROR_UNSUPPORTED) << status;
            ASSERT_FALSE(parsed.outcome.finished && status != 0);
            ASSERT_TRUE(status == 0 || !parsed.text.empty()) << "a refusal without a reason";
            if (status == 0 && !parsed.outcome.finished && !part.empty()) {
                const bool savesOnly = parsed.settings.inputs.empty() && !parsed.settings.presetSavePath.empty();
                ASSERT_TRUE(savesOnly || !parsed.settings.inputs.empty());
                ASSERT_TRUE(savesOnly || parsed.settings.batch || parsed.settings.measure ||
                            !parsed.settings.outputPath.empty());
                ASSERT_EQ(parse(part).settings, parsed.settings) << "a second parse differs";
            }
            ++outcomes[parsed.outcome.finished ? 3 : status == 0 ? 0 : rejected ? 1 : 2];
        }
    }
    for (const int count : outcomes) EXPECT_GT(count, 50); // the generator reaches every ending
}

} // namespace
} // namespace tesk::test
