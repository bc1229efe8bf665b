#include "analysis/plot.h"

#include "analysis/helvetica.h"
#include "engine/base/reporter.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>

namespace tesk::analysis {
namespace {

constexpr double kTitleSize = 12.0, kLabelSize = 10.0, kTickSize = 9.0;
constexpr double kLeftMargin = 58.0, kRightMargin = 16.0, kTopMargin = 24.0, kBottomMargin = 38.0;
constexpr Colour kCurveColours[] = {{31, 95, 168}, {194, 73, 29}, {46, 133, 64}, {123, 63, 160}, {0, 130, 138}};
constexpr Colour kBandTint{238, 243, 250}, kBandInk{90, 110, 140};
constexpr Pen kMinorGrid{{232, 232, 232}, 0.5}, kMajorGrid{{200, 200, 200}, 0.6}, kFrame{{70, 70, 70}, 0.8};

std::string tickLabel(double value)
{
    if (std::abs(value) >= 1e6) return format("%.10gM", value / 1e6);
    return std::abs(value) >= 1e3 ? format("%.10gk", value / 1e3) : format("%.10g", value);
}

std::vector<Tick> linearTicks(const Axis& axis, int most)
{
    const double raw = (axis.high - axis.low) / std::max(most, 1);
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    double step = 10.0 * power;
    for (double nice : {5.0, 2.0, 1.0})
        if (nice * power >= raw) step = nice * power;
    std::vector<Tick> ticks;
    const double slack = 1e-9; // a limit that is itself a multiple keeps its tick
    const double first = std::ceil(axis.low / step - slack), last = axis.high / step + slack;
    for (int i = 0; i <= most && first + i <= last; ++i) {
        const double value = first + i == 0.0 ? 0.0 : (first + i) * step; // never "-0"
        ticks.push_back({value, tickLabel(value)});
    }
    return ticks;
}

std::vector<Tick> logarithmicTicks(const Axis& axis, int most)
{
    const double first = std::floor(std::log10(axis.low)), decades = std::log10(axis.high / axis.low);
    const int stride = std::max(1, static_cast<int>(std::ceil(decades / std::max(most, 1))));
    std::vector<Tick> ticks;
    for (int d = 0; d <= decades + 1.0; ++d)
        for (int m = 1; m < 10; ++m) {
            const double value = m * std::pow(10.0, first + d);
            if (value < axis.low || value > axis.high) continue;
            const bool labelled = (m == 1 && d % stride == 0) || (decades < 2.0 && (m == 2 || m == 5));
            ticks.push_back({value, labelled ? tickLabel(value) : std::string()});
        }
    return ticks;
}

/// Where values lie on the paper.
struct Mapping {
    Rectangle frame;
    const Axis& x;
    const Axis& y;

    double toX(double value) const { return frame.left + frame.width() * x.place(value); }
    double toY(double value) const { return frame.bottom - frame.height() * y.place(value); }
    /// What lies outside is brought so near that its line still leaves the frame at about the right place.
    Point to(Point p) const
    {
        return {std::clamp(toX(p.x), frame.left - frame.width(), frame.right + frame.width()),
                std::clamp(toY(p.y), frame.top - 3 * frame.height(), frame.bottom + 3 * frame.height())};
    }
};

bool drawable(Point p, const Mapping& map)
{
    return std::isfinite(p.x) && std::isfinite(p.y) && (p.x > 0.0 || !map.x.logarithmic) &&
           (p.y > 0.0 || !map.y.logarithmic);
}

/// Four points at most of every half unit of width, in their order.
std::vector<Point> thinned(const std::vector<Point>& line)
{
    const auto column = [](Point p) { return std::floor(2.0 * p.x); };
    std::vector<Point> out;
    for (std::size_t first = 0, end = 0; first < line.size(); first = end) {
        std::size_t low = first, high = first;
        for (end = first; end < line.size() && column(line[end]) == column(line[first]); ++end) {
            if (line[end].y < line[low].y) low = end;
            if (line[end].y > line[high].y) high = end;
        }
        std::size_t kept[] = {first, low, high, end - 1};
        std::sort(std::begin(kept), std::end(kept));
        std::for_each(std::begin(kept), std::unique(std::begin(kept), std::end(kept)),
                      [&](std::size_t i) { out.push_back(line[i]); });
    }
    return out;
}

void drawCurve(Canvas& canvas, const Mapping& map, const Curve& curve, Colour colour)
{
    const Pen pen{colour, 1.1};
    std::vector<Point> line;
    const auto flush = [&] {
        if (line.size() > 1) canvas.polyline(thinned(line), pen);
        if (line.size() == 1) canvas.disc(line.front(), 0.8, colour);
        line.clear();
    };
    for (const Point& p : curve.points)
        if (drawable(p, map))
            line.push_back(map.to(p));
        else
            flush();
    flush();
}

void drawBands(Canvas& canvas, const Mapping& map, const std::vector<Band>& bands)
{
    const Rectangle& f = map.frame;
    for (const Band& band : bands) {
        const double left = std::max(f.left, map.toX(band.low)), right = std::min(f.right, map.toX(band.high));
        if (!(left < right)) continue;
        canvas.fill({left, f.top, right, f.bottom}, kBandTint);
    }
}

void drawBandLabels(Canvas& canvas, const Mapping& map, const std::vector<Band>& bands)
{
    for (const Band& band : bands) {
        const double left = std::max(map.frame.left, map.toX(band.low));
        const double right = std::min(map.frame.right, map.toX(band.high));
        if (right - left < textWidth(band.label, kTickSize)) continue;
        canvas.text({(left + right) / 2, map.frame.top + 12.0}, band.label, {kTickSize, Anchor::middle, kBandInk});
    }
}

void drawGrid(Canvas& canvas, const Mapping& map)
{
    const Rectangle& f = map.frame;
    for (const Tick& tick : ticksOf(map.x, static_cast<int>(f.width() / 48.0))) {
        const double x = map.toX(tick.value);
        canvas.line({x, f.top}, {x, f.bottom}, tick.label.empty() ? kMinorGrid : kMajorGrid);
        if (!tick.label.empty()) canvas.text({x, f.bottom + 13.0}, tick.label, {kTickSize, Anchor::middle});
    }
    for (const Tick& tick : ticksOf(map.y, static_cast<int>(f.height() / 26.0))) {
        const double y = map.toY(tick.value);
        canvas.line({f.left, y}, {f.right, y}, tick.label.empty() ? kMinorGrid : kMajorGrid);
        if (!tick.label.empty()) canvas.text({f.left - 6.0, y + 3.2}, tick.label, {kTickSize, Anchor::end});
    }
}

/// In one row with the title, from the right.
void drawLegend(Canvas& canvas, const Rectangle& frame, const std::vector<Curve>& curves)
{
    double right = frame.right;
    for (std::size_t i = curves.size(); i-- > 0;) {
        if (curves[i].name.empty()) continue;
        const double y = frame.top - 8.0, left = right - textWidth(curves[i].name, kLabelSize);
        canvas.text({left, y}, curves[i].name, {kLabelSize});
        canvas.line({left - 24.0, y - 3.5}, {left - 5.0, y - 3.5}, {kCurveColours[i % std::size(kCurveColours)], 2.0});
        right = left - 38.0;
    }
}

void drawAround(Canvas& canvas, const Rectangle& frame, const std::string& title, const Axis& x, const Axis& y)
{
    canvas.frame(frame, kFrame);
    canvas.text({frame.left, frame.top - 8.0}, title, {kTitleSize});
    canvas.text({(frame.left + frame.right) / 2, frame.bottom + 28.0}, x.label, {kLabelSize, Anchor::middle});
    canvas.text({frame.left - 44.0, (frame.top + frame.bottom) / 2}, y.label, {kLabelSize, Anchor::middle, kInk, true});
}

Rectangle insideMargins(const Rectangle& area)
{
    return {area.left + kLeftMargin, area.top + kTopMargin, area.right - kRightMargin, area.bottom - kBottomMargin};
}

/// As much of the unit circle as a view may show, fine enough to look round at any enlargement.
std::vector<Point> unitArc(const PoleZeroPlot& plot)
{
    constexpr int kSteps = 720;
    const double half = std::min(std::numbers::pi, 4.0 * plot.reach), middle = std::arg(plot.centre);
    std::vector<Point> arc;
    for (int i = 0; i <= kSteps; ++i) {
        const double angle = middle + half * (2.0 * i / kSteps - 1.0);
        arc.push_back({std::cos(angle), std::sin(angle)});
    }
    return arc;
}

struct Cluster {
    std::complex<double> place;
    int count = 0;
};

std::vector<Cluster> clustered(const std::vector<std::complex<double>>& roots, double distance)
{
    std::vector<Cluster> clusters;
    for (const auto& root : roots) {
        const auto near = [&](const Cluster& c) { return std::abs(c.place - root) < distance; };
        const auto at = std::find_if(clusters.begin(), clusters.end(), near);
        if (at == clusters.end())
            clusters.push_back({root, 1});
        else
            ++at->count;
    }
    return clusters;
}

/// @param mark  draws one root's sign around a point
template <class Mark>
void drawRoots(Canvas& canvas, const Mapping& map, const std::vector<std::complex<double>>& roots, double countDown,
               const Mark& mark)
{
    for (const Cluster& c : clustered(roots, 1e-6)) { // what rounding leaves between equal roots of a quadratic
        const Point at{map.toX(c.place.real()), map.toY(c.place.imag())};
        const Rectangle& f = map.frame;
        if (!(at.x >= f.left && at.x <= f.right && at.y >= f.top && at.y <= f.bottom)) continue;
        mark(at);
        if (c.count > 1) canvas.text({at.x + 7.0, at.y + countDown}, format("%d", c.count), {kTickSize});
    }
}

} // namespace

double Axis::place(double value) const
{
    return logarithmic ? std::log(value / low) / std::log(high / low) : (value - low) / (high - low);
}

std::vector<Tick> ticksOf(const Axis& axis, int most)
{
    // Within a decade there may be no 1, 2 or 5 to label.
    return axis.logarithmic && axis.high / axis.low >= 10.0 ? logarithmicTicks(axis, most) : linearTicks(axis, most);
}

void drawPlot(Canvas& canvas, const Rectangle& area, const Plot& plot)
{
    const Mapping map{insideMargins(area), plot.x, plot.y};
    drawBands(canvas, map, plot.bands);
    drawGrid(canvas, map);
    canvas.beginClip(map.frame);
    for (std::size_t i = 0; i < plot.curves.size(); ++i)
        drawCurve(canvas, map, plot.curves[i], kCurveColours[i % std::size(kCurveColours)]);
    canvas.endClip();
    drawBandLabels(canvas, map, plot.bands);
    drawAround(canvas, map.frame, plot.title, plot.x, plot.y);
    drawLegend(canvas, map.frame, plot.curves);
}

void drawStacked(Canvas& canvas, const Rectangle& area, const std::vector<Plot>& plots)
{
    const double height = area.height() / static_cast<double>(std::max<std::size_t>(plots.size(), 1));
    double top = area.top;
    for (const Plot& plot : plots) {
        drawPlot(canvas, {area.left, top, area.right, top + height}, plot);
        top += height;
    }
}

void drawPoleZero(Canvas& canvas, const Rectangle& area, const PoleZeroPlot& plot)
{
    Rectangle f = insideMargins(area);
    const double side = std::min(f.width(), f.height());
    f.left += (f.width() - side) / 2; // centred, square
    f.right = f.left + side;
    f.bottom = f.top + side;
    const Axis x{"real part of z", plot.centre.real() - plot.reach, plot.centre.real() + plot.reach};
    const Axis y{"imaginary part of z", plot.centre.imag() - plot.reach, plot.centre.imag() + plot.reach};
    const Mapping map{f, x, y};
    drawGrid(canvas, map);
    canvas.beginClip(f);
    drawCurve(canvas, map, {"", unitArc(plot)}, {120, 120, 120});
    canvas.endClip();
    drawRoots(canvas, map, plot.zeros, -5.0, [&](Point at) { canvas.ring(at, 4.0, {kCurveColours[0], 1.4}); });
    drawRoots(canvas, map, plot.poles, 11.0, [&](Point at) {
        const Pen pen{kCurveColours[1], 1.4};
        canvas.line({at.x - 3.5, at.y - 3.5}, {at.x + 3.5, at.y + 3.5}, pen);
        canvas.line({at.x - 3.5, at.y + 3.5}, {at.x + 3.5, at.y - 3.5}, pen);
    });
    drawAround(canvas, f, plot.title, x, y);
}

} // namespace tesk::analysis
