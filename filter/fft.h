// The room's Fourier transform: complex, any length, the same bits for any number of threads.
#pragma once

#include <complex>
#include <cstddef>
#include <memory>
#include <vector>

namespace tesk {

/// e^(−2πi·index/length), length > 0. The angle is folded into [0, π/4] in integers before a sine is taken, so the
/// table's symmetries hold exactly and the axes are exactly 0 and ±1.
std::complex<double> unitRoot(std::size_t index, std::size_t length);

/// The discrete Fourier transform of one length, with its tables and work space; not for two threads at once.
///
/// Powers of two run as radix-4 Stockham passes, which need no bit reversal, and one radix-2 pass at the end when
/// log2 n is odd; from 2^15 points on the butterflies of a pass are shared among the `for_range` workers. Every other
/// length is a convolution with a chirp of the next sufficient power of two.
/// Sources: Stockham, High-speed convolution and correlation (1966); Bluestein, A linear filtering approach to the
/// computation of the discrete Fourier transform (1970).
class FftPlan {
public:
    /// Any n; 0 and 1 transform to themselves. Memory: 28 bytes per point for a power of two, up to 256 otherwise.
    explicit FftPlan(std::size_t n);
    FftPlan(FftPlan&&) noexcept;
    FftPlan& operator=(FftPlan&&) noexcept;
    ~FftPlan();

    std::size_t size() const { return n_; }

    /// data [n]: X[k] = Σ x[i]·e^(−2πi·ik/n), in place.
    void forward(std::complex<double>* data);
    /// data [n]: x[i] = Σ X[k]·e^(+2πi·ik/n), in place and unscaled: forward then inverse multiplies by n.
    void inverse(std::complex<double>* data);

private:
    struct Chirp;

    template <bool isInverse>
    void transform(std::complex<double>* data);
    void chirpForward(std::complex<double>* data);

    std::size_t n_;
    std::vector<std::complex<double>> roots_;   // e^(−2πi·k/n), k in [0, 3n/4)
    std::vector<std::complex<double>> scratch_; // [n], the other side of each pass
    std::unique_ptr<Chirp> chirp_;              // lengths that are no power of two
};

} // namespace tesk
