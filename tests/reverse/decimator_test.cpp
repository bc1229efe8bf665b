// Both decimators against the formulas in extended precision, and against themselves in other pieces.
#include "pipeline/kernel/dispatch.h"
#include "reverse/staged_decimator.h"
#include "reverse/two_step_filter.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <numbers>
#include <random>

namespace tesk {
namespace {

using Real = long double;
using Bits = std::vector<std::vector<std::uint8_t>>; // [channel][byte]
using Sound = std::vector<std::vector<double>>;      // [channel][frame]

struct Case {
    std::uint32_t decimation, multiple; // of 44100 Hz
    double lowpassHz = 0;               // 0: half the output rate
    std::size_t taps = 0;               // 0: 64·D
    std::uint32_t sections = 4;
    std::int64_t firstNewest = -1;
    bool lowBit = true;
};

DecimationPlan planOf(const Case& k, std::uint32_t channels)
{
    DecimationPlan plan;
    plan.channels = channels;
    plan.dsdRate = 44100.0 * k.multiple;
    plan.decimation = k.decimation;
    plan.sections = k.sections;
    const double half = plan.dsdRate / k.decimation / 2, cutoff = k.lowpassHz > 0 ? k.lowpassHz : half;
    plan.cornerHz = std::max(cutoff, 30000.0);
    const std::size_t taps = k.taps ? k.taps : std::clamp<std::size_t>(64 * k.decimation, 128, 65536);
    plan.fir = designSinc(taps, cutoff / plan.dsdRate, 10);
    plan.firstNewest = k.firstNewest;
    plan.firstSampleInLowBit = k.lowBit;
    return plan;
}

/// Noise, a tone from an error-feedback loop, the pattern of silence: in turn.
Bits testBits(std::uint32_t channels, std::size_t bytes)
{
    Bits bits(channels, std::vector<std::uint8_t>(bytes, 0x69));
    std::mt19937 random(7);
    for (std::uint32_t c = 0; c < channels; ++c) {
        double error = 0;
        for (std::size_t n = 0; c % 3 == 1 && n < 8 * bytes; ++n) {
            const double v = 0.5 * std::sin(0.002 * static_cast<double>(n)) + error;
            error = v - (v >= 0 ? 1 : -1);
            const unsigned bit = 1u << n % 8, rest = bits[c][n / 8] & ~bit;
            bits[c][n / 8] = static_cast<std::uint8_t>(v >= 0 ? rest | bit : rest);
        }
        if (c % 3 == 0) std::generate(bits[c].begin(), bits[c].end(), [&] { return std::uint8_t(random()); });
    }
    return bits;
}

/// Σ_k h[k] · b[n_j + k − (taps − 1)] for every j whose sample n_j + D is among those seen, the zeros too.
std::vector<Real> truth(const DecimationPlan& plan, const std::vector<std::uint8_t>& bits, std::size_t samples,
                        std::size_t zeros)
{
    std::vector<Real> b(samples + zeros);
    const auto seen = static_cast<std::int64_t>(b.size());
    for (std::size_t n = 0; n < samples; ++n)
        b[n] = bits[n / 8] >> (plan.firstSampleInLowBit ? n % 8 : 7 - n % 8) & 1 ? 1 : -1;
    const Real w = 2 * std::numbers::pi_v<Real> * plan.cornerHz / plan.dsdRate,
               alpha = std::sin(w) / std::sqrt(Real(2));
    const Real a0 = 1 + alpha, b0 = (1 - std::cos(w)) / 2 / a0, a1 = -2 * std::cos(w) / a0, a2 = (1 - alpha) / a0;
    for (unsigned s = 0; s < plan.sections; ++s) {
        Real x1 = 0, x2 = 0, y1 = 0, y2 = 0;
        for (Real& v : b) {
            const Real y = b0 * (v + 2 * x1 + x2) - a1 * y1 - a2 * y2;
            x2 = x1, x1 = v, y2 = y1, y1 = v = y;
        }
    }
    std::vector<Real> out;
    const auto taps = static_cast<std::int64_t>(plan.fir.size());
    for (std::int64_t newest = plan.firstNewest; newest + plan.decimation < seen; newest += plan.decimation) {
        out.push_back(0);
        for (std::int64_t k = std::max<std::int64_t>(0, taps - 1 - newest); k < taps; ++k)
            out.back() += plan.fir[static_cast<std::size_t>(k)] * b[static_cast<std::size_t>(newest + k - (taps - 1))];
    }
    return out;
}

/// The stream in pieces of the given lengths, over and over, then a flush.
Sound run(Decimator& decimator, const Bits& bits, std::vector<std::size_t> pieces, unsigned lastBits = 8,
          std::size_t zeros = 0)
{
    Sound sound(bits.size());
    std::vector<std::vector<double>> space(bits.size());
    std::vector<double*> out(bits.size());
    const auto take = [&](std::size_t bytes, auto&& call) {
        for (std::size_t c = 0; c < bits.size(); ++c) {
            space[c].assign(decimator.maxFrames(bytes), 99);
            out[c] = space[c].data();
        }
        const std::size_t frames = call();
        for (std::size_t c = 0; c < bits.size(); ++c) {
            ASSERT_LE(frames, space[c].size());
            sound[c].insert(sound[c].end(), space[c].begin(), space[c].begin() + static_cast<std::ptrdiff_t>(frames));
        }
    };
    for (std::size_t i = 0, p = 0; i < bits[0].size(); ++p) {
        const std::size_t bytes = std::min(pieces[p % pieces.size()], bits[0].size() - i);
        std::vector<const std::uint8_t*> in;
        for (const auto& channel : bits) in.push_back(channel.data() + i);
        i += bytes;
        take(bytes, [&] { return decimator.process(in.data(), bytes, out.data(), i < bits[0].size() ? 8 : lastBits); });
    }
    take(zeros / 8 + 1, [&] { return decimator.flush(zeros, out.data()); });
    return sound;
}

class Decimators : public testing::Test {
protected:
    std::unique_ptr<Decimator> joined(const Case& k, std::uint32_t channels, unsigned threads = 1, bool simd = true)
    {
        return makeJoinedDecimator(planOf(k, channels), threads, kernel::kernels(simd), pool);
    }
    std::unique_ptr<StagedDecimator> staged(const Case& k, std::uint32_t channels, StageOptions options = {},
                                            bool simd = true)
    {
        return std::make_unique<StagedDecimator>(planOf(k, channels), options, kernel::kernels(simd), pool, nullptr);
    }

    parallel::WorkerPool pool{3};
};

// Catches a tap, a bit order, an instant, an edge or an alias that is off; a bound of the two-step design that does not
// hold; a partial last byte that counts whole.
TEST_F(Decimators, AgreeWithTheFormulas)
{
    // The output of 200000 lies beyond the stream; the last four have no joined form, but for 1000.
    const Case cases[] = {{8, 64},
                          {16, 64},
                          {32, 64},
                          {64, 64},
                          {128, 64},
                          {256, 256},
                          {512, 512},
                          {40, 64},
                          {72, 96},
                          {64, 64, 20000},
                          {64, 64, 0, 1001},
                          {64, 64, 0, 65536},
                          {512, 512, 0, 128},
                          {64, 64, 0, 0, 0},
                          {64, 64, 0, 1},
                          {64, 64, 0, 0, 5},
                          {16, 64, 0, 0, 9},
                          {64, 64, 0, 0, 4, 2100},
                          {64, 64, 0, 0, 4, 7, false},
                          {32, 64, 0, 0, 4, 1301, false},
                          {8, 64, 0, 0, 4, 0},
                          {64, 64, 0, 0, 4, 200000},
                          {1, 64, 20000, 129},
                          {7, 64, 0, 333, 4, 100},
                          {147, 64, 20000, 2049, 3},
                          {1000, 64, 20000, 40}};
    for (const Case& k : cases) {
        SCOPED_TRACE(testing::Message() << "D " << k.decimation << " DSD" << k.multiple << " taps " << k.taps
                                        << " sections " << k.sections << " newest " << k.firstNewest);
        const std::size_t bytes = (k.taps == 65536 ? 9000 : k.decimation * 19) + 3, zeros = k.decimation * 9 + 3;
        const unsigned lastBits = 1 + k.decimation % 7;
        const Bits bits = testBits(3, bytes);
        std::vector<std::vector<Real>> expected;
        for (const auto& channel : bits)
            expected.push_back(truth(planOf(k, 3), channel, 8 * (bytes - 1) + lastBits, zeros));
        const auto hold = [&](Decimator& decimator, double tolerance) {
            const Sound sound = run(decimator, bits, {bytes}, lastBits, zeros);
            for (std::size_t c = 0; c < bits.size(); ++c) {
                ASSERT_EQ(sound[c].size(), expected[c].size());
                for (std::size_t j = 0; j < sound[c].size(); ++j)
                    ASSERT_LE(std::abs(sound[c][j] - expected[c][j]), tolerance) << c << " " << j;
            }
        };
        for (const bool simd : {true, false}) {
            hold(*staged(k, 3, {.biquadBank = simd}, simd), 2e-11); // biquads round, more so at a low corner
            const auto other = joined(k, 3, 1, simd);
            ASSERT_EQ(other == nullptr, k.decimation % 8 != 0);
            if (other) hold(*other, 1e-10);
        }
    }
}

// Catches a state that is lost between calls, a range that starts with another's values, a task that races.
TEST_F(Decimators, AnyCutAndAnyThreadsGiveTheSameBits)
{
    const Case cases[] = {
        {64, 64, 0, 0, 4, 2100}, {8, 64}, {32, 64, 0, 300, 4, 3, false}, {7, 64, 0, 333}, {64, 64, 0, 0, 0}};
    for (const Case& k : cases)
        for (const std::uint32_t channels : {1, 2, 3, 6}) {
            SCOPED_TRACE(testing::Message() << "D " << k.decimation << " channels " << channels);
            const std::size_t bytes = k.decimation * 70 + 5, zeros = 3 * k.decimation;
            const Bits bits = testBits(channels, bytes);
            const auto everyWay = [&](auto make) {
                const auto whole = make(1);
                const Sound expected = run(*whole, bits, {bytes}, 5, zeros);
                for (const unsigned threads : {1, 2, 3})
                    for (const std::vector<std::size_t>& pieces :
                         {std::vector<std::size_t>{bytes}, {1, 2, 9, 300}, {512}, {4000, 1}}) {
                        const auto decimator = make(threads);
                        ASSERT_EQ(run(*decimator, bits, pieces, 5, zeros), expected) << threads << " " << pieces[0];
                    }
            };
            everyWay([&](unsigned threads) { // one channel per vector or two: the same bits too
                const StageOptions options{.threads = threads, .biquadBank = threads != 1, .minMacs = 1000};
                return staged(k, channels, options);
            });
            if (k.decimation % 8 == 0) everyWay([&](unsigned threads) { return joined(k, channels, threads); });
        }
}

// Long enough for the joined form to share one channel among threads.
TEST_F(Decimators, RangesOfALongPieceMeet)
{
    for (const std::uint32_t channels : {1, 2}) {
        const Bits bits = testBits(channels, 200000);
        const Sound expected = run(*joined({64, 64}, channels), bits, {1000});
        for (const unsigned threads : {2, 3})
            EXPECT_EQ(run(*joined({64, 64}, channels, threads), bits, {150000, 7}), expected);
    }
}

// In one step every kernel adds the same taps, each in its own order.
TEST_F(Decimators, SumsOverBitsAreExactAtEveryLevel)
{
    const Bits bits = testBits(3, 5000);
    EXPECT_EQ(run(*joined({16, 64}, 3, 1, true), bits, {5000}), run(*joined({16, 64}, 3, 1, false), bits, {999}));
}

// The aim of the joined form is speed, which a design that never found two steps would miss unseen. Without biquads the
// response does not sink before the fold: there two steps would alias.
TEST_F(Decimators, TwoStepsWhereTheyMayBe)
{
    for (const Case& k :
         {Case{32, 64}, {64, 64}, {512, 512}, {64, 64, 0, 1001}, {64, 64, 0, 0, 0}, {64, 64, 0, 1, 0}}) {
        const TwoStepFilter filter = designTwoStep(jointResponse(planOf(k, 1)), k.decimation, k.decimation);
        EXPECT_EQ(filter.isDirect(), k.sections == 0);
        EXPECT_LE(filter.error, 1e-10); // no input at all can bring out more
    }
}

TEST_F(Decimators, NotesTellTheSplit)
{
    const auto decimator = staged({64, 64}, 2, {.threads = 3, .minMacs = 4096 * 100}); // a hundred frames a range
    std::vector<double> space(decimator->maxFrames(2560));
    const Bits bits = testBits(1, 2560);
    const std::uint8_t* in[] = {bits[0].data(), bits[0].data()};
    std::vector<double> other(space);
    double* out[] = {space.data(), other.data()};
    EXPECT_EQ(decimator->process(in, 2560, out), 320u);
    const StageNotes& notes = decimator->notes();
    EXPECT_EQ(std::tuple(notes.bank, notes.channelTasks, notes.ranges, notes.firTasks), std::tuple(true, 2u, 3u, 6u));
}

// A tap at the centre, its neighbours by hand (I0(10) = 2815.71662846625, Abramowitz and Stegun, table 9.8 times e^10),
// and the biquad's gain: 1 at DC, 1/√2 at the corner.
TEST(DecimationFilter, DesignsAsTheFormulasSay)
{
    const auto h = designSinc(5, 0.25, 10);
    ASSERT_EQ(h.size(), 5u);
    EXPECT_DOUBLE_EQ(h[2], 0.5);
    EXPECT_NEAR(h[0], 0, 1e-18);
    EXPECT_NEAR(h[1],
                std::sin(std::numbers::pi / 2) / std::numbers::pi * std::cyl_bessel_i(0, 10 * std::sqrt(0.75)) /
                    2815.71662846625,
                1e-12);
    EXPECT_EQ(h[1], h[3]);
    EXPECT_NEAR(designSinc(128, 0.01, 10)[0] / (std::sin(0.02 * std::numbers::pi * 63.5) / (63.5 * std::numbers::pi)),
                1 / 2815.71662846625, 1e-12);
    const Biquad b = designLowpass(30000, 2822400, 0.7071067811865475);
    const double w = 2 * std::numbers::pi * 30000 / 2822400;
    const auto gain = [&](std::complex<double> z) {
        return std::abs((b.b0 + b.b1 * z + b.b2 * z * z) / (1.0 + b.a1 * z + b.a2 * z * z));
    };
    EXPECT_NEAR(gain(1), 1, 1e-9);
    EXPECT_NEAR(gain(std::polar(1.0, -w)), std::sqrt(0.5), 1e-9);
}

} // namespace
} // namespace tesk
