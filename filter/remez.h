// The Parks-McClellan exchange: linear-phase filters whose weighted error ripples evenly, the least possible.
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/status.h"
#include "engine/base/stop_flag.h"

namespace tesk {

enum RemezType : int {
    remezBandPass = 0,       ///< symmetric: h[n] = h[N − 1 − n], response A(f)
    remezDifferentiator = 1, ///< antisymmetric, response +j·A(f); the weight is divided by f where the desired value
                             ///< is above 1e-4, which makes the relative error even
    remezHilbert = 2         ///< antisymmetric, response −j·A(f)
};

/// Minimises the largest weight·|desired − A(f)| over the bands; the responses are those of N taps delayed by
/// (N − 1)/2 samples.
///
/// @param taps           N, at least 3
/// @param h              [taps] the filter; untouched unless the exchange converges
/// @param bands          at least 1
/// @param edges          [2·bands] lower and upper edge of each band as fractions of the rate, ascending in [0, 0.5]
/// @param desired        [2·bands] wanted at each edge, a straight line in between
/// @param weights        [bands] of the error, positive
/// @param type           RemezType
/// @param gridDensity    points per half ripple, at least 1: the error is looked at every 0.5/(gridDensity·r), r being
///                       the number of cosines, N/2 or for an odd symmetric filter (N + 1)/2
/// @param maxIterations  at least 1
/// @return  PDM_REMEZ_INVALID_PARAM with the reason printed, also for bands that touch or do not ascend;
///          PDM_REMEZ_NOT_CONVERGED with a line printed; PDM_REMEZ_TOO_FEW_EXTREMALS, also for bands with fewer than
///          r + 1 grid points; PDM_REMEZ_TOO_MANY_EXTREMALS, more than 2r; kHostStopped when a stop request is waiting
///          (it stays for the caller to take)
///
/// All memory belongs to the call: designs may run side by side. Time grows with gridDensity·N².
/// Sources: Parks and McClellan, Chebyshev approximation for nonrecursive digital filters with linear phase (1972);
/// McClellan, Parks and Rabiner, A computer program for designing optimum FIR linear phase digital filters (1973).
PDM_ENCODING_STATUS remezExchange(int taps, double* h, int bands, const double* edges, const double* desired,
                                  const double* weights, int type, int gridDensity, int maxIterations, Reporter& report,
                                  StopFlag& stop);

} // namespace tesk
