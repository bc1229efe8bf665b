// What a polynomial in place of the taps saves, and what it costs.
#pragma once

#include "engine/base/reporter.h"
#include "filter/chebyshev_fir.h"
#include "filter/filter_plan.h"

#include <span>

namespace tesk {

/// Frequencies in Hz, levels in dB; a level of nothing at all is −600.
struct ChebyshevReport {
    int degree = 0, taps = 0;
    std::size_t stored = 0;      ///< coefficients of the polynomial
    double largestTapDb = 0.0;   ///< largest |Δh| over the designed filter's largest |h|
    double rmsTapDb = 0.0;       ///< root of the mean Δh², over the same
    double passbandHz = 0.0;     ///< where the pass band ends
    double passbandDb = 0.0;     ///< largest | |H| fitted over |H| designed, in dB | from 0 to there
    double stopbandHz = 0.0;     ///< the designed filter's first minimum from the stopband cutoff on
    double stopDesignedDb = 0.0; ///< largest |H| from there to half the rate, over the designed gain at DC
    double stopFittedDb = 0.0;   ///< the same of the fitted filter, over the same gain
    double boundDb = 0.0;        ///< Σ|Δh|/|Σh|: no frequency's gain moves by more
};

/// Compares the taps themselves and, on a grid at least four times finer than them, their responses: a lobe's top is
/// met within 0.2 dB up to 2^19 taps, within 0.7 dB beyond.
///
/// @param designed, fitted  [N] taps
/// @param fir               for its degree and size
/// @param plan              for the cutoffs and the rate
ChebyshevReport compareChebyshev(std::span<const double> designed, std::span<const double> fitted,
                                 const ChebyshevFir& fir, const FilterPlan& plan);

/// The record as report lines with the label "Poly".
void printChebyshev(const ChebyshevReport& report, Reporter& reporter);

/// Says how the automatic search ended, with the label "Poly".
void printSearch(const DegreeSearch& search, double targetDb, Reporter& reporter);

/// Alerts that a polynomial deviates too much to be used and the designed filter stays, and names the smallest degree
/// that would do.
void alertUnusable(double deviation, const ChebyshevFitter& fitter, Reporter& reporter);

} // namespace tesk
