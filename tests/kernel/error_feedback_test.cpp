#include "modulator/cifb_effect.h"
#include "modulator/ntf_designer.h"
#include "pipeline/kernel/error_feedback.h"
#include "tests/kernel/levels.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <limits>

namespace tesk::kernel {
namespace {

constexpr ErrorFeedbackSettings kOneBit{1.02, 3.0, 0.75, 0.65, 0x1p-24, 0.0};

std::vector<double> run(const KernelTable& table, const ErrorFeedbackLoop& loop, std::vector<double> x,
                        const std::vector<std::size_t>& cuts, ErrorFeedbackState& state)
{
    std::size_t at = 0;
    for (std::size_t i = 0; at < x.size(); ++i) {
        const std::size_t n = std::min(cuts[i % cuts.size()], x.size() - at);
        table.oneBit(loop, state, x.data() + at, n);
        at += n;
    }
    return x;
}

// The loop as its definition reads, written a second time for this test, in extended precision: rounding apart, all
// levels must take the same decisions until the difference has grown to the size of a decision.
TEST(ErrorFeedback, EveryLevelFollowsTheFormulaForTheFirstDecisions)
{
    const auto sections = modulator::ns15Profile();
    const auto x = sine(15000, 0.25, 1000.0 / 2822400);
    std::vector<long double> s1(8), s2(8);
    std::uint64_t generator = 0x9e3779b95f6c7906;
    long double feedback = 0;
    std::vector<double> expected;
    for (double in : x) {
        generator = generator * 6364136223846793005ULL + 1442695040888963407ULL;
        const long double d = (2.0L * static_cast<long double>(generator >> 11) * 0x1p-53L - 1.0L) * 0x1p-24L;
        const long double v = d + in + feedback;
        const long double y = v >= 0 ? 1 : -1;
        long double e = v - 1.02L * (y + d);
        ASSERT_LT(std::fabs(static_cast<double>(e)), 3.0);
        feedback = 0;
        for (std::size_t k = 0; k < 8; ++k) {
            const Sos& s = sections[k];
            const long double out = e + s1[k];
            s1[k] = s.b1 * e - s.a1 * out + s2[k];
            s2[k] = s.b2 * e - s.a2 * out;
            e = out;
            feedback -= s1[k];
        }
        expected.push_back(static_cast<double>(y));
    }
    const ErrorFeedbackLoop loop(sections, kOneBit);
    for (const KernelTable& table : tablesOfThisMachine()) {
        ErrorFeedbackState state;
        EXPECT_EQ(run(table, loop, x, {x.size()}, state), expected) << table.level;
    }
}

// The same for the cascade of integrators.
TEST(ErrorFeedback, IntegratorsFollowTheFormulaForTheFirstDecisions)
{
    const auto x = sine(900, 0.25, 1000.0 / 2822400); // integrators part sooner
    for (const int order : {4, 7, 11}) {
        const std::vector<double> a = modulator::cifbCoefficients(order);
        std::vector<long double> s(a.size());
        std::vector<double> expected;
        long double y = 0;
        for (const double in : x) {
            long double before = in;
            for (std::size_t k = 0; k < a.size(); ++k) before = s[k] += (before - y) * a[k];
            y = before >= 0 ? 1 : -1;
            expected.push_back(static_cast<double>(y));
        }
        const auto loop = ErrorFeedbackLoop::ofIntegrators(a, {});
        for (const KernelTable& table : tablesOfThisMachine()) {
            ErrorFeedbackState state, cut;
            EXPECT_EQ(run(table, loop, x, {x.size()}, state), expected) << table.level << order;
            EXPECT_EQ(run(table, loop, x, {1, 7, 8, 64, 3, 1000, 13}, cut), expected) << table.level << order;
        }
    }
}

// Seams: however a stream is cut into calls, the bits are the same; also where the guard acts in every other block.
TEST(ErrorFeedback, AnyCutGivesTheSameBits)
{
    const ErrorFeedbackLoop loop(modulator::ns15Profile(), kOneBit);
    for (const double level : {0.25, 0.49})
        for (const KernelTable& table : tablesOfThisMachine()) {
            const auto x = sine(60000, level, 1000.0 / 2822400);
            ErrorFeedbackState whole, cut;
            const auto expected = run(table, loop, x, {x.size()}, whole);
            EXPECT_EQ(run(table, loop, x, {1, 7, 8, 64, 3, 1000, 13}, cut), expected) << table.level << ' ' << level;
            EXPECT_EQ(whole.clips, cut.clips);
            EXPECT_EQ(whole.firstClip, cut.firstClip);
            EXPECT_EQ(whole.clips > 0, level > 0.4) << "full scale overloads the profile, half of it does not";
        }
}

// The guard in numbers: with a threshold that every error exceeds, e and the states follow the definition.
TEST(ErrorFeedback, GuardScalesTheErrorAndAllStates)
{
    const std::vector<Sos> sections{{1, -1, 0, -0.5, 0}};
    const ErrorFeedbackSettings settings{1.0, 0.25, 0.5, 0.5, 0.0, 0.0};
    const ErrorFeedbackLoop loop(sections, settings);
    const auto x = noise(200);
    std::vector<double> expected;
    double s1 = 0;
    std::uint64_t clips = 0;
    for (double in : x) {
        const double v = in - s1, y = v >= 0 ? 1.0 : -1.0;
        double e = v - y;
        if (std::fabs(e) > 0.25) {
            e *= 0.5;
            s1 *= 0.5;
            ++clips;
        }
        s1 = -e + 0.5 * (e + s1);
        expected.push_back(y);
    }
    for (const KernelTable& table : tablesOfThisMachine()) {
        ErrorFeedbackState state;
        EXPECT_EQ(run(table, loop, x, {x.size()}, state), expected) << table.level;
        EXPECT_EQ(state.clips, clips);
    }
}

TEST(ErrorFeedback, AStateThatIsNoNumberIsRestarted)
{
    const ErrorFeedbackLoop loop(modulator::ns15Profile(), kOneBit);
    for (const KernelTable& table : tablesOfThisMachine()) {
        ErrorFeedbackState state;
        std::vector<double> x(64, 0.1);
        x[5] = std::numeric_limits<double>::infinity();
        table.oneBit(loop, state, x.data(), x.size());
        EXPECT_EQ(state.restarts, 1U) << table.level;
        std::vector<double> quiet(4096, 0.0);
        table.oneBit(loop, state, quiet.data(), quiet.size());
        const auto ones = std::count(quiet.begin(), quiet.end(), 1.0);
        EXPECT_NEAR(static_cast<double>(ones), 2048, 40) << "silence is half ones again";
    }
}

// 16-bit words out, and an error that a two-pole average (a crude audio band) hardly sees.
TEST(ErrorFeedback, UniformQuantiserStaysOnItsGridAndPushesTheErrorUp)
{
    const ErrorFeedbackLoop loop(std::vector<Sos>(4, Sos{1, -2, 1, -1.5, 0.5625}), {1, 0, 1, 1, 0, 0x1p-15});
    for (const KernelTable& table : tablesOfThisMachine()) {
        const auto x = sine(40000, 0.3, 1000.0 / 2822400);
        auto y = x;
        ErrorFeedbackState state;
        table.uniform(loop, state, y.data(), 12345);
        table.uniform(loop, state, y.data() + 12345, y.size() - 12345);
        double slow = 0, slower = 0, largest = 0;
        for (std::size_t i = 0; i < x.size(); ++i) {
            ASSERT_EQ(std::nearbyint(y[i] * 32768), y[i] * 32768);
            slow += (y[i] - x[i] - slow) * 0.02;
            slower += (slow - slower) * 0.02;
            if (i > 4000) largest = std::max(largest, std::fabs(slower));
        }
        EXPECT_LT(largest, 1e-7) << table.level << ": half a step alone would be 1.5e-5";
    }
}

} // namespace
} // namespace tesk::kernel
