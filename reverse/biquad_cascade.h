// Equal biquads in a row, in place, for one channel or for two at once.
#pragma once

#include "reverse/decimator.h"

#include <cstddef>
#include <vector>

namespace tesk {

/// State of one channel: x1 x2 y1 y2 of every section, where the y of one are the x of the next.
class BiquadCascade {
public:
    BiquadCascade(const Biquad& section, unsigned sections);

    void run(double* x, std::size_t n);
    /// Two channels in the lanes of a vector; the same bits as `run` on either.
    static void runPair(BiquadCascade& a, double* xa, BiquadCascade& b, double* xb, std::size_t n);

private:
    Biquad section_;
    unsigned sections_;
    std::vector<double> past_; // two samples before each section and behind the last of its group
};

} // namespace tesk
