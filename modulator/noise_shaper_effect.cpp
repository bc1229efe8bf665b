#include "modulator/noise_shaper_effect.h"

#include <algorithm>

namespace tesk::modulator {

std::vector<double> zerosForOrder(int order, const std::vector<double>& given)
{
    static constexpr double kLegendre[4][4] = {
        {0.7746}, {0.9062, 0.5385}, {0.9491, 0.7415, 0.4058}, {0.9682, 0.8360, 0.6134, 0.3243}};
    const auto count = static_cast<std::size_t>(std::clamp((order - 1) / 2, 1, 4));
    std::vector<double> zeros(kLegendre[count - 1], kLegendre[count - 1] + count);
    std::copy_n(given.begin(), std::min(count, given.size()), zeros.begin());
    return zeros;
}

} // namespace tesk::modulator
