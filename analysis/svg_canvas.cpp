#include "analysis/svg_canvas.h"

#include "engine/base/reporter.h"
#include "engine/base/utf8.h"

#include <algorithm>

namespace tesk::analysis {
namespace {

std::string hex(Colour c) { return format("#%02x%02x%02x", c.red, c.green, c.blue); }

std::string stroke(const Pen& pen)
{
    return format("fill=\"none\" stroke=\"%s\" stroke-width=\"%g\"%s", hex(pen.colour).c_str(), pen.width,
                  pen.dashed ? " stroke-dasharray=\"4 3\"" : "");
}

std::string rectangle(const Rectangle& r)
{
    return format("<rect x=\"%.2f\" y=\"%.2f\" width=\"%.2f\" height=\"%.2f\"", r.left, r.top, r.width(), r.height());
}

/// As XML 1.0 takes it between tags; control characters and U+FFFE, U+FFFF have no form there.
std::string escaped(std::string_view utf8)
{
    std::string out;
    for (std::size_t i = 0; i < utf8.size();) {
        const Utf8Character c = utf8At(utf8, i);
        i += std::max<std::size_t>(c.bytes, 1);
        switch (c.point) {
        case U'&': out += "&amp;"; break;
        case U'<': out += "&lt;"; break;
        case U'>': out += "&gt;"; break;
        default:
            appendUtf8(out, isControl(c.point) ? U' ' : (c.point & ~1u) == 0xFFFE ? kReplacementCharacter : c.point);
        }
    }
    return out;
}

const char* anchorName(Anchor anchor)
{
    return anchor == Anchor::start ? "start" : anchor == Anchor::middle ? "middle" : "end";
}

} // namespace

SvgCanvas::SvgCanvas(double width, double height)
    : body_(format("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %g %g\" width=\"%g\" height=\"%g\" "
                   "font-family=\"Helvetica, Arial, sans-serif\">\n",
                   width, height, width, height))
{
    fill({0.0, 0.0, width, height}, kPaper);
}

void SvgCanvas::polyline(std::span<const Point> points, const Pen& pen)
{
    body_ += "<polyline " + stroke(pen) + " stroke-linejoin=\"round\" points=\"";
    for (const Point& p : points) body_ += format("%.2f,%.2f ", p.x, p.y);
    body_ += "\"/>\n";
}

void SvgCanvas::fill(const Rectangle& area, Colour colour)
{
    body_ += rectangle(area) + format(" fill=\"%s\"/>\n", hex(colour).c_str());
}

void SvgCanvas::disc(Point centre, double radius, Colour colour)
{
    body_ += format("<circle cx=\"%.2f\" cy=\"%.2f\" r=\"%.2f\" fill=\"%s\"/>\n", centre.x, centre.y, radius,
                    hex(colour).c_str());
}

void SvgCanvas::ring(Point centre, double radius, const Pen& pen)
{
    body_ +=
        format("<circle cx=\"%.2f\" cy=\"%.2f\" r=\"%.2f\" %s/>\n", centre.x, centre.y, radius, stroke(pen).c_str());
}

void SvgCanvas::text(Point at, std::string_view utf8, const Lettering& lettering)
{
    body_ += format("<text transform=\"translate(%.2f %.2f)%s\" font-size=\"%g\" text-anchor=\"%s\" fill=\"%s\">", at.x,
                    at.y, lettering.upwards ? " rotate(-90)" : "", lettering.size, anchorName(lettering.anchor),
                    hex(lettering.colour).c_str());
    body_ += escaped(utf8) + "</text>\n";
}

void SvgCanvas::beginClip(const Rectangle& area)
{
    ++clips_;
    body_ += format("<clipPath id=\"clip%d\">", clips_) + rectangle(area) +
             format("/></clipPath>\n<g clip-path=\"url(#clip%d)\">\n", clips_);
}

void SvgCanvas::endClip() { body_ += "</g>\n"; }

} // namespace tesk::analysis
