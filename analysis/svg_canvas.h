// A canvas that becomes an SVG 1.1 document.
#pragma once

#include "analysis/canvas.h"

#include <string>

namespace tesk::analysis {

class SvgCanvas final : public Canvas {
public:
    /// A white sheet of this size.
    SvgCanvas(double width, double height);

    void polyline(std::span<const Point> points, const Pen& pen) override;
    void fill(const Rectangle& area, Colour colour) override;
    void disc(Point centre, double radius, Colour colour) override;
    void ring(Point centre, double radius, const Pen& pen) override;
    void text(Point at, std::string_view utf8, const Lettering& lettering) override;
    void beginClip(const Rectangle& area) override;
    void endClip() override;

    std::string document() const { return body_ + "</svg>\n"; }

private:
    std::string body_;
    int clips_ = 0;
};

} // namespace tesk::analysis
