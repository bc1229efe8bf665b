// Ticks as properties, and what of a curve reaches the paper.
#include "analysis/plot.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace tesk::analysis {
namespace {

double valueOf(const std::string& label)
{
    const double value = std::stod(label);
    return label.back() == 'k' ? 1e3 * value : label.back() == 'M' ? 1e6 * value : value;
}

TEST(Ticks, AreRoundAscendingAndEnough)
{
    struct Case {
        double low, high;
        bool logarithmic;
        int most;
    };
    const Case cases[] = {{0, 1, false, 8},          {-0.0051, 0.0052, false, 8}, {-200, 10, false, 12},
                          {0, 26460, false, 10},     {-1e-7, 3e-7, false, 5},     {99.99, 100.01, false, 6},
                          {0, 1411200, false, 10},   {10, 1411200, true, 10},     {20, 1500, true, 10},
                          {1.1e-9, 3.2e-3, true, 4}, {1100, 1900, true, 6},       {-1e-13, 1e-13, false, 4},
                          {0, 7, false, 7},          {-1.25, 1.25, false, 1},     {1, 100, true, 6}};
    for (const Case& c : cases) {
        const std::vector<Tick> ticks = ticksOf({"", c.low, c.high, c.logarithmic}, c.most);
        const double span = c.high - c.low;
        int labels = 0;
        for (std::size_t i = 0; i < ticks.size(); ++i) {
            EXPECT_GE(ticks[i].value, c.low - 1e-6 * span);
            EXPECT_LE(ticks[i].value, c.high + 1e-6 * span);
            if (i > 0) {
                EXPECT_GT(ticks[i].value, ticks[i - 1].value);
            }
            if (ticks[i].label.empty()) continue;
            ++labels;
            EXPECT_NEAR(valueOf(ticks[i].label), ticks[i].value, 1e-6 * std::min(span, std::abs(ticks[i].value)));
            EXPECT_LE(ticks[i].label.size(), 7u) << ticks[i].label;
            if (!c.logarithmic && i > 1) {
                EXPECT_NEAR(ticks[i].value - ticks[i - 1].value, ticks[1].value - ticks[0].value, 1e-9 * span);
            }
        }
        EXPECT_GE(labels, std::min(c.most / 3, 3)) << c.low << " " << c.high;
        EXPECT_LE(labels, c.most + 1) << c.low << " " << c.high;
    }
    EXPECT_LE(ticksOf({"", -INFINITY, NAN}, 8).size(), 9u); // must end
}

/// Keeps what is drawn between the clip marks.
class Recorder final : public Canvas {
public:
    void polyline(std::span<const Point> points, const Pen&) override
    {
        if (inside_) lines.emplace_back(points.begin(), points.end());
    }
    void fill(const Rectangle&, Colour) override {}
    void disc(Point centre, double, Colour) override { dots.push_back(centre); }
    void ring(Point centre, double, const Pen&) override { rings.push_back(centre); }
    void text(Point, std::string_view utf8, const Lettering&) override { texts.emplace_back(utf8); }
    void beginClip(const Rectangle& area) override
    {
        frame = area;
        inside_ = true;
    }
    void endClip() override { inside_ = false; }

    std::vector<std::vector<Point>> lines;
    std::vector<Point> dots, rings;
    std::vector<std::string> texts;
    Rectangle frame;

private:
    bool inside_ = false;
};

constexpr Rectangle kArea{0, 0, 500, 300};

TEST(Curves, AreThinnedWithoutLosingTheirPeaks)
{
    Plot plot;
    plot.x = {"x", 0, 1};
    plot.y = {"y", -1, 1};
    plot.curves.resize(1);
    constexpr int kPoints = 1000000, kUp = 123456, kDown = 654321;
    for (int i = 0; i < kPoints; ++i)
        plot.curves[0].points.push_back({double(i) / kPoints, i == kUp ? 1.0 : i == kDown ? -1.0 : 1e-3 * (i % 2)});
    Recorder paper;
    drawPlot(paper, kArea, plot);
    ASSERT_EQ(paper.lines.size(), 1u);
    const auto& line = paper.lines[0];
    EXPECT_LE(line.size(), 8 * paper.frame.width() + 4);
    EXPECT_TRUE(std::is_sorted(line.begin(), line.end(), [](Point a, Point b) { return a.x < b.x; }));
    const auto [top, bottom] =
        std::minmax_element(line.begin(), line.end(), [](Point a, Point b) { return a.y < b.y; });
    EXPECT_NEAR(top->y, paper.frame.top, 1e-9);
    EXPECT_NEAR(top->x, paper.frame.left + paper.frame.width() * kUp / kPoints, 1e-9);
    EXPECT_NEAR(bottom->y, paper.frame.bottom, 1e-9);
    EXPECT_NEAR(bottom->x, paper.frame.left + paper.frame.width() * kDown / kPoints, 1e-9);
}

TEST(Curves, BreakAtWhatIsNoNumberAndStayNearThePaper)
{
    const double nan = std::nan(""), inf = std::numeric_limits<double>::infinity();
    Plot plot;
    plot.x = {"x", 1, 100, true};
    plot.y = {"y", 0, 1};
    plot.curves.push_back(
        {"curve", {{0, 1}, {-1, 1}, {1, .5}, {2, .5}, {3, nan}, {4, 1e300}, {5, -1e300}, {6, inf}, {7, 1}, {inf, 1}}});
    plot.curves.push_back({"", {}});
    Recorder paper;
    drawPlot(paper, kArea, plot);
    ASSERT_EQ(paper.lines.size(), 2u);
    EXPECT_EQ(paper.lines[0].size(), 2u);
    EXPECT_EQ(paper.dots.size(), 1u); // one point between two gaps
    for (const auto& line : paper.lines)
        for (Point p : line) EXPECT_LT(std::abs(p.x) + std::abs(p.y), 3000);
    EXPECT_EQ(std::count(paper.texts.begin(), paper.texts.end(), "curve"), 1);
}

TEST(PoleZero, RootsStandWhereTheAxesSayAndEqualOnesAreCounted)
{
    const std::complex<double> one(1, 0), outside(3, 0), upper = std::polar(1.0, 0.5);
    Recorder paper;
    drawPoleZero(paper, kArea, {"", {one, one, one, upper, outside, {NAN, 0}}, {}, 0.0, 1.25});
    const Rectangle f = paper.frame;
    EXPECT_NEAR(f.width(), f.height(), 1e-9);
    ASSERT_EQ(paper.rings.size(), 2u);
    EXPECT_NEAR(paper.rings[0].x, f.left + f.width() * 0.9, 1e-9);
    EXPECT_NEAR(paper.rings[0].y, f.top + f.height() * 0.5, 1e-9);
    EXPECT_NEAR(paper.rings[1].y, f.top + f.height() * (0.5 - std::sin(0.5) / 2.5), 1e-9);
    EXPECT_EQ(std::count(paper.texts.begin(), paper.texts.end(), "3"), 1);
}

} // namespace
} // namespace tesk::analysis
