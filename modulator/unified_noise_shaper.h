// Noise transfer functions from zeros in the audio band and real poles.
#pragma once

#include <vector>

namespace tesk::modulator {

/// N(z)/D(z) of one noise shaper, both with leading coefficient 1.
class UnifiedNoiseShaper {
public:
    /// @param zeros         fractions of the audio band, each in [0, 1]; n of them give order 2n + 1
    /// @param pole          its magnitude counts, below 1
    /// @param oversampling  sample rate over twice the audio band's edge, at least 1
    /// Throws std::invalid_argument with a fixed text.
    UnifiedNoiseShaper(const std::vector<double>& zeros, double pole, int oversampling);

    int order() const { return static_cast<int>(numerator_.size()) - 1; }
    const std::vector<double>& numerator() const { return numerator_; }     ///< [order + 1]
    const std::vector<double>& denominator() const { return denominator_; } ///< [order + 1]

private:
    std::vector<double> numerator_, denominator_;
};

} // namespace tesk::modulator
