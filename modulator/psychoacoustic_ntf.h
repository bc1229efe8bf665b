// One-bit noise transfer functions that leave the noise where it is heard least.
#pragma once

#include <vector>

namespace tesk::modulator {

/// What the loop pays for less noise in the band: more noise above it, and a loop nearer to its limit.
enum class PsychoacousticStrategy { conservative, balanced, aggressive };

/// Zeros and poles for a UnifiedNoiseShaper, and what to expect of them.
///
/// The two noise levels are the contour-weighted noise in the audio band, dB of a full-scale sine, the weight being 1
/// at 1 kHz, for a white error with a mean square of 1/3, uniform in ±1. Decisions have some 5 dB less, plain designs
/// as well: a one-bit quantiser's gain is above 1 for the small values it is mostly given.
struct PsychoacousticNtf {
    std::vector<double> zeros; ///< [(order − 1) / 2] fractions of the audio band, ascending; one more lies at DC
    std::vector<double> poles; ///< [order], all equal
    double peakDb;             ///< the largest gain at any frequency
    double weightedNoiseDb;
    double plainWeightedNoiseDb; ///< the same of Legendre zeros and the default pole
};

/// Places the zeros so that the noise weighted with the inverse of the equal-loudness contour is least.
///
/// @param order         3, 5, 7 or 9
/// @param phon          listening level of the contour, above 0 and at most 100
/// @param oversampling  64 … 4096, of twice the audio band
/// @param bandEdgeHz    where that band ends: 22.05 kHz, or 24 kHz in the family of 48 kHz
/// Throws std::invalid_argument with a fixed text.
///
/// All zeros go below 15 kHz, and the noise above it rises. Decisions of orders 3, 5, 7 and 9 (40 phon, balanced, 64
/// times) have 16, 27, 28 and 33 dB less weighted noise than the plain design's; without a weight they have up to
/// 20 kHz 0, 6, 17 and 22 dB more.
///
/// With s = 2 − 2·cos ω a pair of zeros at ±θ has the squared gain (s − s_θ)² and the zero at DC has s. The noise
/// ∫ w·s·Π(s − s_i)²/|D|² dω is least when Π(s − s_i) is the orthogonal polynomial of the weight w·s/|D|², so the zeros
/// are its roots: the optimum itself, without a search. For even weights they are those of Legendre's polynomials.
/// Source: G. Szegő, Orthogonal Polynomials (1939), chapter 3.
PsychoacousticNtf designPsychoacousticNtf(int order, double phon, PsychoacousticStrategy strategy, int oversampling,
                                          double bandEdgeHz = 22050);

} // namespace tesk::modulator
