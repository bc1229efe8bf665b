// What is told about a noise transfer function: a table for other programs, pictures for people.
#pragma once

#include "analysis/canvas.h"
#include "engine/base/reporter.h"
#include "pipeline/kernel/error_feedback.h"

#include <complex>
#include <span>
#include <string>
#include <vector>

namespace tesk::analysis {

/// A cascade of second-order sections and the rate it runs at, above 20 Hz.
struct NtfView {
    std::span<const kernel::Sos> sections;
    double rateHz = 2822400.0;
};

/// |NTF| at a frequency of at most half the rate. Exact to rounding also where zeros at DC cancel.
double ntfGain(const NtfView& ntf, double hz);

struct ZerosAndPoles {
    std::vector<std::complex<double>> zeros, poles;
};

/// Of the sections one after the other; what falls together at z = 0 within a section is left out.
ZerosAndPoles zerosAndPoles(std::span<const kernel::Sos> sections);

/// ntf_response.txt: "Frequency(Hz)\tMagnitude\tLevel(dB)", then 512 lines from 10 Hz to half the rate in equal ratios.
///   Frequency  Hz, three decimals
///   Magnitude  |NTF|, ten significant digits, in exponent form
///   Level      20·log10(|NTF| + 1e-28), four decimals
std::string ntfResponseText(const NtfView& ntf);

/// The magnitude with the audio band marked; below it zeros and poles, the whole unit circle beside the surroundings of
/// z = 1 that hold the zeros.
void drawNtf(Canvas& canvas, const Rectangle& area, const NtfView& ntf);

/// Writes ntf_response.txt and ntf.svg; what cannot be written is warned of.
void writeNtfReports(const std::string& folder, const NtfView& ntf, Reporter& reporter);

} // namespace tesk::analysis
