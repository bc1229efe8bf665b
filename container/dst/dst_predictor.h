// The prediction filters of a DST frame: least squares, then a few steps towards the filter whose signs are right most
// often, then nine-bit coefficients.
#pragma once

#include "container/dst/dst_filter_kernels.h"
#include "container/dst/dst_format.h"

#include <span>
#include <vector>

namespace tesk {

/// One channel of a frame in the two forms the kernels take, with the start history before it.
class DstSignal {
public:
    /// @param interleaved  bytesPerChannel · channels bytes, the earliest sample in the high bit
    void load(std::span<const std::uint8_t> interleaved, std::uint32_t channel, std::uint32_t channels);

    const std::int16_t* samples() const { return samples_.data() + kDstPast; } ///< +1 and -1
    const std::uint8_t* bits() const { return bits_.data() + kDstPast; }       ///< 1 and 0
    std::size_t count() const { return bits_.size() - kDstPast; }

private:
    std::vector<std::int16_t> samples_;
    std::vector<std::uint8_t> bits_ = std::vector<std::uint8_t>(kDstPast);
};

/// Coefficients -255..255, index 0 for the most recent sample; 1..128 of them, the last one not 0 unless it is alone.
/// (-256 is left to others: 128 of them would overflow the sixteen bits in which decoders may hold a prediction.)
using DstFilter = std::vector<std::int16_t>;

class DstPredictor {
public:
    DstPredictor(unsigned order, const DstFilterKernels& kernels) : order_(order), kernels_(kernels) {}

    /// Sets up and solves the equations of this signal's own filter. It must stay where it is until the next call.
    void analyse(const DstSignal& signal);

    /// The same for one filter that serves all the channels which these have analysed, at least one.
    void analyseTogether(std::span<const DstPredictor> channels);

    /// The filter with the least squared error. Its order is where more coefficients cost more than they bring.
    DstFilter leastSquares() const { return quantise(solution_); }

    /// The same with at most `order` coefficients.
    DstFilter leastSquares(std::size_t order) const;

    /// Whether the sound nearly repeats itself: large coefficients cancel, and nine bits are too few for them.
    bool delicate() const;

    /// The filter of the same order with the fewest decisions that are wrong or nearly so.
    DstFilter refined();

    /// About how many bits this predictor's signals take when the least squares filter of `other` predicts them.
    double expectedBits(const DstPredictor& other) const;

private:
    void setUpEquations();
    void factor();
    void eliminate(std::vector<double>& rightSide) const;
    void substituteBack(std::vector<double>& eliminated) const;
    std::size_t bestOrder(std::span<const double> eliminated) const;
    bool step(std::vector<double>& filter);
    double samples() const;
    double match(std::span<const double> filter) const;
    double energy(std::span<const double> filter) const;
    DstFilter quantise(std::span<const double> filter) const;
    double* row(std::size_t i) { return &matrix_[i * order_]; }
    const double* row(std::size_t i) const { return &matrix_[i * order_]; }

    unsigned order_;
    DstFilterKernels kernels_;
    std::vector<const DstSignal*> signals_;
    std::vector<double> target_; // Σ x[n]·x[n−1−i]
    std::vector<double> matrix_; // Σ x[n−1−i]·x[n−1−j] for j ≥ i, after factor() its elimination: row i over pivot i
    unsigned usable_ = 0; // leading rows that are not singular
    std::vector<double> solution_;
    std::vector<std::int64_t> sums_;
    std::vector<std::int16_t> prediction_;
    std::vector<std::int8_t> shortfall_;
};

} // namespace tesk
