#include "pipeline/kernel/error_feedback.h"

#include <algorithm>
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

double stepIntegrators(const std::vector<double>& coefficients, double* s, double x)
{
    const double y = s[coefficients.size()];
    for (std::size_t k = 0; k < coefficients.size(); ++k) {
        s[k] += (x - y) * coefficients[k];
        x = s[k];
    }
    return x;
}

ErrorFeedbackLoop::ErrorFeedbackLoop(std::vector<Sos> sections, const ErrorFeedbackSettings& settings)
    : sections_(std::move(sections)), settings_(settings)
{
    deriveBlocks();
}

ErrorFeedbackLoop ErrorFeedbackLoop::ofIntegrators(std::vector<double> coefficients,
                                                   const ErrorFeedbackSettings& settings)
{
    ErrorFeedbackLoop loop({}, settings);
    loop.integrators_ = std::move(coefficients);
    loop.deriveBlocks();
    return loop;
}

/// u of the next sample: what v lacks for want of the state's history.
double ErrorFeedbackLoop::feedbackOf(const double* state) const
{
    std::array<double, kStates> next;
    std::copy_n(state, next.size(), next.begin());
    if (!integrators_.empty()) return -stepIntegrators(integrators_, next.data(), 0.0);
    double sum = 0;
    for (std::size_t k = 0; k < sections_.size(); ++k) sum += state[k];
    return sum;
}

/// One sample of the loop with its quantiser replaced by the error that it makes; answers v, less the input's own part
/// where sections leave x alone.
double ErrorFeedbackLoop::advance(double* state, double x, double e) const
{
    if (integrators_.empty()) {
        const double v = -feedbackOf(state);
        stepCascade(sections_, state, state + kSections, e);
        return v;
    }
    const double v = stepIntegrators(integrators_, state, x);
    state[integrators_.size()] = v - e;
    return v;
}

// Every constant of the block form is found by running the plain loop on unit vectors.
void ErrorFeedbackLoop::deriveBlocks()
{
    const auto derive = [&](int unitState, int unitError, int unitInput, double* column) {
        std::array<double, kStates> state{};
        if (unitState >= 0) state[static_cast<std::size_t>(unitState)] = 1.0;
        for (int i = 0; i < kBlock; ++i) {
            const double v = advance(state.data(), i == unitInput ? 1.0 : 0.0, i == unitError ? 1.0 : 0.0);
            const auto at = static_cast<std::size_t>(i);
            if (unitError == 0) impulse_[at] = -v;
            if (unitInput == 0) inputImpulse_[kBlock + at] = v;
        }
        std::copy(state.begin(), state.end(), column + kBlock);
        // u[0] of the next block comes from the state; each further row one silent sample later.
        for (int i = 0; i < kBlock; ++i) {
            column[i] = feedbackOf(state.data());
            advance(state.data(), 0.0, 0.0);
        }
    };
    for (int k = 0; k < kStates; ++k) derive(k, -1, -1, columns_.data() + k * kRows);
    for (int k = 0; k < kBlock; ++k) derive(-1, k, -1, columns_.data() + (kStates + k) * kRows);
    if (integrators_.empty()) return;
    for (int k = 0; k < kBlock; ++k) derive(-1, -1, k, inputColumns_.data() + k * kRows);
}

void ErrorFeedbackState::restartIfBroken()
{
    double sum = feedback;
    for (double value : w) sum += value;
    for (double value : u) sum += value;
    for (double value : inputs) sum += value;
    if (std::isfinite(sum)) return;
    w.fill(0);
    u.fill(0);
    inputs.fill(0);
    feedback = 0;
    ++restarts;
}

} // namespace tesk::kernel
