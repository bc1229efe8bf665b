// The hot loops at one vector level, as function pointers that a job takes once and keeps.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tesk::kernel {

class PhaseTable;
class ErrorFeedbackLoop;
struct ErrorFeedbackState;

/// No pointer is ever null. Functions of one table agree with the scalar table's within rounding (`peak` and
/// `pack` exactly); one table gives the same bits for any split of its input.
struct KernelTable {
    const char* level; ///< as the start-up line prints it

    /// Σ a[i]·b[i], i < n.
    double (*dot_int)(const double* a, const double* b, int n);
    /// The same; n above 0x7FFFFFFF counts as that.
    double (*dot_size)(const double* a, const double* b, std::size_t n);

    /// Outputs of the input positions [first, last): see upsample_range.h.
    void (*upsampleRange)(const PhaseTable& phases, const double* history, double* out, std::size_t first,
                          std::size_t last, const KernelTable& table);

    /// max |x[i]|, NaN not counted; 0 when n is 0.
    double (*peak)(const double* x, std::size_t n);

    /// Eight decisions a byte: bit 1 where x ≥ 0. x [8·bytes], out [bytes].
    void (*pack)(const double* x, std::uint8_t* out, std::size_t bytes, bool firstInLowBit);

    /// The quantiser loops of error_feedback.h, in place.
    void (*oneBit)(const ErrorFeedbackLoop& loop, ErrorFeedbackState& state, double* x, std::size_t n);
    void (*uniform)(const ErrorFeedbackLoop& loop, ErrorFeedbackState& state, double* x, std::size_t n);
};

} // namespace tesk::kernel
