// Three delta-sigma stages of few bits each, whose sum is the multi-bit signal that the MASH modulator makes one bit
// of.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace tesk::modulator {

/// One stage: i1 = leak·i1 + gain1·(x − feedback1·p), i2 = leak·i2 + gain2·(i1 − feedback2·p), p its last output.
/// A stage of one integrator stops at i1.
struct MashStage {
    double leak = 1.0;
    double gain1 = 1.0;
    double gain2 = 1.0;
    double feedback1 = 1.0;
    double feedback2 = 1.0;
};

/// The constants of a core; the same for all channels.
struct MashCoefficients {
    int integrators = 2;             ///< of every stage, 1 or 2
    double step1 = 1.0 / 8;          ///< between the levels of the first stage, which reach from −1 to 1
    double step2 = 1.0 / 2;          ///< of the second stage; the third knows ±1 only
    std::array<MashStage, 3> stages; ///< all ones, the textbook's stages, unless a constructor says otherwise
    bool dither = false;
};

/// Two integrators a stage; 16, 4 and 2 levels, that is 4, 2 and 1 bit. The third stage's gains are 0: what it adds is
/// its own noise at ±1, differentiated four times, which the following one-bit quantiser cannot swallow. It costs 13 dB
/// at −6 dBFS.
MashCoefficients mash421();
/// Two integrators a stage; 2 bits in the first stage too. The third rests as in 421.
MashCoefficients mash222();
/// One integrator a stage, quantisers as in 421. The third rests here as well: 2.5 dB.
MashCoefficients mash111();
/// 421, 222 or 111; any other topology is 421.
MashCoefficients mashCoefficients(int topology);

/// What the core of one channel remembers.
struct MashState {
    static constexpr std::uint32_t kSeed = 1;

    std::array<double, 3> inner{};  ///< i1 of each stage
    std::array<double, 3> outer{};  ///< i2
    double first = 0.0;             ///< last output of the first stage
    std::array<double, 2> second{}; ///< last outputs of the second stage, the latest first
    std::array<double, 4> third{};  ///< last decisions of the third stage, the latest first
    std::uint32_t random = kSeed;   ///< of the dither

    /// Back to rest; the dither goes on.
    void clear() { *this = MashState{.random = random}; }
    /// Whether a third stage that answers +1 for ever has no say in the output any more.
    bool settled() const { return third == std::array<double, 4>{1.0, 1.0, 1.0, 1.0}; }
};

/// Input beyond ±kMashInputLimit is clamped.
inline constexpr double kMashInputLimit = 0.95;

/// Whether the short form of the core applies: stages 1 and 2 all ones, gains of stage 3 zero, no dither. The third
/// stage then answers +1 for ever.
bool isPlain(const MashCoefficients& c);

/// One draw in (−1, 1), triangular up to the correlation of its two halves, which come from two congruential generators
/// off one state; only the first of them moves it on.
inline double mashDither(std::uint32_t& random)
{
    const std::uint32_t a = random * 389569705U + 0x47502932U;
    const std::uint32_t b = random * 1664525U + 1013904223U;
    random = a;
    return (static_cast<double>(a >> 1) * 0x1p-31 - 0.5) + (static_cast<double>(b >> 1) * 0x1p-31 - 0.5);
}

/// The rare cases of mashQuantise: ties, which go away from zero, saturation, and no number at all, which stays NaN.
double mashQuantiseAside(double v, double step);

/// The level next to v clamped to ±(1 − step/2): v is rounded to the nearest multiple of `step`, a power of two, and
/// ends at ±1.
inline double mashQuantise(double v, double step)
{
    const double shift = 0x1.8p52 * step; // adding it leaves no bits below the step, and costs two additions
    const double p = (v + shift) - shift;
    if (!(std::fabs(v - p) < 0.5 * step && std::fabs(p) <= 1.0)) [[unlikely]]
        return mashQuantiseAside(v, step);
    return p;
}

namespace mash_detail {

/// Moves the integrators of stage n on by input x and last output p; returns what is to be quantised.
template <int kIntegrators, bool kPlain>
inline double drive(const MashCoefficients& c, MashState& s, std::size_t n, double x, double p)
{
    const MashStage& k = c.stages[n];
    if constexpr (kPlain)
        s.inner[n] += x - p;
    else
        s.inner[n] = k.leak * s.inner[n] + k.gain1 * (x - k.feedback1 * p);
    if constexpr (kIntegrators == 1) return s.inner[n];
    if constexpr (kPlain)
        s.outer[n] += s.inner[n] - p;
    else
        s.outer[n] = k.leak * s.outer[n] + k.gain2 * (s.inner[n] - k.feedback2 * p);
    return s.outer[n];
}

inline double clampInput(double x)
{
    if (std::fabs(x) <= kMashInputLimit) [[likely]]
        return x;
    return std::isfinite(x) ? std::copysign(kMashInputLimit, x) : std::numeric_limits<double>::quiet_NaN();
}

/// NaN for a state that is no number any more, so that the caller hears of it.
inline double decide(double v)
{
    if (!std::isfinite(v)) [[unlikely]]
        return std::numeric_limits<double>::quiet_NaN();
    return v < 0.0 ? -1.0 : 1.0;
}

/// The second stage's output through (1 − z⁻¹)^k, k the integrators of a stage.
template <int kIntegrators>
inline double secondTerm(double p, const std::array<double, 2>& last)
{
    return kIntegrators == 1 ? p - last[0] : p - 2.0 * last[0] + last[1];
}

/// The third stage's through (1 − z⁻¹)^2k.
template <int kIntegrators>
inline double thirdTerm(double p, const std::array<double, 4>& last)
{
    if constexpr (kIntegrators == 1) return p - 2.0 * last[0] + last[1];
    return p - 4.0 * last[0] + 6.0 * last[1] - 4.0 * last[2] + last[3];
}

} // namespace mash_detail

/// One sample, full scale ±1, through the core.
///
/// @tparam kIntegrators  c.integrators
/// @return  the input and the stages' noise, within ±21, never a negative zero; not finite when the input or a state
///          was not, and the state is then to be cleared
template <int kIntegrators>
double mashStep(const MashCoefficients& c, MashState& s, double x)
{
    using namespace mash_detail;
    double d1 = 0.0, d2 = 0.0, d3 = 0.0;
    if (c.dither) {
        d1 = mashDither(s.random) * c.step1 * 0.5;
        d2 = mashDither(s.random) * c.step2 * 0.5;
        d3 = mashDither(s.random);
    }
    const double xc = clampInput(x);
    const double p1 = mashQuantise(drive<kIntegrators, false>(c, s, 0, xc, s.first) + d1, c.step1);
    const double p2 = mashQuantise(drive<kIntegrators, false>(c, s, 1, xc - p1, s.second[0]) + d2, c.step2);
    const double p3 = decide(drive<kIntegrators, false>(c, s, 2, xc - p1 - p2, s.third[0]) + d3);
    const double out = p1 - secondTerm<kIntegrators>(p2, s.second) + thirdTerm<kIntegrators>(p3, s.third);
    s.first = p1;
    s.second = {p2, s.second[0]};
    s.third = {p3, s.third[0], s.third[1], s.third[2]};
    return out;
}

/// The same numbers, faster, where isPlain(c) and s.settled().
template <int kIntegrators>
inline double mashPlainStep(const MashCoefficients& c, MashState& s, double x)
{
    using namespace mash_detail;
    const double xc = clampInput(x);
    const double p1 = mashQuantise(drive<kIntegrators, true>(c, s, 0, xc, s.first), c.step1);
    const double p2 = mashQuantise(drive<kIntegrators, true>(c, s, 1, xc - p1, s.second[0]), c.step2);
    const double out = p1 - secondTerm<kIntegrators>(p2, s.second);
    s.first = p1;
    s.second = {p2, s.second[0]};
    return out;
}

} // namespace tesk::modulator
