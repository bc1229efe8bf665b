// Curves over two axes, and zeros and poles in the z plane.
#pragma once

#include "analysis/canvas.h"

#include <complex>
#include <string>
#include <vector>

namespace tesk::analysis {

struct Axis {
    std::string label;
    double low = 0.0, high = 1.0; ///< low below high; both above 0 on a logarithmic axis
    bool logarithmic = false;

    /// Where a value lies: 0 at the low end, 1 at the high end.
    double place(double value) const;
};

/// A line of the grid; without a label it is a faint one.
struct Tick {
    double value = 0.0;
    std::string label;
};

/// Ascending, within the axis, and about `most` labels at most. Linear axes step by 1, 2 or 5 times a power of ten;
/// logarithmic ones label the powers of ten, under two decades 2 and 5 as well. From 1000 on labels read "1k", "1M".
std::vector<Tick> ticksOf(const Axis& axis, int most);

struct Curve {
    std::string name; ///< for the legend; empty: none
    /// Ascending in x. The line breaks where a value is not finite (or not above 0 on a logarithmic axis) and is cut at
    /// the frame.
    std::vector<Point> points;
};

/// A range of x that is tinted and named.
struct Band {
    double low = 0.0, high = 0.0;
    std::string label;
};

struct Plot {
    std::string title;
    Axis x, y;
    std::vector<Curve> curves;
    std::vector<Band> bands;
};

/// Fills `area` with the plot. However many points a curve has, it becomes a few per half unit of width: the first, the
/// last, the smallest and the largest, so that no peak is lost.
void drawPlot(Canvas& canvas, const Rectangle& area, const Plot& plot);

/// The plots one above the other, equally high.
void drawStacked(Canvas& canvas, const Rectangle& area, const std::vector<Plot>& plots);

struct PoleZeroPlot {
    std::string title;
    std::vector<std::complex<double>> zeros, poles;
    std::complex<double> centre;
    double reach = 1.25; ///< half the side of the square that is shown, above 0
};

/// The unit circle, a ring for every zero and a cross for every pole; where several are equal their number stands
/// beside them.
void drawPoleZero(Canvas& canvas, const Rectangle& area, const PoleZeroPlot& plot);

} // namespace tesk::analysis
