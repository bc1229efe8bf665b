// The PDF report of a conversion (--pdf-report): its facts, its filter, its noise, a spectrum of what was written.
#pragma once

#include "pipeline/conversion_block.h"

#include <vector>

namespace tesk {

/// Keeps decisions of channel 1 from the middle of the recording, and the taps, until the report is written.
class QualityObserver final : public BlockObserver {
public:
    /// @param taps  of the oversampling filter as it is used
    QualityObserver(const Pcm2pdm& job, std::vector<double> taps);
    void see(const double* const* decisions, std::size_t samples, std::uint64_t position) override;
    /// Writes "NAME.report.pdf" beside the output; a warning when that cannot be done.
    void report(Reporter& report) override;

private:
    const Pcm2pdm& job_;
    std::vector<double> taps_;
    std::uint64_t first_ = 0; // decision that the segment begins with
    std::vector<double> kept_;
};

} // namespace tesk
