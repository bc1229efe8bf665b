#include "modulator/mash_core.h"

#include <algorithm>

namespace tesk::modulator {
namespace {

MashCoefficients withoutThirdStage(int integrators, double step1)
{
    MashCoefficients c{.integrators = integrators, .step1 = step1, .stages = {}};
    c.stages[2].gain1 = c.stages[2].gain2 = 0.0;
    return c;
}

bool allOnes(const MashStage& s)
{
    return s.leak == 1.0 && s.gain1 == 1.0 && s.gain2 == 1.0 && s.feedback1 == 1.0 && s.feedback2 == 1.0;
}

} // namespace

MashCoefficients mash421() { return withoutThirdStage(2, 1.0 / 8); }
MashCoefficients mash222() { return withoutThirdStage(2, 1.0 / 2); }
MashCoefficients mash111() { return withoutThirdStage(1, 1.0 / 8); }

MashCoefficients mashCoefficients(int topology)
{
    if (topology == 222) return mash222();
    return topology == 111 ? mash111() : mash421();
}

bool isPlain(const MashCoefficients& c)
{
    const MashStage& third = c.stages[2];
    return allOnes(c.stages[0]) && allOnes(c.stages[1]) && third.gain1 == 0.0 && third.gain2 == 0.0 && !c.dither;
}

double mashQuantiseAside(double v, double step)
{
    if (!std::isfinite(v)) return std::numeric_limits<double>::quiet_NaN();
    const double limit = 1.0 - 0.5 * step;
    return std::round(std::clamp(v, -limit, limit) / step) * step;
}

} // namespace tesk::modulator
