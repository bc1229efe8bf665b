#include "modulator/pole_spread.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace tesk::modulator {
namespace {

constexpr double kHalfWidth = 0.01; // of ln(1 + pole)

void checkOrder(int order)
{
    if (order < 1) throw std::invalid_argument("Pole count must be at least 1");
}

} // namespace

std::vector<double> spreadPoles(double pole, int order)
{
    checkOrder(order);
    const double radius = std::fabs(pole);
    if (!(radius < 1.0)) throw std::invalid_argument("Pole magnitude must be in [0.0, 1.0)");
    // Close to either end of the range the spread goes half of the way to it.
    const double room = std::min(std::log1p(radius), std::log(2 / (1 + radius)));
    const double halfWidth = std::min(kHalfWidth, room / 2);
    std::vector<double> poles;
    for (int k = 0; k < order; ++k) {
        const double t = order > 1 ? 2.0 * k / (order - 1) - 1 : 0.0;
        poles.push_back((1 + radius) * std::exp(halfWidth * t) - 1);
    }
    return poles;
}

std::vector<double> tilePoles(const std::vector<double>& list, int order)
{
    checkOrder(order);
    if (list.empty()) throw std::invalid_argument("Pole list cannot be empty");
    std::vector<double> poles;
    for (std::size_t k = 0; k < static_cast<std::size_t>(order); ++k) poles.push_back(list[k % list.size()]);
    return poles;
}

} // namespace tesk::modulator
