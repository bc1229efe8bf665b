// An FIR filter as one polynomial over its taps: far fewer numbers to store, the same taps to run.
//
// The taps stand at x = (2n − (N − 1))/(N − 1) in [−1, 1], and h[n] is fitted by Σ c_k·T_k(x). Equidistant points allow
// no interpolation of high degree, and the recurrence of the polynomials that are orthogonal on them loses its
// orthogonality beyond a degree of about 2·√N. So the fit is a least-squares one in the Chebyshev basis itself, with
// each tap weighted by the arc acos(x) it covers: in that product the T_k are nearly orthogonal as long as the taps
// resolve them, and the error is spread evenly instead of piling up at both ends. Products of Chebyshev polynomials are
// sums of Chebyshev polynomials, so the normal equations need the sums of T_0 … T_d alone; points and weights mirror
// about 0, so they fall apart into one system for even and one for odd k. A ridge of 1e-13 keeps what the taps do not
// resolve (high degrees near the ends) from growing, and refinement against the taps takes back what the ridge and the
// squared condition number cost.
// Sources: Mason and Handscomb, Chebyshev Polynomials (2003), chapters 2 and 4; Björck, Numerical Methods for Least
// Squares Problems (1996), section 2.9 (refinement).
#pragma once

#include "engine/base/result.h"

#include <cstddef>
#include <span>
#include <vector>

namespace tesk {

inline constexpr int kLeastPolyDegree = 4;
inline constexpr int kMostPolyDegree = 1024;
inline constexpr int kLeastAutoDegree = 16;     ///< where the automatic search begins
inline constexpr double kAutoTargetDb = -140.0; ///< what it looks for
inline constexpr double kUsableDb = -60.0;      ///< the largest deviation of a fit that replaces its design

/// Σ c_k·T_k(x) on the points of `taps` taps.
struct ChebyshevFir {
    int taps = 0;                     ///< N
    int degree = 0;                   ///< at most N − 1
    bool symmetric = false;           ///< odd k are absent: the taps mirror exactly
    std::vector<double> coefficients; ///< [chebyshevCount]: c_0, c_1, c_2 …; symmetric: c_0, c_2, c_4 …
};

/// How many coefficients a polynomial of this degree stores: degree + 1, or degree/2 + 1 when symmetric.
std::size_t chebyshevCount(int degree, bool symmetric);

/// The N taps, by Clenshaw's recurrence. The same coefficients give the same bits anywhere; a symmetric polynomial
/// gives taps that mirror to the last bit.
std::vector<double> evaluateChebyshev(const ChebyshevFir& fir);

/// Fits one filter at any degree: sums and factors are made once, for the highest degree.
class ChebyshevFitter {
public:
    /// @param taps        [N] any shape; taps that mirror exactly get a symmetric polynomial
    /// @param mostDegree  4 … 1024; of N taps N − 1 at most are used
    /// @return  DSD_ERROR_ASSERT for fewer than 5 taps, a degree out of range or a tap that is not finite
    static Result<ChebyshevFitter, PDM_ENCODING_STATUS> create(std::span<const double> taps, int mostDegree);

    int mostDegree() const { return mostDegree_; }
    const std::vector<double>& taps() const { return taps_; }

    /// The fit of this degree, brought within 0 and mostDegree().
    ChebyshevFir fit(int degree) const;

    /// The points with x ≥ 0, outermost first, filled up with points of no weight to whole blocks.
    struct Points {
        std::vector<double> x, y; ///< y = 2x² − 1: T_2m(x) = T_m(y)
        std::vector<double> weights;
    };

private:
    /// The even or the odd half of the taps and the factor of its normal equations.
    struct Half {
        bool odd = false;
        std::size_t order = 0;      ///< coefficients at the highest degree
        std::vector<double> values; ///< (h[N−1−i] ± h[i])/2
        std::vector<double> factor; ///< Cholesky's, lower, by rows [order²]; lower degrees are its leading blocks
    };

    ChebyshevFitter(std::span<const double> taps, int mostDegree);
    Half makeHalf(bool odd, std::span<const double> moments) const;
    std::vector<double> solve(const Half& half, std::size_t count) const;

    std::vector<double> taps_;
    int mostDegree_;
    bool symmetric_;
    Points points_;
    std::vector<Half> halves_; ///< even; and odd unless symmetric
};

/// Σ|Δh| / |Σh|: no frequency's gain deviates by more than this part of the gain at DC. Infinite without gain at DC.
double chebyshevDeviation(std::span<const double> designed, std::span<const double> fitted);

/// Whether a fit may stand in for the design: a deviation of at most kUsableDb; never when it is not a number.
bool isUsable(double deviation);

struct DegreeSearch {
    ChebyshevFir fir;
    double deviation = 0.0; ///< as chebyshevDeviation gives it
    bool reached = false;   ///< false: no degree reaches the target, and this is the best of those tried
};

/// The smallest degree from `leastDegree` to fitter.mostDegree() whose deviation is below `targetDb` (−140: 1e-7), by
/// doubling and bisection. That takes the deviation to fall with the degree: the weighted square error does by
/// construction, the sum of magnitudes does but for ripples that may cost a degree or two.
DegreeSearch searchDegree(const ChebyshevFitter& fitter, int leastDegree, double targetDb);

} // namespace tesk
