// What pictures are drawn on: a sheet with the origin in its upper left corner, x to the right and y downwards, in
// points (1/72 inch in print, a unit of the document on screen).
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace tesk::analysis {

struct Point {
    double x = 0.0, y = 0.0;
};

struct Rectangle {
    double left = 0.0, top = 0.0, right = 0.0, bottom = 0.0;
    double width() const { return right - left; }
    double height() const { return bottom - top; }
};

struct Colour {
    std::uint8_t red = 0, green = 0, blue = 0;
};
inline constexpr Colour kInk{34, 34, 34}, kPaper{255, 255, 255};

struct Pen {
    Colour colour = kInk;
    double width = 1.0;
    bool dashed = false;
};

enum class Anchor { start, middle, end };

struct Lettering {
    double size = 10.0;
    Anchor anchor = Anchor::start; ///< which part of the text stands at its point
    Colour colour = kInk;
    bool upwards = false; ///< turned a quarter to the left, as the label of a vertical axis
};

/// Coordinates are finite and lie within a few sheets of the paper.
class Canvas {
public:
    virtual ~Canvas() = default;

    virtual void polyline(std::span<const Point> points, const Pen& pen) = 0;
    virtual void fill(const Rectangle& area, Colour colour) = 0;
    virtual void disc(Point centre, double radius, Colour colour) = 0;
    virtual void ring(Point centre, double radius, const Pen& pen) = 0;
    /// One line of UTF-8 text; `at` lies on its baseline.
    virtual void text(Point at, std::string_view utf8, const Lettering& lettering) = 0;
    /// Until endClip nothing outside `area` is drawn. Clips do not nest.
    virtual void beginClip(const Rectangle& area) = 0;
    virtual void endClip() = 0;

    void line(Point from, Point to, const Pen& pen) { polyline(std::array{from, to}, pen); }
    void frame(const Rectangle& r, const Pen& pen)
    {
        const Point start{r.left, r.top};
        polyline(std::array{start, Point{r.right, r.top}, Point{r.right, r.bottom}, Point{r.left, r.bottom}, start},
                 pen);
    }
};

} // namespace tesk::analysis
