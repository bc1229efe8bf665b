// The plain loops: the reference that reads like the formula.
#include "pipeline/kernel/error_feedback.h"
#include "pipeline/kernel/loops.h"

#include <cmath>

namespace tesk::kernel {
namespace {

template <class Quantise>
void plainLoop(const ErrorFeedbackLoop& loop, ErrorFeedbackState& state, double* x, std::size_t n, Quantise quantise)
{
    const ErrorFeedbackSettings& s = loop.settings();
    double* s1 = state.w.data();
    double* s2 = s1 + ErrorFeedbackLoop::kSections;
    for (std::size_t i = 0; i < n; ++i) {
        double d = 0;
        if (s.ditherAmplitude != 0) {
            state.generator = nextGenerator(state.generator);
            d = ditherOf(state.generator, s.ditherAmplitude);
        }
        const double v = d + x[i] + state.feedback;
        const double y = quantise(v);
        double e = (-y - d) * s.quantiserGain + v;
        if (s.clipThreshold > 0 && std::fabs(e) > s.clipThreshold) {
            e *= s.errorScale;
            for (int k = 0; k < ErrorFeedbackLoop::kStates; ++k) s1[k] *= s.stateDecay;
            state.noteClip(state.samples + i);
        }
        state.feedback = -stepCascade(loop.sections(), s1, s2, e);
        x[i] = y;
    }
    state.samples += n;
    state.restartIfBroken();
}

void plainIntegrators(const ErrorFeedbackLoop& loop, ErrorFeedbackState& state, double* x, std::size_t n)
{
    const ErrorFeedbackSettings& s = loop.settings();
    double* states = state.w.data();
    const std::size_t order = loop.integrators().size();
    for (std::size_t i = 0; i < n; ++i) {
        const double v = stepIntegrators(loop.integrators(), states, x[i]);
        x[i] = v >= 0 ? 1.0 : -1.0;
        states[order] = x[i];
        if (s.clipThreshold > 0 && std::fabs(v - x[i]) > s.clipThreshold) {
            for (std::size_t k = 0; k <= order; ++k) states[k] *= s.stateDecay;
            state.noteClip(state.samples + i);
        }
    }
    state.samples += n;
    state.restartIfBroken();
}

} // namespace

void oneBitScalar(const ErrorFeedbackLoop& loop, ErrorFeedbackState& state, double* x, std::size_t n)
{
    if (!loop.integrators().empty()) return plainIntegrators(loop, state, x, n);
    plainLoop(loop, state, x, n, [](double v) { return v >= 0 ? 1.0 : -1.0; });
}

void uniformScalar(const ErrorFeedbackLoop& loop, ErrorFeedbackState& state, double* x, std::size_t n)
{
    const double step = loop.settings().step;
    plainLoop(loop, state, x, n, [step](double v) { return std::nearbyint(v / step) * step; });
}

} // namespace tesk::kernel
