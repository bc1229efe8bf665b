// The PDF report of a conversion (--pdf-report): its facts, its filter, its noise, a spectrum of what was written.
#pragma once

#include "analysis/quality_report.h"
#include "pipeline/conversion_block.h"

#include <vector>

namespace tesk {

/// Keeps decisions of channel 1 from the middle of the recording until the report is written.
class QualityObserver final : public BlockObserver {
public:
    explicit QualityObserver(const Pcm2pdm& job);
    void see(const double* const* decisions, std::size_t samples, std::uint64_t position) override;
    /// Says how the noise was profiled and writes the report beside the output; a warning when that cannot be done.
    void report(Reporter& report) override;

private:
    void profileNoise(analysis::QualityReport& report, Reporter& reporter) const;

    const Pcm2pdm& job_;
    std::uint64_t first_ = 0; // decision that the segment begins with
    std::vector<double> kept_;
};

} // namespace tesk
