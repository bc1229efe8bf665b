// How loud a frequency has to be to sound as loud as 1 kHz.
#pragma once

#include <vector>

namespace tesk::modulator {

/// The sound pressure levels, dB, that sound equally loud to a listener in a free field.
///
/// From 20 Hz to 12.5 kHz the contour of ISO 226:2003, formula (1), at its 29 frequencies and smooth and monotone
/// between two of them. Above, the contour keeps its distance to the threshold of hearing: ISO 389-7 up to 18 kHz, and
/// then 15 dB more every kHz, as that threshold last rises. Below 20 Hz the level of 20 Hz.
class EqualLoudnessContour {
public:
    /// @param phon  level of the contour at 1 kHz, above 0 and at most 100; the standard is sure of 20 … 80
    /// Throws std::invalid_argument with a fixed text.
    explicit EqualLoudnessContour(double phon);

    /// @param hz  any frequency; finite for every finite one, and at no number the level of 20 Hz
    double levelDb(double hz) const;

private:
    std::vector<double> octaves_; // log2 of the frequencies, ascending
    std::vector<double> levels_;  // dB
    std::vector<double> slopes_;  // dB per octave
};

} // namespace tesk::modulator
