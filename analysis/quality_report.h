// The report of one conversion as a PDF: its facts, its filter, its noise transfer function, its output's spectrum.
#pragma once

#include "analysis/filter_reports.h"
#include "analysis/ntf_reports.h"
#include "analysis/spectrum.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tesk::analysis {

/// Plain data, UTF-8. An empty part has no page: no coefficients, no sections, no points of the spectrum.
struct QualityReport {
    std::string title;
    std::vector<std::pair<std::string, std::string>> facts; ///< label and value, in the order of the page
    FilterView filter;
    NtfView ntf;
    std::vector<Point> spectrum;    ///< (Hz, dB) of the one-bit output, ascending
    std::vector<BandLevel> octaves; ///< the same in bands
};

/// An A4 document. Long values are broken into lines, and facts beyond a page go on the next one. Characters outside
/// code page 1252 show as '?'.
std::string qualityReportPdf(const QualityReport& report);

/// The facts and the bands as lines.
std::string qualityReportText(const QualityReport& report);

/// The output's path with ".report.pdf" in place of its extension.
std::string qualityReportPath(std::string_view outputPath);

/// Writes the report beside the output, and its text as "dsd_quality_final_report.txt"; false after a warning when one
/// of them cannot be written.
bool writeQualityReport(std::string_view outputPath, const QualityReport& report, Reporter& reporter);

} // namespace tesk::analysis
