#include "analysis/quality_report.h"

#include "analysis/helvetica.h"
#include "analysis/pdf_canvas.h"
#include "analysis/report_file.h"
#include "engine/base/paths.h"
#include "engine/base/utf8.h"

#include <algorithm>
#include <cmath>

namespace tesk::analysis {
namespace {

// ISO 216 A4 in points.
constexpr double kPageWidth = 595.28, kPageHeight = 841.89;
constexpr Rectangle kText{56.0, 56.0, kPageWidth - 56.0, kPageHeight - 60.0};
constexpr Rectangle kPlots{34.0, 84.0, kPageWidth - 34.0, kPageHeight - 60.0};
constexpr double kTitleSize = 18.0, kHeadingSize = 14.0, kFactSize = 10.0, kFootSize = 8.0, kLeading = 16.0;
constexpr double kValueLeft = kText.left + 160.0;
constexpr Colour kPaleInk{110, 110, 110};

/// As many characters as fit, at least one; a line ends behind its last space where it has one.
std::string_view lineFrom(std::string_view text, double width)
{
    std::size_t fits = 0, space = 0;
    while (fits < text.size()) {
        const std::size_t next = fits + std::max<std::size_t>(utf8At(text, fits).bytes, 1);
        if (fits > 0 && textWidth(text.substr(0, next), kFactSize) > width) return text.substr(0, space ? space : fits);
        if (text[fits] == ' ') space = next;
        fits = next;
    }
    return text;
}

std::vector<std::string_view> wrapped(std::string_view text, double width)
{
    std::vector<std::string_view> lines;
    do {
        lines.push_back(lineFrom(text, width));
        text.remove_prefix(lines.back().size());
    } while (!text.empty());
    return lines;
}

class ReportPages {
public:
    explicit ReportPages(const QualityReport& report) : report_(report), canvas_(kPageWidth, kPageHeight, report.title)
    {
        double y = kText.top;
        for (std::string_view line : wrapped(report.title, kText.width() * kFactSize / kTitleSize)) {
            y += 1.2 * kTitleSize;
            canvas_.text({kText.left, y}, line, {kTitleSize});
        }
        canvas_.line({kText.left, y + 10.0}, {kText.right, y + 10.0}, {kPaleInk, 0.8});
        foot();
        factTop_ = y + 10.0;
    }

    void facts()
    {
        double y = factTop_ + 8.0;
        for (const auto& [label, value] : report_.facts) {
            auto labels = wrapped(label, kValueLeft - kText.left - 12.0);
            auto values = wrapped(value, kText.right - kValueLeft);
            labels.resize(std::max(labels.size(), values.size()));
            values.resize(labels.size());
            for (std::size_t i = 0; i < labels.size(); ++i) {
                if (y + kLeading > kText.bottom) {
                    newPage();
                    y = kText.top;
                }
                y += kLeading;
                canvas_.text({kText.left, y}, labels[i], {kFactSize, Anchor::start, kPaleInk});
                canvas_.text({kValueLeft, y}, values[i], {kFactSize});
            }
        }
    }

    /// A page with a heading; `draw` fills its area.
    template <class Draw>
    void page(const char* heading, const Draw& draw)
    {
        newPage();
        canvas_.text({kText.left, kText.top + kHeadingSize}, heading, {kHeadingSize});
        draw(canvas_, kPlots);
    }

    std::string document() const { return canvas_.document(); }

private:
    void newPage()
    {
        canvas_.nextPage();
        foot();
    }
    void foot()
    {
        canvas_.text({kText.right, kPageHeight - 32.0}, format("page %zu", canvas_.pageCount()),
                     {kFootSize, Anchor::end, kPaleInk});
    }

    const QualityReport& report_;
    PdfCanvas canvas_;
    double factTop_ = 0.0;
};

/// Everything over a logarithmic axis, and the audio band over a linear one.
std::vector<Plot> spectrumPlots(const std::vector<Point>& points)
{
    double low = 0.0, high = -400.0, lastHz = 0.0;
    for (const Point& p : points) {
        if (!std::isfinite(p.x) || !std::isfinite(p.y)) continue;
        low = std::min(low, p.y);
        high = std::max(high, p.y);
        lastHz = std::max(lastHz, p.x);
    }
    const double top = 20.0 * std::floor(high / 20.0 + 1.0);
    Plot plot;
    plot.title = "Spectrum of the one-bit output";
    plot.x = {"frequency, Hz", 10.0, std::max(lastHz, 100.0), true};
    plot.y = {"level, dB", std::clamp(20.0 * std::floor(low / 20.0), top - 320.0, top - 40.0), top};
    plot.curves.push_back({"", points});
    plot.bands.push_back({20.0, 20000.0, "audio band"});
    Plot audio = plot;
    audio.title = "The same below 24 kHz";
    audio.x = {plot.x.label, 0.0, std::min(plot.x.high, 24000.0)};
    return {std::move(plot), std::move(audio)};
}

} // namespace

std::string qualityReportPdf(const QualityReport& report)
{
    ReportPages pages(report);
    pages.facts();
    if (!report.filter.coefficients.empty()) {
        pages.page("Oversampling filter: magnitude", [&](Canvas& canvas, const Rectangle& area) {
            drawStacked(canvas, area, filterMagnitudePlots(report.filter));
        });
        pages.page("Oversampling filter: impulse response", [&](Canvas& canvas, const Rectangle& area) {
            drawStacked(canvas, area, filterImpulsePlots(report.filter));
        });
    }
    if (!report.ntf.sections.empty())
        pages.page("Modulator: noise transfer function",
                   [&](Canvas& canvas, const Rectangle& area) { drawNtf(canvas, area, report.ntf); });
    if (!report.spectrum.empty())
        pages.page("Output", [&](Canvas& canvas, const Rectangle& area) {
            drawStacked(canvas, area, spectrumPlots(report.spectrum));
        });
    return pages.document();
}

std::string qualityReportText(const QualityReport& report)
{
    std::string text = report.title + "\n\n";
    for (const auto& [label, value] : report.facts) text += format("%-16s%s\n", label.c_str(), value.c_str());
    if (!report.octaves.empty()) text += "\nOne-bit output by octaves (a full-scale sine is 0 dBFS)\n";
    for (const BandLevel& band : report.octaves)
        text += format("%8.0f to %8.0f Hz%10.2f dBFS\n", band.lowHz, band.highHz, band.dbfs);
    return text;
}

std::string qualityReportPath(std::string_view outputPath)
{
    return std::string(withoutExtension(outputPath)) + ".report.pdf";
}

bool writeQualityReport(std::string_view outputPath, const QualityReport& report, Reporter& reporter)
{
    const std::string folder(folderOf(outputPath));
    const bool pages = writeReportFile(qualityReportPath(outputPath), qualityReportPdf(report), reporter);
    return writeReportFile(inFolder(folder, "dsd_quality_final_report.txt"), qualityReportText(report), reporter) &&
           pages;
}

} // namespace tesk::analysis
