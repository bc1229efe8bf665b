// What is told about an oversampling filter: texts for other programs, pictures for people.
#pragma once

#include "analysis/plot.h"
#include "engine/base/reporter.h"

#include <span>
#include <string>
#include <vector>

namespace tesk::analysis {

/// A filter and where it runs.
struct FilterView {
    std::span<const double> coefficients; ///< [N], one per sample at `rate()`
    double sourceHz = 44100.0;            ///< sample rate of the source, above 0
    int oversampling = 64;                ///< at least 1

    double rate() const { return sourceHz * oversampling; }
};

/// freq_response.txt: "Freq(Hz)\tMagnitude\tResponse(dB)", then 512 lines from 0 Hz to half the rate, evenly spaced, of
/// |H| and 20·log10(|H| + 1e-28). H is the sum over the first 512 coefficients alone, which is meant.
std::string freqResponseText(const FilterView& filter);

/// fir_coeff.txt: "index value" of the first 512 coefficients.
std::string firCoefficientText(std::span<const double> coefficients);

/// FreqGain.txt: the magnitude of each of the N bins of the coefficients' transform, one a line.
std::string freqGainText(std::span<const double> coefficients);

/// |H| in dB: the pass band enlarged, and everything over a logarithmic axis. Both are taken from a transform at least
/// twice as long as the filter, so that ripples show between its bins.
std::vector<Plot> filterMagnitudePlots(const FilterView& filter);

/// The coefficients around the largest one, and all of them in dB below it; over ms. Nothing for an empty filter.
std::vector<Plot> filterImpulsePlots(const FilterView& filter);

/// Writes freq_response.txt and, when that could be opened, fir_coeff.txt. Files that cannot be written are warned of.
void writeDesignReports(const std::string& folder, const FilterView& filter, Reporter& reporter);

/// Writes FreqGain.txt, filter_magnitude.svg and filter_impulse.svg of the coefficients that the conversion will use.
void writeFinalFilterReports(const std::string& folder, const FilterView& filter, Reporter& reporter);

} // namespace tesk::analysis
