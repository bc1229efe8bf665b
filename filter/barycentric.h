// A polynomial through given points, held and evaluated in the barycentric form, which stays accurate at any degree.
#pragma once

#include <cstddef>
#include <vector>

namespace tesk {

/// The polynomial of degree below n through n points (node, value).
///
/// p(x) = Σ w[k]·y[k]/(x − x[k]) / Σ w[k]/(x − x[k]) with w[k] = 1/Π (x[k] − x[j]), j ≠ k. The weights are common up to
/// a factor, so their exponents are counted apart and the largest weight is taken to [1, 2): thousands of nodes neither
/// overflow nor underflow.
/// Source: Berrut and Trefethen, Barycentric Lagrange interpolation (2004).
class BarycentricPolynomial {
public:
    /// @param nodes  strictly descending; the values become 0. n² multiplications.
    void setNodes(std::vector<double> nodes);

    std::size_t size() const { return nodes_.size(); }
    /// [size()]; a weight below 2^−900 of the largest is 0. The signs alternate, beginning with +.
    const std::vector<long double>& weights() const { return weights_; }
    /// [size()], for the caller to fill.
    std::vector<long double>& values() { return values_; }

    /// y[i] = p(x[i]) for `count` descending x; on a node the value itself, beside it the formula holds at any
    /// distance.
    void evaluate(const double* x, std::size_t count, double* y) const;
    /// The same in extended precision, many times slower: between nodes that stand far apart a polynomial magnifies
    /// what its values and weights are wrong by.
    void evaluateExactly(const double* x, std::size_t count, double* y) const;

private:
    std::vector<double> nodes_;
    std::vector<long double> weights_, values_;
};

} // namespace tesk
