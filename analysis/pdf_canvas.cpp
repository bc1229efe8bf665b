#include "analysis/pdf_canvas.h"

#include "analysis/helvetica.h"
#include "engine/base/reporter.h"
#include "engine/base/utf8.h"

#include <algorithm>

namespace tesk::analysis {
namespace {

std::string colourOperands(Colour c)
{
    return format("%.3f %.3f %.3f", c.red / 255.0, c.green / 255.0, c.blue / 255.0);
}

std::string penState(const Pen& pen)
{
    return colourOperands(pen.colour) + format(" RG %g w %s 0 d\n", pen.width, pen.dashed ? "[4 3]" : "[]");
}

std::string literal(std::string_view winAnsi)
{
    std::string out = "(";
    for (char c : winAnsi) {
        if (c == '(' || c == ')' || c == '\\') out += '\\';
        out += c;
    }
    return out + ")";
}

/// A text string of the document information: UTF-16, big endian, with its mark.
std::string utf16Hex(std::string_view utf8)
{
    std::string out = "<FEFF";
    const auto unit = [&](unsigned value) { out += format("%04X", value); };
    for (std::size_t i = 0; i < utf8.size();) {
        const Utf8Character c = utf8At(utf8, i);
        i += std::max<std::size_t>(c.bytes, 1);
        const auto above = static_cast<unsigned>(c.point) - 0x10000u;
        if (c.point < 0x10000) {
            unit(c.point);
        } else {
            unit(0xD800u + (above >> 10));
            unit(0xDC00u + (above & 0x3FFu));
        }
    }
    return out + ">";
}

/// Numbers the objects as they come and remembers where each begins.
class ObjectFile {
public:
    void add(const std::string& body)
    {
        offsets_.push_back(text_.size());
        text_ += format("%zu 0 obj\n", offsets_.size()) + body + "\nendobj\n";
    }
    std::string finish(const std::string& trailer)
    {
        const std::size_t table = text_.size();
        text_ += format("xref\n0 %zu\n0000000000 65535 f \n", offsets_.size() + 1);
        for (std::size_t offset : offsets_) text_ += format("%010zu 00000 n \n", offset);
        text_ += format("trailer\n<< /Size %zu %s >>\nstartxref\n%zu\n%%%%EOF\n", offsets_.size() + 1, trailer.c_str(),
                        table);
        return std::move(text_);
    }

private:
    std::string text_ = "%PDF-1.4\n%\xE2\xE3\xCF\xD3\n"; // bytes above 127 tell mailers that the file is binary
    std::vector<std::size_t> offsets_;
};

constexpr int kCatalog = 1, kPageTree = 2, kFont = 3, kInformation = 4, kFirstPage = 5;

} // namespace

PdfCanvas::PdfCanvas(double width, double height, std::string_view title)
    : width_(width), height_(height), title_(title)
{
}

// A page's own y runs upwards.
std::string PdfCanvas::rectangle(const Rectangle& r) const
{
    return format("%.2f %.2f %.2f %.2f re\n", r.left, height_ - r.bottom, r.width(), r.height());
}

std::string PdfCanvas::circle(Point centre, double radius) const
{
    const double x = centre.x, y = height_ - centre.y, r = radius;
    const double k = 0.5522847498 * r; // (4/3)(sqrt 2 − 1): a cubic that meets the quarter circle in its middle
    std::string out = format("%.2f %.2f m\n", x + r, y);
    out += format("%.2f %.2f %.2f %.2f %.2f %.2f c\n", x + r, y + k, x + k, y + r, x, y + r);
    out += format("%.2f %.2f %.2f %.2f %.2f %.2f c\n", x - k, y + r, x - r, y + k, x - r, y);
    out += format("%.2f %.2f %.2f %.2f %.2f %.2f c\n", x - r, y - k, x - k, y - r, x, y - r);
    return out + format("%.2f %.2f %.2f %.2f %.2f %.2f c\n", x + k, y - r, x + r, y - k, x + r, y);
}

void PdfCanvas::polyline(std::span<const Point> points, const Pen& pen)
{
    if (points.empty()) return;
    std::string& page = pages_.back();
    page += penState(pen) + "1 j\n";
    const char* step = "m";
    for (const Point& p : points) {
        page += format("%.2f %.2f %s\n", p.x, height_ - p.y, step);
        step = "l";
    }
    page += "S\n";
}

void PdfCanvas::fill(const Rectangle& area, Colour colour)
{
    pages_.back() += colourOperands(colour) + " rg\n" + rectangle(area) + "f\n";
}

void PdfCanvas::disc(Point centre, double radius, Colour colour)
{
    pages_.back() += colourOperands(colour) + " rg\n" + circle(centre, radius) + "f\n";
}

void PdfCanvas::ring(Point centre, double radius, const Pen& pen)
{
    pages_.back() += penState(pen) + circle(centre, radius) + "s\n";
}

void PdfCanvas::text(Point at, std::string_view utf8, const Lettering& lettering)
{
    const double share = lettering.anchor == Anchor::start ? 0.0 : lettering.anchor == Anchor::middle ? 0.5 : 1.0;
    const double back = share * textWidth(utf8, lettering.size);
    const char* turn = lettering.upwards ? "0 1 -1 0" : "1 0 0 1";
    const double x = lettering.upwards ? at.x : at.x - back;
    const double y = height_ - at.y - (lettering.upwards ? back : 0.0);
    pages_.back() += colourOperands(lettering.colour) +
                     format(" rg\nBT /F1 %g Tf %s %.2f %.2f Tm ", lettering.size, turn, x, y) +
                     literal(toWinAnsi(utf8)) + " Tj ET\n";
}

void PdfCanvas::beginClip(const Rectangle& area) { pages_.back() += "q\n" + rectangle(area) + "W n\n"; }

void PdfCanvas::endClip() { pages_.back() += "Q\n"; }

std::string PdfCanvas::document() const
{
    ObjectFile file;
    std::string kids;
    for (std::size_t i = 0; i < pages_.size(); ++i) kids += format("%zu 0 R ", kFirstPage + 2 * i);
    file.add(format("<< /Type /Catalog /Pages %d 0 R >>", kPageTree));
    file.add(format("<< /Type /Pages /Count %zu /Kids [ %s] /MediaBox [ 0 0 %g %g ] "
                    "/Resources << /Font << /F1 %d 0 R >> >> >>",
                    pages_.size(), kids.c_str(), width_, height_, kFont));
    file.add("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>");
    file.add("<< /Title " + utf16Hex(title_) + " >>");
    for (std::size_t i = 0; i < pages_.size(); ++i) {
        file.add(format("<< /Type /Page /Parent %d 0 R /Contents %zu 0 R >>", kPageTree, kFirstPage + 2 * i + 1));
        file.add(format("<< /Length %zu >>\nstream\n", pages_[i].size()) + pages_[i] + "\nendstream");
    }
    return file.finish(format("/Root %d 0 R /Info %d 0 R", kCatalog, kInformation));
}

} // namespace tesk::analysis
