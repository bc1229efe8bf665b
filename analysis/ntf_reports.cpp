#include "analysis/ntf_reports.h"

#include "analysis/plot.h"
#include "analysis/report_file.h"
#include "analysis/svg_canvas.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tesk::analysis {
namespace {

constexpr int kReportLines = 512;
constexpr int kPlotPoints = 4000;
constexpr double kLowestHz = 10.0;

using Roots = std::vector<std::complex<double>>;

double decibels(double magnitude) { return 20.0 * std::log10(magnitude + 1e-28); }

/// The i-th of `count` frequencies from 10 Hz to half the rate in equal ratios.
double frequency(int i, int count, double rateHz)
{
    return kLowestHz * std::pow(rateHz / 2 / kLowestHz, static_cast<double>(i) / (count - 1));
}

/// Roots of c0·z² + c1·z + c2; fewer than two when the leading coefficients are 0.
Roots quadraticRoots(double c0, double c1, double c2)
{
    if (c0 == 0.0) return c1 == 0.0 ? Roots{} : Roots{-c2 / c1};
    const double half = c1 / (2.0 * c0), product = c2 / c0, square = half * half - product;
    if (square < 0.0) return {{-half, std::sqrt(-square)}, {-half, -std::sqrt(-square)}};
    const double far = -(half + std::copysign(std::sqrt(square), half)); // the sum of equal signs cancels nothing
    return {far, far == 0.0 ? 0.0 : product / far};
}

void takeAway(Roots& roots, std::complex<double> root)
{
    const auto at = std::find(roots.begin(), roots.end(), root);
    if (at != roots.end()) roots.erase(at);
}

Plot magnitudePlot(const NtfView& ntf)
{
    Curve curve;
    double low = 0.0, high = 0.0;
    for (int i = 0; i < kPlotPoints; ++i) {
        const double hz = frequency(i, kPlotPoints, ntf.rateHz), db = decibels(ntfGain(ntf, hz));
        curve.points.push_back({hz, db});
        low = std::min(low, db);
        high = std::max(high, db);
    }
    Plot plot;
    plot.title = format("Noise transfer function at %.10g Hz, largest gain %.2f dB", ntf.rateHz, high);
    plot.x = {"frequency, Hz", kLowestHz, ntf.rateHz / 2, true};
    plot.y = {"gain, dB", std::max(20.0 * std::floor(low / 20.0), -320.0), 20.0 * std::floor(high / 20.0 + 1.0)};
    plot.curves.push_back(std::move(curve));
    plot.bands.push_back({20.0, 20000.0, "audio band"});
    return plot;
}

/// Half the side of a square around z = 1 that holds the zeros.
double zerosReach(const Roots& zeros)
{
    double farthest = 0.01;
    for (const auto& zero : zeros) farthest = std::max(farthest, std::abs(zero - 1.0));
    return std::min(1.3 * farthest, 2.0);
}

} // namespace

// With d = 1 − z⁻¹ a polynomial b0 + b1·z⁻¹ + b2·z⁻² is (b0 + b1 + b2) − (b1 + 2·b2)·d + b2·d², and d itself has a form
// without cancellation: 2·sin²(w/2) + j·sin(w).
double ntfGain(const NtfView& ntf, double hz)
{
    const double w = 2.0 * std::numbers::pi * hz / ntf.rateHz, s = std::sin(w / 2);
    const std::complex<double> d(2.0 * s * s, std::sin(w));
    const auto polynomial = [&](double c0, double c1, double c2) {
        return (c0 + c1 + c2) - (c1 + 2.0 * c2) * d + c2 * d * d;
    };
    double gain = 1.0;
    for (const kernel::Sos& section : ntf.sections)
        gain *= std::abs(polynomial(section.b0, section.b1, section.b2)) /
                std::abs(polynomial(1.0, section.a1, section.a2));
    return gain;
}

ZerosAndPoles zerosAndPoles(std::span<const kernel::Sos> sections)
{
    ZerosAndPoles all;
    for (const kernel::Sos& s : sections) {
        Roots zeros = quadraticRoots(s.b0, s.b1, s.b2), poles = quadraticRoots(1.0, s.a1, s.a2);
        const auto atOrigin =
            std::min(std::count(zeros.begin(), zeros.end(), 0.0), std::count(poles.begin(), poles.end(), 0.0));
        for (std::ptrdiff_t i = 0; i < atOrigin; ++i) {
            takeAway(zeros, 0.0);
            takeAway(poles, 0.0);
        }
        all.zeros.insert(all.zeros.end(), zeros.begin(), zeros.end());
        all.poles.insert(all.poles.end(), poles.begin(), poles.end());
    }
    return all;
}

std::string ntfResponseText(const NtfView& ntf)
{
    std::string out = "Frequency(Hz)\tMagnitude\tLevel(dB)\n";
    for (int i = 0; i < kReportLines; ++i) {
        const double hz = frequency(i, kReportLines, ntf.rateHz), gain = ntfGain(ntf, hz);
        out += format("%.3f\t%.9e\t%.4f\n", hz, gain, decibels(gain));
    }
    return out;
}

void drawNtf(Canvas& canvas, const Rectangle& area, const NtfView& ntf)
{
    const ZerosAndPoles roots = zerosAndPoles(ntf.sections);
    const double middle = (area.left + area.right) / 2;
    const double split = area.bottom - std::min(area.height() / 2, (area.right - area.left) / 2);
    drawPlot(canvas, {area.left, area.top, area.right, split}, magnitudePlot(ntf));
    drawPoleZero(canvas, {area.left, split, middle, area.bottom},
                 {"Zeros (rings), poles (crosses)", roots.zeros, roots.poles, 0.0, 1.25});
    drawPoleZero(canvas, {middle, split, area.right, area.bottom},
                 {"Around z = 1", roots.zeros, roots.poles, 1.0, zerosReach(roots.zeros)});
}

void writeNtfReports(const std::string& folder, const NtfView& ntf, Reporter& reporter)
{
    writeReportFile(inFolder(folder, "ntf_response.txt"), ntfResponseText(ntf), reporter);
    SvgCanvas canvas(900.0, 900.0);
    drawNtf(canvas, {10.0, 10.0, 890.0, 890.0}, ntf);
    writeReportFile(inFolder(folder, "ntf.svg"), canvas.document(), reporter);
}

} // namespace tesk::analysis
