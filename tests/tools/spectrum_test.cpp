#include "analysis/spectrum.h"

#include "tools/spectrum_svg.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

using namespace tesk::analysis;
using namespace tesk::measure;

namespace {

constexpr double kRate = 352800.0;
constexpr std::size_t kPoints = 1u << 18; // 1.3 Hz per bin

std::vector<double> sine(double hz, double db, double phase = 0.3)
{
    std::vector<double> x(kPoints);
    for (std::size_t i = 0; i < x.size(); ++i)
        x[i] = std::pow(10, db / 20) * std::sin(2 * std::numbers::pi * hz * static_cast<double>(i) / kRate + phase);
    return x;
}

void add(std::vector<double>& x, const std::vector<double>& y)
{
    for (std::size_t i = 0; i < x.size(); ++i) x[i] += y[i];
}

/// White noise of this standard deviation: up to 20 kHz lie sigma²·(20 kHz − 20 Hz)/(rate/2) of its power.
void addNoise(std::vector<double>& x, double sigma)
{
    std::mt19937_64 random(3);
    std::normal_distribution<double> value(0.0, sigma);
    for (double& v : x) v += value(random);
}

double inBandNoiseDbfs(double sigma) { return 10 * std::log10(2.0 * sigma * sigma * (20000.0 - 20.0) / (kRate / 2)); }

} // namespace

// On a bin, between two bins and close to the band's ends: the level does not depend on where a tone falls.
TEST(Spectrum, ReadsAToneInKnownNoiseWhereverItFalls)
{
    const double bin = kRate / kPoints, sigma = 0.01;
    for (double hz : {1000 * bin, 1000.5 * bin, 1000.37 * bin, 997.0, 19700.0, 350.0}) {
        auto x = sine(hz, -6.0);
        addNoise(x, sigma);
        const Readings r = readSpectrum(Spectrum(x, kRate), {hz});
        EXPECT_NEAR(r.tones[0].dbfs, -6.0, 0.02) << hz;
        EXPECT_NEAR(r.tones[0].hz, hz, 0.05 * bin) << hz;
        EXPECT_NEAR(r.noiseDbfs, inBandNoiseDbfs(sigma), 0.2) << hz;
        EXPECT_NEAR(r.snrDb, -6.0 - inBandNoiseDbfs(sigma), 0.2) << hz;
    }
}

// Without noise only arithmetic is left: nothing of the tone may leak past its skirt.
TEST(Spectrum, AToneAloneLeavesNothingBehind)
{
    for (double hz : {1000.0, 1234.567}) {
        const Readings r = readSpectrum(Spectrum(sine(hz, 0.0), kRate), {hz});
        EXPECT_NEAR(r.tones[0].dbfs, 0.0, 1e-6);
        EXPECT_LT(r.noiseDbfs, -240.0) << hz; // the sine's own rounding
    }
    const Readings silence = readSpectrum(Spectrum(std::vector<double>(kPoints, 0.0), kRate), {});
    EXPECT_LT(silence.noiseDbfs, -390.0);
    EXPECT_TRUE(silence.tones.empty());
    // Bins of 21 Hz: a constant's lobe would cover the low end of the band.
    const Readings constant = readSpectrum(Spectrum(std::vector<double>(1u << 14, 0.25), kRate), {});
    EXPECT_LT(constant.noiseDbfs, -240.0);
    EXPECT_NEAR(constant.dc, 0.25, 1e-12);
}

TEST(Spectrum, SeparatesTonesSpursAndWhatLiesOutside)
{
    auto x = sine(19000.0, -12.0);
    add(x, sine(18000.0, -12.0));
    add(x, sine(1003.3, -90.2)); // the difference tone
    add(x, sine(43210.0, -50.5));
    add(x, sine(150000.0, -10.0)); // above every band that is read
    for (double& v : x) v += 0.0125;
    const Spectrum spectrum(x, kRate);
    const Readings r = readSpectrum(spectrum, {19000.0, 18000.0});
    EXPECT_NEAR(r.tones[0].dbfs, -12.0, 1e-3);
    EXPECT_NEAR(r.tones[1].hz, 18000.0, 0.1);
    EXPECT_NEAR(r.spur.dbfs, -90.2, 0.05);
    EXPECT_NEAR(r.spur.hz, 1003.3, 1.0);
    EXPECT_NEAR(r.noiseDbfs, -90.2, 0.05) << "distortion counts as noise, and DC does not";
    EXPECT_NEAR(r.snrDb, -12.0 + 3.0103 + 90.2, 0.05);
    EXPECT_NEAR(r.outside.dbfs, -50.5, 0.05);
    EXPECT_NEAR(r.outside.hz, 43210.0, 1.0);
    EXPECT_NEAR(r.dc, 0.0125, 1e-6);
    EXPECT_NEAR(largestPeak(spectrum, 20.0, 18500.0).hz, 18000.0, 1.0);
    // Left out of the list, a tone turns up as the spur.
    EXPECT_NEAR(readSpectrum(spectrum, {19000.0}).spur.dbfs, -12.0, 0.05);
}

TEST(Spectrum, TheBinsAddUpToTheMeanSquare)
{
    auto x = sine(5000.0, -3.0);
    addNoise(x, 0.1);
    const Spectrum s(x, kRate);
    double sum = 0.0;
    for (std::size_t k = 0; k < s.bins(); ++k) sum += s.power(k);
    EXPECT_NEAR(10 * std::log10(sum / (0.5 * std::pow(10, -0.3) + 0.01)), 0.0, 0.02);
}

// A tone one bin wide must not fall between two columns of the picture.
TEST(Spectrum, ThePictureShowsEveryTone)
{
    const std::string svg = spectrumSvg({Spectrum(sine(90000.3, 0.0), kRate)}, "a<b & c");
    EXPECT_NE(svg.find("a&lt;b &amp; c"), std::string::npos);
    double x = 0, y = 0, topX = 0, topY = 1e9;
    const char* p = svg.c_str() + svg.find("points=\"") + 8;
    for (int used; std::sscanf(p, "%lf,%lf %n", &x, &y, &used) == 2; p += used)
        if (y < topY) topY = y, topX = x;
    // The frame: 10 Hz at 70, half the rate at 980; +10 dB at 50, −220 dB at 500.
    EXPECT_NEAR(topX, 70 + 910 * std::log(9000.03) / std::log(17640.0), 2.6);
    EXPECT_NEAR(topY, 50 + 450 * 10.0 / 230.0, 1.0);
}
