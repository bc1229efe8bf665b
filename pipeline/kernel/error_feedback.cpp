#include "pipeline/kernel/error_feedback.h"

#include <cmath>
#include <utility>

namespace tesk::kernel {

double stepCascade(const std::vector<Sos>& sections, double* s1, double* s2, double in)
{
    double sum = 0;
    for (std::size_t k = 0; k < sections.size(); ++k) {
        const Sos& s = sections[k];
        const double out = s.b0 * in + s1[k];
        s1[k] = s.b1 * in - s.a1 * out + s2[k];
        s2[k] = s.b2 * in - s.a2 * out;
        in = out;
        sum += s1[k];
    }
    return sum;
}

// Every constant of the block form is found by running the plain cascade on unit vectors.
ErrorFeedbackLoop::ErrorFeedbackLoop(std::vector<Sos> sections, const ErrorFeedbackSettings& settings)
    : sections_(std::move(sections)), settings_(settings)
{
    for (int c = 0; c < kColumns; ++c) {
        std::array<double, kStates> state{};
        double* s1 = state.data();
        double* s2 = s1 + kSections;
        const int unitError = c - kStates; // sample of the block that carries a unit error; negative: a unit state
        if (unitError < 0) state[static_cast<std::size_t>(c)] = 1.0;
        for (int i = 0; i < kBlock; ++i) {
            const double sum = stepCascade(sections_, s1, s2, i == unitError ? 1.0 : 0.0);
            if (unitError == 0 && i + 1 < kBlock) impulse_[static_cast<std::size_t>(i) + 1] = sum;
        }
        double* column = columns_.data() + static_cast<std::size_t>(c) * kRows;
        for (int i = 0; i < kStates; ++i) column[kBlock + i] = state[static_cast<std::size_t>(i)];
        // u[0] of the next block is the sum of its first states; each further row one silent sample later.
        for (int i = 0; i < kBlock; ++i) {
            double sum = 0;
            for (std::size_t k = 0; k < sections_.size(); ++k) sum += s1[k];
            column[i] = sum;
            stepCascade(sections_, s1, s2, 0.0);
        }
    }
}

void ErrorFeedbackState::restartIfBroken()
{
    double sum = feedback;
    for (double value : w) sum += value;
    for (double value : u) sum += value;
    if (std::isfinite(sum)) return;
    w.fill(0);
    u.fill(0);
    feedback = 0;
    ++restarts;
}

} // namespace tesk::kernel
