// A canvas that becomes a PDF 1.4 document of one or more pages: vector graphics, text in Helvetica.
#pragma once

#include "analysis/canvas.h"

#include <string>
#include <vector>

namespace tesk::analysis {

/// Source of the file's form: PDF Reference, third edition (Adobe, version 1.4).
class PdfCanvas final : public Canvas {
public:
    /// The first page, blank.
    /// @param title  of the document's information, UTF-8
    PdfCanvas(double width, double height, std::string_view title);

    /// What follows is drawn on a new page of the same size.
    void nextPage() { pages_.emplace_back(); }
    std::size_t pageCount() const { return pages_.size(); }

    void polyline(std::span<const Point> points, const Pen& pen) override;
    void fill(const Rectangle& area, Colour colour) override;
    void disc(Point centre, double radius, Colour colour) override;
    void ring(Point centre, double radius, const Pen& pen) override;
    /// Characters outside WinAnsiEncoding show as '?'.
    void text(Point at, std::string_view utf8, const Lettering& lettering) override;
    void beginClip(const Rectangle& area) override;
    void endClip() override;

    std::string document() const;

private:
    std::string rectangle(const Rectangle& area) const;
    std::string circle(Point centre, double radius) const;

    double width_, height_;
    std::string title_;
    std::vector<std::string> pages_{1}; // content streams
};

} // namespace tesk::analysis
