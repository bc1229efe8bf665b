// Noise transfer functions from zeros in the audio band and real poles.
#pragma once

#include "pipeline/kernel/error_feedback.h"

#include <vector>

namespace tesk::modulator {

/// N(z)/D(z) of one noise shaper, both with leading coefficient 1.
class UnifiedNoiseShaper {
public:
    /// All poles at one place.
    /// @param zeros         fractions of the audio band, each in [0, 1]; n of them give order 2n + 1
    /// @param pole          its magnitude counts, below 1
    /// @param oversampling  sample rate over twice the audio band's edge, at least 1
    /// Throws std::invalid_argument with a fixed text.
    UnifiedNoiseShaper(const std::vector<double>& zeros, double pole, int oversampling);

    /// @param poles  as many as the order; magnitudes below 1
    /// Throws as the other.
    UnifiedNoiseShaper(const std::vector<double>& zeros, const std::vector<double>& poles, int oversampling);

    int order() const { return static_cast<int>(poles_.size()); }
    std::vector<double> numerator() const;                        ///< [order + 1], of z⁰, z⁻¹, …
    std::vector<double> denominator() const;                      ///< [order + 1]
    const std::vector<double>& angles() const { return angles_; } ///< of the zero pairs, rad; beside them one at DC
    const std::vector<double>& poles() const { return poles_; }   ///< in [0, 1)

    /// The same as a cascade: a first-order section with the zero at DC, then the pairs of zeros, each with the next
    /// two poles.
    std::vector<kernel::Sos> sections() const;

private:
    std::vector<double> angles_, poles_;
};

} // namespace tesk::modulator
