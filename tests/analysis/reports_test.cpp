// The texts against direct evaluation, the pictures against what they must show, and folders that take no file.
#include "tests/analysis/analysis_fixture.h"

#include "analysis/quality_report.h"

#include <cmath>
#include <complex>
#include <numbers>
#include <random>

namespace tesk::analysis {
namespace {

constexpr long double kPi = std::numbers::pi_v<long double>;

std::vector<double> noise(std::size_t n)
{
    std::mt19937_64 random(n);
    std::normal_distribution<double> value;
    std::vector<double> h(n);
    for (double& v : h) v = value(random) / 40;
    return h;
}

/// |sum| of the first `terms` coefficients, turned by `turns` a sample.
double direct(const std::vector<double>& h, std::size_t terms, long double turns)
{
    std::complex<long double> sum;
    for (std::size_t n = 0; n < std::min(terms, h.size()); ++n)
        sum += static_cast<long double>(h[n]) * std::polar(1.0L, -2 * kPi * turns * static_cast<long double>(n));
    return static_cast<double>(std::abs(sum));
}

/// The two complex zeros (or poles) at ±angle.
std::pair<double, double> pairAt(double radius, double angle)
{
    return {-2 * radius * std::cos(angle), radius * radius};
}

class ReportsTest : public AnalysisTest {};

TEST_F(ReportsTest, FilterTextsHoldWhatTheDefinitionsGive)
{
    struct Case {
        std::size_t taps;
        double sourceHz;
        int oversampling;
    };
    for (const Case c : {Case{4, 44100, 64}, {511, 48000, 128}, {512, 44100, 64}, {1000, 96000, 32}}) {
        const std::vector<double> h = noise(c.taps);
        const FilterView filter{h, c.sourceHz, c.oversampling};
        const auto response = lines(freqResponseText(filter));
        ASSERT_EQ(response.size(), 513u);
        EXPECT_EQ(response[0], "Freq(Hz)\tMagnitude\tResponse(dB)");
        for (int i = 0; i < 512; ++i) {
            const std::string& line = response[static_cast<std::size_t>(i) + 1];
            double hz = 0, magnitude = 0, db = 0;
            std::sscanf(line.c_str(), "%lf\t%lf\t%lf", &hz, &magnitude, &db);
            ASSERT_EQ(line, format("%.1f\t%.6f\t%.2f", hz, magnitude, db));
            const double truth = direct(h, 512, static_cast<long double>(i) / 1022);
            ASSERT_NEAR(hz, i * (c.sourceHz * c.oversampling / 2) / 511, 0.0501);
            ASSERT_NEAR(magnitude, truth, 0.501e-6);
            ASSERT_NEAR(db, 20 * std::log10(truth), 0.00501);
        }
        const auto taps = lines(firCoefficientText(h)), gains = lines(freqGainText(h));
        ASSERT_EQ(taps.size(), std::min<std::size_t>(c.taps, 512));
        for (std::size_t i = 0; i < taps.size(); ++i) ASSERT_EQ(taps[i], format("%zu %.6f", i, h[i]));
        ASSERT_EQ(gains.size(), c.taps);
        for (std::size_t k = 0; k < c.taps; ++k) {
            const double gain = std::stod(gains[k]);
            ASSERT_EQ(gains[k], format("%.8f", gain));
            ASSERT_NEAR(gain, direct(h, c.taps, static_cast<long double>(k) / c.taps), 0.6e-8);
        }
    }
    EXPECT_EQ(lines(freqResponseText({std::vector<double>{0.0}, 44100, 64})).back(), "1411200.0\t0.000000\t-560.00");
}

// The truth is the product of the distances to zeros and poles; near DC only exact arithmetic keeps up with it.
TEST_F(ReportsTest, NtfTableAgreesWithDistancesOnTheUnitCircle)
{
    for (double rate : {2822400.0, 11289600.0, 45158400.0}) {
        const auto [b1, b2] = pairAt(0.999, 0.03);
        const auto [a1, a2] = pairAt(0.8, 0.2);
        const std::vector<kernel::Sos> sections{{1, -1, 0, -0.66, 0}, {1, -2, 1, 0, 0}, {1, b1, b2, a1, a2}};
        const auto table = lines(ntfResponseText({sections, rate}));
        ASSERT_EQ(table.size(), 513u);
        double previous = 0;
        for (std::size_t i = 1; i < table.size(); ++i) {
            double hz = 0, magnitude = 0, db = 0;
            ASSERT_EQ(std::sscanf(table[i].c_str(), "%lf\t%lf\t%lf", &hz, &magnitude, &db), 3) << table[i];
            const long double exactHz = 10.0L * std::pow(rate / 20.0L, (i - 1) / 511.0L), w = 2 * kPi * exactHz / rate;
            const long double dc = 2 * std::sin(w / 2);
            const auto distance = [&](long double radius, long double angle) {
                return std::abs(std::polar(1.0L, w) - std::polar(radius, angle));
            };
            const long double truth = dc * dc * dc * distance(0.999L, 0.03L) * distance(0.999L, -0.03L) /
                                      (distance(0.66L, 0) * distance(0.8L, 0.2L) * distance(0.8L, -0.2L));
            ASSERT_NEAR(hz, static_cast<double>(exactHz), 0.00051);
            ASSERT_NEAR(magnitude / static_cast<double>(truth), 1.0, 2e-9) << hz;
            ASSERT_NEAR(db, 20 * std::log10(static_cast<double>(truth)), 0.000051);
            ASSERT_GT(hz, previous);
            previous = hz;
        }
        EXPECT_EQ(table.back().substr(0, table.back().find('\t')), format("%.3f", rate / 2));
    }
}

TEST_F(ReportsTest, ZerosAndPolesComeBackOutOfTheSections)
{
    const auto [b1, b2] = pairAt(1.0, 0.03);
    const std::vector<kernel::Sos> sections{
        {1, -1, 0, -0.66, 0}, {1, b1, b2, -1.7, 0.72}, {1, 0, 0, -0.5, 0}, {1, 0, 0, 0, 0}, {0, 2, 1, 0, 0.25}};
    const ZerosAndPoles roots = zerosAndPoles(sections);
    const auto expectRoots = [](std::vector<std::complex<double>> found,
                                const std::vector<std::complex<double>>& truth) {
        ASSERT_EQ(found.size(), truth.size());
        for (const auto& root : truth) {
            const auto near = std::min_element(found.begin(), found.end(), [&](const auto& a, const auto& b) {
                return std::abs(a - root) < std::abs(b - root);
            });
            EXPECT_LT(std::abs(*near - root), 1e-12);
            found.erase(near);
        }
    };
    expectRoots(roots.zeros, {1.0, std::polar(1.0, 0.03), std::polar(1.0, -0.03), 0.0, -0.5});
    expectRoots(roots.poles, {0.66, 0.9, 0.8, 0.5, {0, 0.5}, {0, -0.5}});
}

TEST_F(ReportsTest, FilesThatCannotBeWrittenAreWarnedOfAndNothingElseHappens)
{
    const std::vector<double> h = noise(600);
    const FilterView filter{h, 44100, 64};
    const std::vector<kernel::Sos> sections{{1, -1, 0, -0.66, 0}};
    struct Case {
        const char* folder;
        const char* prepare; // a shell command
        const char* warnings;
    };
    std::string all;
    for (const char* name : {"freq_response.txt", "FreqGain.txt", "filter_magnitude.svg", "filter_impulse.svg",
                             "ntf_response.txt", "ntf.svg", "song.report.pdf", "dsd_quality_final_report.txt"})
        all += format("Warning: cannot write %s\n", name);
    const Case cases[] = {{"missing", "true", all.c_str()},
                          {"file", "touch file", all.c_str()},
                          {"taken", "mkdir -p taken/freq_response.txt", "Warning: cannot write freq_response.txt\n"},
                          {"coeff", "mkdir -p coeff/fir_coeff.txt", "Warning: cannot write fir_coeff.txt\n"},
                          {"full", "mkdir full && ln -s /dev/full full/ntf.svg && ln -s /dev/full full/song.report.pdf",
                           "Warning: cannot write ntf.svg\nWarning: cannot write song.report.pdf\n"},
                          {"good/", "mkdir good", ""}};
    for (const Case& c : cases) {
        run(c.prepare);
        const std::string folder = at(c.folder);
        report.text.clear();
        writeDesignReports(folder, filter, report);
        writeFinalFilterReports(folder, filter, report);
        writeNtfReports(folder, {sections, filter.rate()}, report);
        QualityReport quality;
        quality.title = "song";
        const bool written = writeQualityReport(folder + "/song.dsf", quality, report);
        EXPECT_EQ(written, report.text.find(".pdf") == std::string::npos);
        EXPECT_EQ(report.text, c.warnings) << c.folder;
    }
    EXPECT_EQ(run("ls taken | wc -l; ls coeff | wc -l; ls good | wc -l; test ! -e taken/fir_coeff.txt"), "8\n9\n9\n");
    EXPECT_EQ(contents("good/FreqGain.txt"), freqGainText(h));
    run("for f in good/*.svg; do python3 -c \"import sys, xml.etree.ElementTree as e; e.parse(sys.argv[1])\" $f; done");
}

// The response of equal coefficients has a closed form: sin(Nw/2) / (N sin(w/2)).
TEST_F(ReportsTest, FilterPlotsShowTheResponse)
{
    for (std::size_t taps : {16u, 4096u}) {
        const std::vector<double> h(taps, 1.0 / static_cast<double>(taps));
        const FilterView filter{h, 44100, 64};
        for (const Plot& plot : filterMagnitudePlots(filter)) {
            const std::vector<Point>& points = plot.curves.at(0).points;
            ASSERT_GE(points.size(), 500u);
            for (std::size_t i = 1; i < points.size(); ++i) {
                const double w = std::numbers::pi * points[i].x / filter.rate(), n = static_cast<double>(taps);
                ASSERT_NEAR(std::pow(10, points[i].y / 20), std::abs(std::sin(n * w) / (n * std::sin(w))), 1e-13);
            }
            EXPECT_LE(points.front().x, plot.x.low);
            EXPECT_GE(points.back().x, plot.x.high);
            EXPECT_LT(std::abs(plot.y.place(0.0) - 0.5), 0.5);
        }
    }
}

TEST_F(ReportsTest, QualityReportHasItsPagesAndItsFacts)
{
    const std::vector<double> h = noise(700);
    const std::vector<kernel::Sos> sections{{1, -1, 0, -0.66, 0}};
    const double nan = std::nan("");
    struct Case {
        bool filter, ntf, spectrum;
        int facts;
        const char* pages; // 40 lines fit on the first page, 45 on the others
    };
    for (const Case& c : {Case{true, true, true, 5, "5"},
                          {false, false, false, 0, "1"},
                          {true, false, false, 44, "4"},
                          {false, true, true, 200, "7"}}) {
        QualityReport quality;
        quality.title = std::string(c.facts > 5 ? "A very long title that does not fit on one line of the page " : "") +
                        "of caf\xC3\xA9 (1)";
        for (int i = 0; i < c.facts; ++i)
            quality.facts.emplace_back(format("label-%d.", i),
                                       format("value-%d. ", i) + std::string(i < 3 ? 150 : 0, 'm'));
        if (c.filter) quality.filter = {h, 44100, 64};
        if (c.ntf) quality.ntf = {sections, 2822400};
        if (c.spectrum)
            quality.spectrum = {{0, -100}, {1000, -6}, {2000, nan}, {3000, -INFINITY}, {nan, 1}, {1e6, -30}};
        ASSERT_TRUE(writeQualityReport(at("song.dsf"), quality, report)) << report.text;
        const std::string information = run("pdfinfo song.report.pdf");
        EXPECT_NE(information.find(format("Pages:           %s\n", c.pages)), std::string::npos) << information;
        const std::string text = run("pdftotext -raw song.report.pdf -");
        for (int i = 0; i < c.facts; ++i)
            for (const std::string& part : {format("label-%d.", i), format("value-%d.", i)})
                EXPECT_NE(text.find(part), std::string::npos) << part;
        const std::string boxes = run("pdftotext -bbox song.report.pdf -");
        for (const auto& [edge, low, high] :
             {std::tuple("xMin=\"", 30, 595), {"yMin=\"", 30, 842}, {"xMax=\"", 0, 565}, {"yMax=\"", 0, 817}})
            for (double place : numbersAfter(boxes, edge)) {
                EXPECT_GT(place, low) << edge;
                EXPECT_LT(place, high) << edge;
            }
    }
    EXPECT_EQ(qualityReportPath("a.b/out.dsf"), "a.b/out.report.pdf");
    EXPECT_EQ(qualityReportPath("a.b/out"), "a.b/out.report.pdf");
}

} // namespace
} // namespace tesk::analysis
