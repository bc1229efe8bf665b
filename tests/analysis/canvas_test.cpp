// Both canvases judged by programs that read SVG and PDF for a living.
#include "tests/analysis/analysis_fixture.h"

#include "analysis/helvetica.h"
#include "analysis/pdf_canvas.h"
#include "analysis/svg_canvas.h"
#include "engine/base/utf8.h"

#include <array>

namespace tesk::analysis {
namespace {

constexpr Colour kRed{255, 0, 0}, kGreen{0, 255, 0}, kBlue{0, 0, 255};
constexpr int kWidth = 120, kHeight = 90;

class CanvasTest : public AnalysisTest {
protected:
    /// A sheet on which a mirrored axis, a lost clip or a wrong radius shows.
    static void draw(Canvas& canvas)
    {
        canvas.fill({10, 5, 40, 25}, kRed);
        canvas.disc({60, 20}, 10, kGreen);
        canvas.ring({95, 20}, 12, {kBlue, 4});
        canvas.beginClip({10, 40, 30, 60});
        canvas.polyline(std::array{Point{0, 50}, Point{50, 50}}, {kBlue, 6});
        canvas.endClip();
        canvas.line({60, 40}, {60, 70}, {kRed, 4});
        canvas.text({110, 30}, "\xE2\x80\x94\xE2\x80\x94", {30, Anchor::end, kInk, true}); // two em dashes
    }

    /// [kHeight][kWidth][3]
    std::string pixels(const std::string& command) const
    {
        std::string rgb = run(command);
        EXPECT_EQ(rgb.size(), static_cast<std::size_t>(3 * kWidth * kHeight));
        rgb.resize(3 * kWidth * kHeight);
        return rgb;
    }
};

TEST_F(CanvasTest, BothDrawTheSameThingsInTheSamePlaces)
{
    SvgCanvas svg(kWidth, kHeight);
    PdfCanvas pdf(kWidth, kHeight, "sheet");
    draw(svg);
    draw(pdf);
    save("a.svg", svg.document());
    save("a.pdf", pdf.document());
    const std::string toRgb = " -f rawvideo -pix_fmt rgb24 -";
    const std::string sheets[] = {
        pixels("ffmpeg -v error -i a.svg" + toRgb),
        pixels("pdftoppm -r 72 a.pdf >a.ppm && ffmpeg -v error -f image2 -c:v ppm -i a.ppm" + toRgb)};
    struct Probe {
        int x, y;
        Colour colour;
    };
    const Probe probes[] = {{12, 7, kRed},    {38, 23, kRed},   {42, 15, kPaper}, {25, 70, kPaper}, {60, 20, kGreen},
                            {68, 20, kGreen}, {60, 29, kGreen}, {60, 33, kPaper}, {95, 20, kPaper}, {107, 20, kBlue},
                            {95, 8, kBlue},   {20, 50, kBlue},  {5, 50, kPaper},  {35, 50, kPaper}, {60, 42, kRed},
                            {60, 68, kRed},   {60, 75, kPaper}, {66, 55, kPaper}};
    for (const std::string& sheet : sheets) {
        for (const Probe& p : probes) {
            const auto* rgb = reinterpret_cast<const unsigned char*>(&sheet[3 * (p.y * kWidth + p.x)]);
            const int off =
                std::abs(rgb[0] - p.colour.red) + std::abs(rgb[1] - p.colour.green) + std::abs(rgb[2] - p.colour.blue);
            EXPECT_LT(off, 60) << (&sheet - sheets) << " at " << p.x << "," << p.y;
        }
        int dashes = 0; // upright, 60 points long, below their point
        for (int y = 36; y < 88; ++y)
            for (int x = 80; x < kWidth; ++x) {
                const auto* rgb = reinterpret_cast<const unsigned char*>(&sheet[3 * (y * kWidth + x)]);
                dashes += rgb[0] < 128 && rgb[2] < 128;
            }
        EXPECT_GT(dashes, 50) << (&sheet - sheets);
    }
}

TEST_F(CanvasTest, SvgIsXmlWhateverTheTexts)
{
    const std::string texts[] = {"plain",
                                 "a<b & \"c\" > 'd' ]]>",
                                 "tab\there\x01\x7F",
                                 "broken \xC3 end\xF0\x9F",
                                 "\xEF\xBF\xBF\xEF\xBF\xBE",
                                 "Gymnop\xC3\xA9"
                                 "die \xF0\x9D\x84\x9E"};
    const std::string expected[] = {"plain",
                                    "a<b & \"c\" > 'd' ]]>",
                                    "tab here  ",
                                    "broken \xEF\xBF\xBD end\xEF\xBF\xBD\xEF\xBF\xBD",
                                    "\xEF\xBF\xBD\xEF\xBF\xBD",
                                    "Gymnop\xC3\xA9"
                                    "die \xF0\x9D\x84\x9E"};
    SvgCanvas canvas(300, 200);
    for (const std::string& text : texts) {
        canvas.beginClip({0, 0, 10, 10});
        canvas.text({10, 20}, text, {});
        canvas.endClip();
    }
    save("a.svg", canvas.document());
    const std::string printed = run("python3 -c \"\n"
                                    "import sys, xml.etree.ElementTree as e\n"
                                    "n = '{http://www.w3.org/2000/svg}'\n"
                                    "root = e.parse('a.svg').getroot()\n"
                                    "ids = {c.get('id') for c in root.iter(n + 'clipPath')}\n"
                                    "assert len(ids) == 6\n"
                                    "assert all(g.get('clip-path')[5:-1] in ids for g in root.iter(n + 'g'))\n"
                                    "for t in root.iter(n + 'text'):\n"
                                    "    sys.stdout.buffer.write((t.text + '\\n').encode())\"");
    EXPECT_EQ(lines(printed), std::vector<std::string>(std::begin(expected), std::end(expected)));
}

// Every table entry, against the metrics that the reader has for the font.
TEST_F(CanvasTest, LetterWidthsAreTheFontsOwn)
{
    std::vector<std::string> letters;
    PdfCanvas canvas(300, 200, "letters");
    for (char32_t point = 0x21; point < 0x2123; ++point) {
        std::string letter;
        appendUtf8(letter, point);
        const bool blank = isControl(point) || point == 0xA0 || point == 0xAD;
        if (blank || (point > 0x7E && toWinAnsi(letter) == "?")) continue;
        if (!letters.empty()) canvas.nextPage();
        canvas.text({250, 100}, letter + letter, {100, Anchor::end});
        letters.push_back(letter);
    }
    ASSERT_EQ(letters.size(), 94u + 94u + 27u); // ASCII, Latin-1, the extras of the code page
    save("a.pdf", canvas.document());
    const std::string boxes = run("pdftotext -bbox a.pdf -");
    const std::vector<double> left = numbersAfter(boxes, "xMin=\""), right = numbersAfter(boxes, "xMax=\"");
    ASSERT_EQ(left.size(), letters.size());
    std::string words;
    for (const std::string& letter : letters) words += letter + letter + "\n\f";
    EXPECT_EQ(run("pdftotext -raw a.pdf -"), words);
    for (std::size_t i = 0; i < letters.size(); ++i) {
        EXPECT_NEAR(right[i] - left[i], textWidth(letters[i] + letters[i], 100), 0.01) << letters[i];
        EXPECT_NEAR(right[i], 250, 0.02) << letters[i];
    }
}

TEST_F(CanvasTest, PdfTablesPointAtTheirObjects)
{
    PdfCanvas canvas(300, 200, "R\xC3\xA9sum\xC3\xA9 \xE3\x82\xB8 \xF0\x9D\x84\x9E (1\\2)");
    canvas.text({10, 20}, "first (page \\ one) \xE2\x80\x93 \xE3\x82\xB8", {});
    for (int i = 0; i < 11; ++i) canvas.nextPage();
    canvas.text({10, 20}, "last page", {});
    const std::string file = canvas.document();
    const std::size_t table = std::stoul(file.substr(file.rfind("startxref\n") + 10));
    ASSERT_EQ(file.substr(table, 5), "xref\n");
    const std::size_t count = std::stoul(file.substr(table + 7));
    EXPECT_EQ(count, 1u + 4u + 2u * 12u);
    const std::size_t entries = file.find('\n', table + 7) + 1;
    for (std::size_t i = 1; i < count; ++i) {
        const std::size_t offset = std::stoul(file.substr(entries + 20 * i, 10));
        const std::string head = format("%zu 0 obj\n", i);
        EXPECT_EQ(file.substr(offset, head.size()), head);
    }
    const std::vector<double> lengths = numbersAfter(file, "/Length ");
    std::size_t at = 0;
    for (double length : lengths) {
        at = file.find("stream\n", at) + 7 + static_cast<std::size_t>(length);
        EXPECT_EQ(file.substr(at, 11), "\nendstream\n");
        at += 11;
    }
    EXPECT_EQ(lengths.size(), 12u);

    save("a.pdf", file);
    const std::string information = run("pdfinfo a.pdf");
    EXPECT_NE(information.find("Pages:           12\n"), std::string::npos) << information;
    EXPECT_NE(information.find("R\xC3\xA9sum\xC3\xA9 \xE3\x82\xB8 \xF0\x9D\x84\x9E (1\\2)\n"), std::string::npos);
    EXPECT_EQ(lines(run("pdftotext -l 1 a.pdf -")).at(0), "first (page \\ one) \xE2\x80\x93 ?");
    EXPECT_EQ(lines(run("pdftotext -f 12 a.pdf -")).at(0), "last page");
}

} // namespace
} // namespace tesk::analysis
