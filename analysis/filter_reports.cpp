#include "analysis/filter_reports.h"

#include "analysis/report_file.h"
#include "analysis/svg_canvas.h"
#include "filter/fft.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

namespace tesk::analysis {
namespace {

constexpr std::size_t kReportedTaps = 512;
constexpr int kReportLines = 512;
constexpr double kAudioEdgeHz = 20000.0;

double decibels(double magnitude) { return 20.0 * std::log10(magnitude + 1e-28); }

/// Bins 0 … length/2 of the zero-padded coefficients' transform.
std::vector<double> magnitudes(std::span<const double> coefficients, std::size_t length, std::size_t bins)
{
    std::vector<std::complex<double>> data(length);
    std::copy(coefficients.begin(), coefficients.end(), data.begin());
    FftPlan(length).forward(data.data());
    std::vector<double> out(bins);
    for (std::size_t k = 0; k < bins; ++k) out[k] = std::abs(data[k]);
    return out;
}

/// (Hz, dB) from DC to half the rate.
std::vector<Point> response(const FilterView& filter)
{
    constexpr std::size_t kFewestPoints = std::size_t{1} << 17; // some 20 Hz apart at 2.8 MHz
    const std::size_t length = std::bit_ceil(std::max(2 * filter.coefficients.size(), kFewestPoints));
    std::vector<Point> points;
    points.reserve(length / 2 + 1);
    for (double magnitude : magnitudes(filter.coefficients, length, length / 2 + 1)) {
        const double bin = static_cast<double>(points.size());
        points.push_back({filter.rate() * bin / static_cast<double>(length), decibels(magnitude)});
    }
    return points;
}

/// Up to the last point within `hz` and one more, so that a curve reaches the frame.
std::vector<Point> upTo(const std::vector<Point>& points, double hz)
{
    auto end = std::find_if(points.begin(), points.end(), [&](Point p) { return p.x > hz; });
    if (end != points.end()) ++end;
    return {points.begin(), end};
}

/// Range of dB in which the audio band fills most of the height; a hundredth of a dB at least.
Axis passbandLevels(const std::vector<Point>& points, double edgeHz)
{
    double low = points.front().y, high = low;
    for (const Point& p : points) {
        if (p.x > edgeHz) break;
        low = std::min(low, p.y);
        high = std::max(high, p.y);
    }
    const double span = std::max(high - low, 0.01), middle = (high + low) / 2;
    return {"gain, dB", middle - 1.1 * span, middle + 0.8 * span};
}

/// From above the largest gain to below the ordinary level of the upper half, its nulls left out.
Axis allLevels(const std::vector<Point>& points)
{
    std::vector<double> upper;
    double high = points.front().y;
    for (std::size_t i = 0; i < points.size(); ++i) {
        high = std::max(high, points[i].y);
        if (i >= points.size() / 2) upper.push_back(points[i].y);
    }
    const auto median = upper.begin() + static_cast<std::ptrdiff_t>(upper.size() / 2);
    std::nth_element(upper.begin(), median, upper.end());
    const double top = 20.0 * std::floor(high / 20.0 + 1.0);
    return {"gain, dB", std::clamp(20.0 * std::floor(*median / 20.0 - 2.0), top - 320.0, top - 60.0), top};
}

std::size_t largestTap(std::span<const double> h)
{
    return static_cast<std::size_t>(
        std::max_element(h.begin(), h.end(), [](double a, double b) { return std::abs(a) < std::abs(b); }) - h.begin());
}

/// Twenty samples of the source on either side of the largest coefficient.
Plot impulseCentre(const FilterView& filter)
{
    const std::span<const double> h = filter.coefficients;
    const auto peak = static_cast<std::ptrdiff_t>(largestTap(h)), size = std::ssize(h);
    const std::ptrdiff_t reach = std::min<std::ptrdiff_t>(20 * std::ptrdiff_t{filter.oversampling}, size);
    const double stepMs = 1e3 / filter.rate();
    Curve curve;
    double low = 0.0, high = 0.0;
    for (std::ptrdiff_t k = std::max<std::ptrdiff_t>(0, peak - reach); k < std::min(size, peak + reach + 1); ++k) {
        const double value = h[static_cast<std::size_t>(k)];
        curve.points.push_back({stepMs * static_cast<double>(k - peak), value});
        low = std::min(low, value);
        high = std::max(high, value);
    }
    const double margin = low < high ? 0.1 * (high - low) : 1.0;
    const double edge = stepMs * static_cast<double>(reach);
    Plot plot;
    plot.title = format("Impulse response around tap %td of %td", peak, size);
    plot.x = {"ms from the largest coefficient", -edge, edge};
    plot.y = {"coefficient", low - margin, high + margin};
    plot.curves.push_back(std::move(curve));
    return plot;
}

Plot impulseEnvelope(const FilterView& filter)
{
    const std::span<const double> h = filter.coefficients;
    const double largest = std::abs(h[largestTap(h)]), stepMs = 1e3 / filter.rate();
    Curve curve;
    curve.points.reserve(h.size());
    for (std::size_t k = 0; k < h.size(); ++k)
        curve.points.push_back({stepMs * static_cast<double>(k), decibels(std::abs(h[k]) / largest)});
    Plot plot;
    plot.title = "All coefficients";
    plot.x = {"time, ms", 0.0, stepMs * static_cast<double>(h.size())};
    plot.y = {"dB relative to the largest", -200.0, 10.0};
    plot.curves.push_back(std::move(curve));
    return plot;
}

std::string svgOf(const std::vector<Plot>& plots)
{
    SvgCanvas canvas(900.0, 760.0);
    drawStacked(canvas, {10.0, 10.0, 890.0, 750.0}, plots);
    return canvas.document();
}

} // namespace

std::string freqResponseText(const FilterView& filter)
{
    const auto h = filter.coefficients.first(std::min(filter.coefficients.size(), kReportedTaps));
    std::string out = "Freq(Hz)\tMagnitude\tResponse(dB)\n";
    for (int i = 0; i < kReportLines; ++i) {
        std::complex<double> sum;
        for (std::size_t n = 0; n < h.size(); ++n) { // f·n/rate = i·n/1022 turns
            const std::size_t turns = static_cast<std::size_t>(i) * n % (2 * (kReportLines - 1));
            sum += h[n] * unitRoot(turns, 2 * (kReportLines - 1));
        }
        const double magnitude = std::abs(sum);
        out +=
            format("%.1f\t%.6f\t%.2f\n", i * (filter.rate() / 2) / (kReportLines - 1), magnitude, decibels(magnitude));
    }
    return out;
}

std::string firCoefficientText(std::span<const double> coefficients)
{
    std::string out;
    for (std::size_t i = 0; i < std::min(coefficients.size(), kReportedTaps); ++i)
        out += format("%zu %f\n", i, coefficients[i]);
    return out;
}

std::string freqGainText(std::span<const double> coefficients)
{
    std::string out;
    for (double magnitude : magnitudes(coefficients, coefficients.size(), coefficients.size()))
        out += format("%3.8f\n", magnitude);
    return out;
}

std::vector<Plot> filterMagnitudePlots(const FilterView& filter)
{
    const std::vector<Point> points = response(filter);
    const double edge = std::min(kAudioEdgeHz, 0.4535 * filter.sourceHz); // 20 kHz of 44.1 kHz
    Plot detail, whole;
    detail.title = "Pass band";
    detail.x = {"frequency, Hz", 0.0, std::min(0.6 * filter.sourceHz, filter.rate() / 2)};
    detail.y = passbandLevels(points, edge);
    detail.curves.push_back({"", upTo(points, detail.x.high)});
    whole.title = format("Whole range, %zu taps at %.10g Hz", filter.coefficients.size(), filter.rate());
    whole.x = {"frequency, Hz", 10.0, filter.rate() / 2, true};
    whole.y = allLevels(points);
    whole.curves.push_back({"", points});
    whole.curves[0].points[0].x = std::min(whole.x.low, points[1].x / 2); // DC, where a logarithmic axis begins
    for (Plot* plot : {&detail, &whole}) plot->bands.push_back({20.0, kAudioEdgeHz, "audio band"});
    return {std::move(detail), std::move(whole)};
}

std::vector<Plot> filterImpulsePlots(const FilterView& filter)
{
    if (filter.coefficients.empty()) return {};
    return {impulseCentre(filter), impulseEnvelope(filter)};
}

void writeDesignReports(const std::string& folder, const FilterView& filter, Reporter& reporter)
{
    if (writeReportFile(inFolder(folder, "freq_response.txt"), freqResponseText(filter), reporter))
        writeReportFile(inFolder(folder, "fir_coeff.txt"), firCoefficientText(filter.coefficients), reporter);
}

void writeFinalFilterReports(const std::string& folder, const FilterView& filter, Reporter& reporter)
{
    writeReportFile(inFolder(folder, "FreqGain.txt"), freqGainText(filter.coefficients), reporter);
    writeReportFile(inFolder(folder, "filter_magnitude.svg"), svgOf(filterMagnitudePlots(filter)), reporter);
    writeReportFile(inFolder(folder, "filter_impulse.svg"), svgOf(filterImpulsePlots(filter)), reporter);
}

} // namespace tesk::analysis
