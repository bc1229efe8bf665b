// Quantisers with error feedback: the loop that turns samples into one-bit decisions (or 16-bit words) and
// pushes its own error out of the audio band.
//
// The plain loop, one sample x at a time, with the cascade H(z) of second-order sections:
//     v = d + x + fb            d: dither
//     y = quantise(v)
//     e = v − g·(y + d)         |e| beyond the clip threshold: e and all states are scaled down
//     run e through the cascade in transposed direct form II
//     fb = −Σ s1                so that v = d + x − (H − 1) e: the error comes out shaped by H
//
// The vector loops compute the same numbers in blocks of eight. The cascade is linear, so over a block the
// feedback is a fixed matrix times the state at its start plus the cascade's impulse response times the block's
// own errors; only the quantiser stays in sequence:
//
//     u = Z·w                   w: the 16 states and the 8 errors of the previous block
//     v[i] = d[i] + x[i] − u[i] − Σ_{j<i} k[i−j]·e[j]
//
// A sample then waits for one multiply-add, one select and one addition. The rounding differs from the plain
// loop's, so the decisions part after some ten thousand samples; noise and level are the same.
//
// The cascade of integrators with distributed feedback, another plain loop, is linear beside its quantiser too:
//     s1 += (x − y)·a1;  s_k += (s_(k−1) − y)·a_k;  v = s_N;  y = sign(v)        y on the right: the decision before
// With y = v − e its states are driven by the errors and by x, so the same blocks serve it, with eight columns more for
// the input and the input's own impulse response in v.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tesk::kernel {

/// (b0 + b1 z⁻¹ + b2 z⁻²) / (1 + a1 z⁻¹ + a2 z⁻²). A first-order section has b2 = a2 = 0.
struct Sos {
    double b0, b1, b2, a1, a2;
};

/// How the loop quantises and guards itself. A threshold of 0 switches the guard off.
struct ErrorFeedbackSettings {
    double quantiserGain = 1.0;
    double clipThreshold = 0.0;
    double errorScale = 1.0;
    double stateDecay = 1.0;
    double ditherAmplitude = 0.0;
    double step = 0.0; ///< of the uniform quantiser
};

/// The constants of one loop; immutable, shared by all channels.
class ErrorFeedbackLoop {
public:
    static constexpr int kSections = 8; ///< at most
    static constexpr int kBlock = 8;
    static constexpr int kStates = 2 * kSections; ///< first states, then second states
    static constexpr int kColumns = kStates + kBlock;
    static constexpr int kRows = kBlock + kStates; ///< next block's u, then the next state

    /// At most kSections sections, each with b0 = 1.
    ErrorFeedbackLoop(std::vector<Sos> sections, const ErrorFeedbackSettings& settings);
    /// The cascade of integrators with coefficients a1 … aN, N at most 11. A quantiser gain other than 1 and dither
    /// are not for it.
    static ErrorFeedbackLoop ofIntegrators(std::vector<double> coefficients, const ErrorFeedbackSettings& settings);

    const std::vector<Sos>& sections() const { return sections_; }
    const std::vector<double>& integrators() const { return integrators_; } ///< none: a cascade of sections
    const ErrorFeedbackSettings& settings() const { return settings_; }
    /// [kColumns][kRows]: column c is what a unit in w[c] leaves in u and in the state of the next block.
    const double* columns() const { return columns_.data(); }
    /// impulse()[m], 1 ≤ m < kBlock: Σ s1 m samples after a unit error.
    const double* impulse() const { return impulse_.data(); }
    /// Only of integrators. [kBlock][kRows]: the same as columns() for a unit in the input.
    const double* inputColumns() const { return inputColumns_.data(); }
    /// inputImpulse()[m], 0 ≤ m < kBlock: what v holds of an input m samples ago; zeros in the eight places before it.
    const double* inputImpulse() const { return inputImpulse_.data() + kBlock; }

private:
    void deriveBlocks();
    double feedbackOf(const double* state) const;
    double advance(double* state, double x, double e) const;

    std::vector<Sos> sections_;
    std::vector<double> integrators_;
    ErrorFeedbackSettings settings_;
    alignas(64) std::array<double, static_cast<std::size_t>(kColumns) * kRows> columns_{};
    std::array<double, kBlock> impulse_{};
    alignas(64) std::array<double, static_cast<std::size_t>(kBlock) * kRows> inputColumns_{};
    std::array<double, 2 * kBlock> inputImpulse_{};
};

/// One channel's loop between two calls. A state belongs to the table it was first run with.
struct ErrorFeedbackState {
    static constexpr std::uint64_t kSeed = 0x9e3779b95f6c7906;

    alignas(64) std::array<double, ErrorFeedbackLoop::kColumns> w{}; ///< states, then this block's errors
    alignas(64) std::array<double, ErrorFeedbackLoop::kBlock> u{};   ///< feedback sums from the state alone
    std::array<double, ErrorFeedbackLoop::kBlock> inputs{};          ///< of this block; only of integrators
    int position = 0;                                                ///< in the block of eight
    double feedback = 0;                                             ///< fb of the plain loop
    std::uint64_t generator = kSeed;
    std::uint64_t samples = 0;   ///< seen so far
    std::uint64_t clips = 0;     ///< how often the guard acted
    std::uint64_t firstClip = 0; ///< sample of the first time
    std::uint64_t restarts = 0;  ///< how often a state that was no number any more was cleared

    void noteClip(std::uint64_t at)
    {
        if (clips++ == 0) firstClip = at;
    }
    /// Clears the filter when it no longer holds finite numbers, so that one bad block does not end the music.
    void restartIfBroken();
};

/// One step of the dither generator: a 64-bit linear congruential generator (Knuth's MMIX constants), its upper
/// 53 bits as u in [0, 1).
constexpr std::uint64_t nextGenerator(std::uint64_t state)
{
    return state * 6364136223846793005ULL + 1442695040888963407ULL;
}

/// The generator's state as dither in [−amplitude, amplitude).
inline double ditherOf(std::uint64_t state, double amplitude)
{
    const double u = static_cast<double>(state >> 11) * 0x1p-53;
    return (2.0 * u - 1.0) * amplitude;
}

/// One sample through the integrators; answers v. The decision before it stands in s[N].
double stepIntegrators(const std::vector<double>& coefficients, double* s, double x);

/// One sample through the cascade, in transposed direct form II; answers Σ s1 after it.
double stepCascade(const std::vector<Sos>& sections, double* s1, double* s2, double in);

} // namespace tesk::kernel
