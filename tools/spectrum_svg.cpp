#include "tools/spectrum_svg.h"

#include "engine/base/reporter.h"

#include <algorithm>
#include <cmath>

namespace tesk::measure {
namespace {

// Document units; the frame leaves room for the labels.
constexpr double kWidth = 1000, kHeight = 560, kLeft = 70, kRight = 980, kTop = 50, kBottom = 500;
constexpr double kTopDb = 10, kBottomDb = -220, kLowHz = 10;
constexpr const char* kColours[] = {"#1f5fa8", "#c2491d", "#2e8540", "#7b3fa0",
                                    "#a07a00", "#00828a", "#b0306a", "#555555"};

struct Axes {
    double highHz;

    double x(double hz) const { return kLeft + (kRight - kLeft) * std::log(hz / kLowHz) / std::log(highHz / kLowHz); }
    double hz(double x) const { return kLowHz * std::pow(highHz / kLowHz, (x - kLeft) / (kRight - kLeft)); }
    static double y(double db)
    {
        return kTop + (kBottom - kTop) * (kTopDb - std::clamp(db, kBottomDb, kTopDb)) / (kTopDb - kBottomDb);
    }
};

std::string escaped(const std::string& text)
{
    std::string out;
    for (char c : text) switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        default: out += c;
        }
    return out;
}

std::string lineTo(double x1, double y1, double x2, double y2, const char* colour)
{
    return format("<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"%s\"/>\n", x1, y1, x2, y2, colour);
}

std::string label(double x, double y, const char* anchor, const std::string& text)
{
    return format("<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"%s\">%s</text>\n", x, y, anchor, escaped(text).c_str());
}

std::string hzText(double hz)
{
    if (hz >= 1e6) return format("%g MHz", hz / 1e6);
    return hz >= 1e3 ? format("%g kHz", hz / 1e3) : format("%g Hz", hz);
}

std::string grid(const Axes& axes)
{
    std::string out;
    for (double db = kTopDb - 10; db >= kBottomDb; db -= 20) {
        out += lineTo(kLeft, Axes::y(db), kRight, Axes::y(db), db == 0 ? "#888" : "#ddd");
        out += label(kLeft - 8, Axes::y(db) + 4, "end", format("%g", db));
    }
    for (double decade = kLowHz; decade < axes.highHz; decade *= 10)
        for (int step = 1; step < 10 && step * decade <= axes.highHz; ++step) {
            const double x = axes.x(step * decade);
            out += lineTo(x, kTop, x, kBottom, step == 1 ? "#bbb" : "#eee");
            if (step == 1) out += label(x, kBottom + 18, "middle", hzText(decade));
        }
    return out;
}

/// Between two bins, where a column of the low end holds none, the curve is the straight line between their levels.
double columnDb(const analysis::Spectrum& s, double lowHz, double highHz)
{
    const auto first = static_cast<std::size_t>(std::ceil(lowHz / s.binHz()));
    const auto last = std::min(s.bins() - 1, static_cast<std::size_t>(highHz / s.binHz()));
    if (first > last) {
        const double place = 0.5 * (lowHz + highHz) / s.binHz();
        const auto left = std::min(static_cast<std::size_t>(place), s.bins() - 2);
        const double share = place - static_cast<double>(left);
        return s.sineDb(left) * (1.0 - share) + s.sineDb(left + 1) * share;
    }
    std::size_t best = first;
    for (std::size_t k = first; k <= last; ++k)
        if (s.power(k) > s.power(best)) best = k;
    return s.sineDb(best);
}

std::string curve(const analysis::Spectrum& s, const Axes& axes, const char* colour)
{
    std::string points;
    for (double x = kLeft; x <= kRight; x += 1.0) {
        const double low = axes.hz(std::max(kLeft, x - 1.5)), high = axes.hz(std::min(kRight, x + 1.5));
        points += format("%.0f,%.1f ", x, Axes::y(columnDb(s, low, high)));
    }
    return format("<polyline fill=\"none\" stroke=\"%s\" stroke-width=\"1\" points=\"", colour) + points + "\"/>\n";
}

} // namespace

std::string spectrumSvg(const std::vector<analysis::Spectrum>& spectra, const std::string& title)
{
    const analysis::Spectrum& first = spectra.front();
    const Axes axes{first.rate() / 2};
    std::string out =
        format("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %g %g\" font-family=\"sans-serif\" "
               "font-size=\"12\" fill=\"#222\">\n<rect width=\"100%%\" height=\"100%%\" fill=\"#fff\"/>\n",
               kWidth, kHeight);
    out += label(kLeft, 24, "start", title);
    out += label(kLeft, 41, "start",
                 format("%zu points, %.4g Hz per bin, Kaiser window (beta 38), largest bin of three columns",
                        2 * (first.bins() - 1), first.binHz()));
    out += grid(axes);
    out += format("<rect x=\"%g\" y=\"%g\" width=\"%g\" height=\"%g\" fill=\"none\" stroke=\"#444\"/>\n", kLeft, kTop,
                  kRight - kLeft, kBottom - kTop);
    for (std::size_t c = 0; c < spectra.size(); ++c) {
        const char* colour = kColours[c % std::size(kColours)];
        const double y = kTop + 18 + 16 * static_cast<double>(c);
        out += curve(spectra[c], axes, colour);
        out += lineTo(kLeft + 12, y - 4, kLeft + 36, y - 4, colour);
        out += label(kLeft + 42, y, "start", format("channel %zu", c + 1));
    }
    out += label((kLeft + kRight) / 2, kBottom + 42, "middle", "frequency");
    out += format("<text transform=\"translate(18 %g) rotate(-90)\" text-anchor=\"middle\">level of a sine, "
                  "dBFS</text>\n</svg>\n",
                  (kTop + kBottom) / 2);
    return out;
}

} // namespace tesk::measure
