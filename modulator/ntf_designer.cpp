#include "modulator/ntf_designer.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <stdexcept>

namespace tesk::modulator {
namespace {

using std::numbers::pi;

constexpr double kLowestPole = 2.7;            // degrees
constexpr double kPoleSpread = 12.1 / 2.7;     // highest over lowest pole angle
constexpr double kPoleOverZero = 121.0 / 24.0; // highest pole angle over highest zero angle
constexpr double kPeakLimitDb = 4.8;
constexpr int kPeakPoints = 40000;

// Radii of the profile's biquads, from the lowest angle to the highest; other orders interpolate.
constexpr double kZeroRadius[7] = {0.86, 0.97, 0.95, 0.988, 0.992, 0.996, 0.998};
constexpr double kPoleRadius[7] = {0.97, 0.95, 0.8595, 0.9497, 0.9347, 0.9463, 0.8491};

double radiusAt(const double (&table)[7], double t)
{
    const double position = 6.0 * t;
    const int j = static_cast<int>(std::floor(position));
    const double f = position - j;
    return (1.0 - f) * table[j] + f * table[std::min(j + 1, 6)];
}

struct Ladder {
    std::vector<double> zeroAngle, poleAngle; // degrees
};

Ladder ladder(int biquads, double lowestZero, double highestZero, double highestPole)
{
    Ladder angles;
    for (int i = 0; i < biquads; ++i) {
        const double t = biquads > 1 ? static_cast<double>(i) / (biquads - 1) : 0.0;
        angles.zeroAngle.push_back(lowestZero * std::pow(highestZero / lowestZero, t));
        angles.poleAngle.push_back(kLowestPole * std::pow(highestPole / kLowestPole, t));
    }
    return angles;
}

std::vector<Sos> sectionsOf(const Ladder& angles, double realPole)
{
    const std::size_t biquads = angles.zeroAngle.size();
    if (angles.poleAngle.size() != biquads) throw std::invalid_argument("zeros/poles pair count mismatch");
    std::vector<Sos> sections{{1, -1, 0, -realPole, 0}};
    for (std::size_t i = 0; i < biquads; ++i) {
        const double t = biquads > 1 ? static_cast<double>(i) / static_cast<double>(biquads - 1) : 0.0;
        const double rz = radiusAt(kZeroRadius, t), rp = radiusAt(kPoleRadius, t);
        const double zero = angles.zeroAngle[i] * pi / 180, pole = angles.poleAngle[i] * pi / 180;
        sections.push_back({1, -2 * rz * std::cos(zero), rz * rz, -2 * rp * std::cos(pole), rp * rp});
    }
    return sections;
}

} // namespace

const std::vector<Sos>& ns15Profile()
{
    static const std::vector<Sos> profile = {
        {1, -1, 0, -0.66, 0},
        {1, -1.7199957379270223, 0.7396, -1.9377782849695224, 0.9409},
        {1, -1.9399891837564278, 0.9409, -1.8975099561014925, 0.9025},
        {1, -1.8999576272051595, 0.9025, -1.7149081518673288, 0.73874025},
        {1, -1.9759230715301481, 0.976144, -1.893917612042176, 0.9018482317384574},
        {1, -1.983685752737829, 0.984064, -1.861617379503551, 0.8735953227804367},
        {1, -1.990939224774597, 0.992016, -1.8710601494645787, 0.8954036811645628},
        {1, -1.9942485524801261, 0.996004, -1.6606941638434825, 0.7209757851283255}};
    return profile;
}

NoiseTransferFunction designNtf(int order, const NtfRange& range)
{
    if (order <= 0 || order % 2 == 0) throw std::invalid_argument("NTF order must be a positive odd number");
    if (order < 3 || order > 11)
        throw std::invalid_argument("NTF order out of the verified range [3, 11]: measured in-band noise is "
                                    "non-monotone above 11 and the modulator locks up (no output) at >= 25 -- see the "
                                    "measured table in ntf_designer");
    const int biquads = (order - 1) / 2;
    double highestZero = range.highestZero, highestPole = kLowestPole * kPoleSpread;
    NoiseTransferFunction ntf{2 * biquads + 1, {}, 0};
    for (int round = 0;; ++round) {
        ntf.sections = sectionsOf(ladder(biquads, range.lowestZero, highestZero, highestPole), range.realPole);
        ntf.peakDb = measureNtfPeak(ntf.sections, kPeakPoints);
        if (ntf.peakDb <= kPeakLimitDb || highestZero <= 0.5 || round >= 8) return ntf;
        highestZero *= 0.8;
        highestPole = kPoleOverZero * highestZero;
    }
}

double measureNtfPeak(const std::vector<Sos>& sections, int points)
{
    double largest = 0;
    for (int i = 1; i <= points; ++i) {
        const double f = std::pow(70560.0, static_cast<double>(i) / points);
        const std::complex<double> z1 = std::polar(1.0, -2 * pi * f / 141120.0), z2 = z1 * z1;
        std::complex<double> h = 1;
        for (const Sos& s : sections) h *= (s.b0 + s.b1 * z1 + s.b2 * z2) / (1.0 + s.a1 * z1 + s.a2 * z2);
        largest = std::max(largest, std::abs(h));
    }
    return 20 * std::log10(largest + 1e-15);
}

} // namespace tesk::modulator
