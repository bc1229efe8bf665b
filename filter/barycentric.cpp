#include "filter/barycentric.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tesk {
namespace {

constexpr int kLeastExponent = -900; // beside the largest term nothing smaller counts, and denormals are slow
constexpr std::size_t kLanes = 8;    // points side by side: independent sums, so the compiler may use vectors

/// mantissa·2^exponent, of any size.
struct WideNumber {
    long double mantissa = 1.0L;
    int exponent = 0;

    void normalise()
    {
        int shift = 0;
        mantissa = std::frexp(mantissa, &shift);
        exponent += shift;
    }
};

/// Π (nodes[k] − nodes[j]) over all j but k. The curve is only as smooth as its weights are exact, and a thousand
/// roundings to double would show where it should vanish.
WideNumber productOfDistances(const std::vector<double>& nodes, std::size_t k)
{
    WideNumber product;
    for (std::size_t j = 0; j < nodes.size(); ++j) {
        if (j != k) product.mantissa *= static_cast<long double>(nodes[k]) - nodes[j];
        if (j % 8 == 7) product.normalise(); // eight factors, the least of them some 1e-16, fit in between
    }
    product.normalise();
    return product;
}

} // namespace

void BarycentricPolynomial::setNodes(std::vector<double> nodes)
{
    nodes_ = std::move(nodes);
    values_.assign(nodes_.size(), 0.0L);
    weights_.assign(nodes_.size(), 0.0L);
    std::vector<WideNumber> products;
    products.reserve(nodes_.size());
    for (std::size_t k = 0; k < nodes_.size(); ++k) products.push_back(productOfDistances(nodes_, k));
    int least = products.empty() ? 0 : products[0].exponent;
    for (const WideNumber& product : products) least = std::min(least, product.exponent);
    for (std::size_t k = 0; k < products.size(); ++k) {
        const int exponent = least - products[k].exponent;
        if (exponent > kLeastExponent) weights_[k] = std::ldexp(1.0L / products[k].mantissa, exponent);
    }
}

void BarycentricPolynomial::evaluate(const double* x, std::size_t count, double* y) const
{
    const std::vector<double> weights(weights_.begin(), weights_.end()), values(values_.begin(), values_.end());
    for (std::size_t first = 0; first < count; first += kLanes) {
        double point[kLanes], numerator[kLanes] = {}, denominator[kLanes] = {};
        for (std::size_t lane = 0; lane < kLanes; ++lane) point[lane] = x[std::min(first + lane, count - 1)];
        for (std::size_t k = 0; k < nodes_.size(); ++k) {
            const double node = nodes_[k], weight = weights[k], value = values[k];
            for (std::size_t lane = 0; lane < kLanes; ++lane) {
                const double term = weight / (point[lane] - node);
                numerator[lane] += term * value;
                denominator[lane] += term;
            }
        }
        for (std::size_t lane = 0; lane < std::min(kLanes, count - first); ++lane)
            y[first + lane] = numerator[lane] / denominator[lane];
    }
    // On a node the sums are infinite. Both lists descend.
    for (std::size_t i = 0, k = 0; i < count; ++i) {
        while (k < nodes_.size() && nodes_[k] > x[i]) ++k;
        if (k < nodes_.size() && nodes_[k] == x[i]) y[i] = values[k];
    }
}

void BarycentricPolynomial::evaluateExactly(const double* x, std::size_t count, double* y) const
{
    for (std::size_t i = 0; i < count; ++i) {
        long double numerator = 0.0L, denominator = 0.0L;
        for (std::size_t k = 0; k < nodes_.size(); ++k) {
            const long double distance = static_cast<long double>(x[i]) - nodes_[k];
            if (distance == 0.0L) {
                numerator = values_[k];
                denominator = 1.0L;
                break;
            }
            numerator += weights_[k] * values_[k] / distance;
            denominator += weights_[k] / distance;
        }
        y[i] = static_cast<double>(numerator / denominator);
    }
}

} // namespace tesk
