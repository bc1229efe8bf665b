#include "reverse/pcm_noise_shaper.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace tesk {
namespace {

using modulator::UnifiedNoiseShaper;
const std::vector<double> kZeros{0.969, 0.737, 0.424};

std::vector<double> noise(std::size_t n)
{
    std::mt19937_64 random(7);
    std::vector<double> x(n);
    for (double& v : x) v = static_cast<double>(random() >> 11) * 0x1p-53 - 0.5;
    return x;
}

std::vector<double> shaped(PcmNoiseShaper shaper, std::vector<double> x, std::size_t block)
{
    for (std::size_t at = 0; at < x.size(); at += block) shaper.process(&x[at], std::min(block, x.size() - at));
    return x;
}

/// One sample of the loop as it is defined, in full scale; h: the newest first. Gives the integer.
long long step(const UnifiedNoiseShaper& design, double scale, std::vector<double>& h, double x)
{
    double a = 0, b = 0;
    for (std::size_t k = 1; k < design.numerator().size(); ++k) {
        a += h[k - 1] * (design.denominator()[k] - design.numerator()[k]);
        b -= h[k - 1] * design.denominator()[k];
    }
    const long long n = std::llround((x + a) * scale);
    h.insert(h.begin(), (x + a - static_cast<double>(n) / scale) + b);
    return n;
}

// Two roundings of one loop part ways after some hundred samples, for with given decisions 1/N lets every difference
// grow: the definition is followed over short runs, the word length and the seams over a long one.
TEST(PcmNoiseShaper, ChoosesWhatItsDefinitionChooses)
{
    const auto x = noise(10000);
    for (const auto& zeros : {std::vector<double>{0.5}, {0.9, 0.5}, kZeros, {0.9, 0.7, 0.5, 0.2}})
        for (int bits : {2, 16, 24, 32}) {
            const UnifiedNoiseShaper design(zeros, 0.85, 64);
            const PcmNoiseShaper fresh(design, static_cast<unsigned>(bits));
            const double scale = std::ldexp(1.0, bits - 1) - 1;
            for (auto run = x.begin(); run != x.end();) {
                std::vector<double> h(2 * zeros.size() + 1, 0.0);
                for (double y : shaped(fresh, {run, run + 40}, 40))
                    ASSERT_EQ(std::llround(y * scale), step(design, scale, h, *run++)) << h.size() << ' ' << bits;
            }
            const auto y = shaped(fresh, x, 997);
            for (double v : y) ASSERT_NEAR(v * scale, std::round(v * scale), 1e-6) << bits;
            EXPECT_EQ(shaped(fresh, x, x.size()), y) << "cut anywhere";
        }
    for (double half = -40.5; half < 41; ++half)
        EXPECT_EQ(std::llround(shaped({{kZeros, 0.85, 64}, 16}, {half / 32767}, 1)[0] * 32767), std::llround(half));
    for (double v : {0.0, 1.0, -1.0, 1e9}) EXPECT_EQ(shaped({{kZeros, 0.85, 64}, 32}, {v}, 1)[0], v);
}

/// |N/D|² from the zeros and the pole.
double powerGain(double hz)
{
    const auto z = std::polar(1.0, 2 * M_PI * hz / 44100);
    double gain = std::norm((z - 1.0) / (z - 0.85));
    for (double zero : kZeros)
        for (double angle : {zero, -zero}) gain *= std::norm((z - std::polar(1.0, M_PI * angle / 64)) / (z - 0.85));
    return gain;
}

// White rounding noise of a twelfth of a squared step, shaped: by a plain DFT with a Hann window.
TEST(PcmNoiseShaper, NoiseFollowsTheTransferFunction)
{
    const auto x = noise(16384);
    auto error = shaped({{kZeros, 0.85, 64}, 16}, x, x.size());
    double sum = 0;
    for (std::size_t i = 0; i < x.size(); ++i) sum += error[i] = (error[i] - x[i]) * 32767;
    EXPECT_LT(std::fabs(sum), 20) << "a zero at DC: the errors cancel, whatever their number";
    const double n = static_cast<double>(x.size());
    const auto windowTurn = std::polar(1.0, 2 * M_PI / n);
    for (double from : {600, 1000, 2000, 4000, 7000, 10000, 15000, 21000}) {
        double power = 0, expected = 0;
        for (double hz = from; hz < from + 500; hz += 44100 / n) {
            const auto lineTurn = std::polar(1.0, -2 * M_PI * hz / 44100);
            std::complex<double> line = 0, turn = 1, window = 1;
            for (double v : error) {
                line += v * (1 - window.real()) * turn;
                turn *= lineTurn;
                window *= windowTurn;
            }
            power += std::norm(line) / (1.5 * n);
            expected += powerGain(hz) / 12;
        }
        EXPECT_NEAR(10 * std::log10(power / expected), 0, 1) << from;
    }
}

TEST(PcmNoiseShaper, RecoversFromNoNumbersAndFromUnstablePoles)
{
    const auto tail = noise(20000);
    const PcmNoiseShaper fresh({kZeros, 0.85, 64}, 24);
    for (double bad : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
        auto x = noise(101);
        x.back() = bad;
        x.insert(x.end(), tail.begin(), tail.end());
        const auto y = shaped(fresh, x, 64);
        EXPECT_EQ(y[100], 0.0);
        EXPECT_EQ(std::vector<double>(y.begin() + 101, y.end()), shaped(fresh, tail, 300)) << "as if begun here";
    }
    const auto y = shaped({{kZeros, 0.999, 64}, 24}, tail, tail.size()); // the rounded polynomial has poles outside
    for (std::size_t i = 0; i < y.size(); ++i) ASSERT_LT(std::fabs(y[i] - tail[i]) * 8388607, 129) << "noisy, not loud";
}

} // namespace
} // namespace tesk
