#include "filter/window_design.h"

#include "filter/fft.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <numbers>
#include <unistd.h>

using tesk::FilterPlan;
using tesk::FilterRequest;

namespace {

std::atomic<std::uint8_t> neverStopped{0};

FilterRequest cdRequest()
{
    FilterRequest r;
    r.bitDepth = 16;
    r.predistortion = false;
    return r;
}

FilterPlan settle(const FilterRequest& r)
{
    tesk::CollectingReporter reporter;
    return *tesk::settleFilter(r, reporter);
}

std::vector<double> design(const FilterPlan& plan, std::string* text = nullptr)
{
    tesk::CollectingReporter reporter;
    tesk::StopFlag stop(neverStopped);
    auto taps = tesk::designWindowFilter(plan, reporter, stop);
    EXPECT_TRUE(taps.ok()) << reporter.text;
    if (text) *text = reporter.text;
    return *taps;
}

/// The magnitude of a filter in dB relative to DC, on a grid 32 times finer than its taps.
class Response {
public:
    Response(const FilterPlan& plan, const std::vector<double>& taps)
        : step_(plan.designRate() / static_cast<double>(std::bit_ceil(32 * taps.size())))
    {
        std::vector<std::complex<double>> x(std::bit_ceil(32 * taps.size()));
        std::copy(taps.begin(), taps.end(), x.begin());
        tesk::FftPlan(x.size()).forward(x.data());
        for (std::size_t k = 0; k <= x.size() / 2; ++k) db_.push_back(20 * std::log10(std::abs(x[k]) + 1e-30));
        dc_ = db_[0];
    }
    double at(double hz) const { return db_[static_cast<std::size_t>(hz / step_ + 0.5)] - dc_; }
    double dcDb() const { return dc_; }
    /// The largest value within [lowHz, highHz] and where it stands.
    std::pair<double, double> peak(double lowHz, double highHz) const
    {
        auto best = static_cast<std::size_t>(lowHz / step_);
        for (std::size_t k = best; k < db_.size() && static_cast<double>(k) * step_ <= highHz; ++k)
            if (db_[k] > db_[best]) best = k;
        return {db_[best] - dc_, static_cast<double>(best) * step_};
    }

private:
    double step_, dc_ = 0.0;
    std::vector<double> db_;
};

std::uint64_t hashOf(const std::vector<double>& values)
{
    std::uint64_t hash = 14695981039346656037u;
    for (double v : values) hash = (hash ^ std::bit_cast<std::uint64_t>(v)) * 1099511628211u;
    return hash;
}

} // namespace

// The definition as a direct sum of cosines, for a small filter without a window: the grid, the slope, the
// predistortion, a band, the mirror, the scale and the shift, all at once.
TEST(WindowDesign, EqualsTheDirectSum)
{
    FilterRequest r = cdRequest();
    r.filterType = tesk::filterSlowRollOff;
    r.oversampling = 8;
    r.taps = 600;
    r.windowType = tesk::windowNone;
    r.predistortion = true;
    r.eqBands = {{5000, -6.0, 2000}, {60000, 3.0, 9000}};
    const FilterPlan plan = settle(r);
    const auto taps = design(plan);
    ASSERT_EQ(taps.size(), 600u);

    constexpr int n = 600;
    constexpr double rate = 8 * 44100.0, pass = 14553.0, stop = 33075.0;
    std::vector<double> h(n / 2);
    for (int k = 0; k < n / 2; ++k) {
        const double f = (k + 1) * rate / (n + 1), g = (k + 1) * rate / n;
        h[k] = f < pass   ? 1.0
               : f < stop ? 0.5 + 0.5 * std::cos(M_PI * (f - pass) / (stop - pass))
                          : std::pow(10, -plan.alpha / 20);
        if (g >= pass && g < stop) h[k] *= 2.0; // on the moving average's zeros: always the limit
        const double a = (g - 5000.0) / 1000.0, b = (g - 60000.0) / 4500.0;
        h[k] = std::max(0.0, h[k] + (std::pow(10, -6.0 / 20) - 1) * std::pow(2.0, -a * a));
        h[k] = std::max(0.0, h[k] + (std::pow(10, 3.0 / 20) - 1) * std::pow(2.0, -b * b));
    }
    for (int i = 0; i < n; ++i) {
        double sum = 0.0;
        for (int k = 0; k < n; ++k)
            sum += h[k < n / 2 ? k : n - 1 - k] * std::cos(2 * M_PI * (k * ((i + n / 2) % n) % n) / n);
        EXPECT_NEAR(taps[i], sum / n, 1e-14) << i;
    }
}

TEST(WindowDesign, TheImpulseStandsAtHalfTheTaps)
{
    FilterRequest r = cdRequest();
    r.windowType = tesk::windowNone;
    const auto taps = design(settle(r));
    const std::size_t n = taps.size();
    EXPECT_EQ(std::max_element(taps.begin(), taps.end()) - taps.begin(), static_cast<std::ptrdiff_t>(n / 2));
    EXPECT_NEAR(taps[0], 0.0, 1e-17);
    for (std::size_t k = 1; k < n; ++k) EXPECT_NEAR(taps[k], taps[n - k], 1e-16) << k;
}

// The figures of the six windows at 44.1 kHz and ratio 64, from the formulas by a direct sum in another language. At
// 24 kHz four of the windows are still falling, so for them it is the value at the edge.
TEST(WindowDesign, EachWindowKeepsItsPassbandAndStopband)
{
    const std::map<int, double> stopbandDb{{tesk::windowKaiser, -85.84},   {tesk::windowBlackman, -97.78},
                                           {tesk::windowFlatTop, -114.23}, {tesk::windowBartlett, -35.34},
                                           {tesk::windowHamming, -81.22},  {tesk::windowHanning, -79.80}};
    for (const auto& [window, expected] : stopbandDb) {
        FilterRequest r = cdRequest();
        r.windowType = window;
        const FilterPlan plan = settle(r);
        const Response response(plan, design(plan));
        const bool triangle = window == tesk::windowBartlett;
        EXPECT_NEAR(response.peak(24000, plan.designRate() / 2).first, expected, 0.1) << window;
        EXPECT_NEAR(response.dcDb(), triangle ? -0.0276 : 0.0, 0.001) << window;
        EXPECT_NEAR(response.at(20000) + response.dcDb(), triangle ? -0.1552 : 0.0, 0.001) << window;
    }
}

TEST(WindowDesign, ApodizingCostsStopbandByItsMode)
{
    for (const auto& [mode, expected] : std::map<int, double>{{1, -84.2}, {2, -75.9}, {3, -61.8}}) {
        FilterRequest r = cdRequest();
        r.apodizingMode = mode;
        const FilterPlan plan = settle(r);
        const auto tapered = design(plan);
        EXPECT_NEAR(Response(plan, tapered).peak(24000, plan.designRate() / 2).first, expected, 0.1) << mode;
        r.apodizingMode = 0;
        const auto plain = design(settle(r));
        EXPECT_EQ(tapered[0], plain[0]) << "the taper begins with factor 1";
        EXPECT_EQ(tapered[4096], plain[4096]);
    }
}

TEST(WindowDesign, PredistortionLiftsTheBandEdge)
{
    FilterRequest r = cdRequest();
    r.predistortion = true;
    const FilterPlan plan = settle(r);
    std::string text;
    const Response response(plan, design(plan, &text));
    const auto [db, hz] = response.peak(20000, 24000);
    EXPECT_NEAR(db, 1.90, 0.01);
    EXPECT_NEAR(hz, 21660, 30);
    EXPECT_NEAR(response.at(22050), -1.2, 0.05);
    EXPECT_EQ(text, "Report              \tUse PreDistortion\nReport              \tDo Kaiser window\n"
                    "Beta:               \t6.000000\n");
}

TEST(WindowDesign, EqualiserBandsShapeThePassband)
{
    FilterRequest r = cdRequest();
    r.eqBands = {{8000, 4.0, 4000}};
    const FilterPlan plan = settle(r);
    std::string text;
    const Response response(plan, design(plan, &text));
    // The mirror puts bin k at (k + 1/2)·R/N, the bands count from (k + 1)·R/N: they land half a step low.
    const double low = plan.designRate() / plan.taps / 2;
    EXPECT_NEAR(response.at(8000 - low), 4.0, 0.1); // the window rounds the top
    EXPECT_NEAR(response.at(10000 - low), 20 * std::log10(1 + (std::pow(10, 0.2) - 1) / 2), 0.05); // half the height
    EXPECT_NEAR(response.at(18000), 0.0, 0.01);
    EXPECT_EQ(text.find("Report              \tUnused PreDistortion\n"), 0u);
}

TEST(WindowDesign, RefusesInvertedCutoffsAndHearsTheHost)
{
    FilterRequest r = cdRequest();
    r.sampleRate = r.sourceRate = 192000;
    r.oversampling = 16;
    r.highBandwidth = true;
    r.deltaF = 5000.0; // given, so nothing repairs the stopband of 24 kHz
    tesk::CollectingReporter reporter;
    tesk::StopFlag stop(neverStopped);
    EXPECT_EQ(tesk::designWindowFilter(settle(r), reporter, stop).status(), DSD_ERROR_ASSERT);
    EXPECT_EQ(reporter.text, "Error : Error: stopband_cutoff [24000] must be > passband_cutoff [96000]\n");

    std::atomic<std::uint8_t> requested{1};
    tesk::StopFlag host(requested);
    EXPECT_EQ(tesk::designWindowFilter(settle(cdRequest()), reporter, host).status(), kHostStopped);
    EXPECT_TRUE(host.take()) << "the request belongs to the caller";

    FilterPlan nothing;
    EXPECT_TRUE((*tesk::designWindowFilter(nothing, reporter, stop)).empty());
}

// Run by the next test in processes of their own, for the number of workers is settled once per process.
TEST(WindowDesign, DISABLED_PrintHash)
{
    FilterRequest r = cdRequest();
    r.oversampling = 1024;
    r.predistortion = true;
    r.taps = 1 << 17;
    std::printf("hash %016llx", static_cast<unsigned long long>(hashOf(design(settle(r)))));
    r.taps = 100002; // no power of two
    std::printf("%016llx\n", static_cast<unsigned long long>(hashOf(design(settle(r)))));
}

TEST(WindowDesign, AnyNumberOfThreadsGivesTheSameBits)
{
    char self[4096];
    const ssize_t length = ::readlink("/proc/self/exe", self, sizeof self);
    if (length <= 0) GTEST_SKIP() << "the program cannot find itself";
    const auto hashWith = [&](const std::string& threads) {
        const std::string command = "PCM2PDM_THREADS=" + threads + " OMP_NUM_THREADS=" + threads + " '" +
                                    std::string(self, static_cast<std::size_t>(length)) +
                                    "' --gtest_also_run_disabled_tests --gtest_filter='*DISABLED_PrintHash'";
        std::FILE* pipe = ::popen(command.c_str(), "r");
        std::string text;
        for (int c; (c = std::fgetc(pipe)) != EOF;) text += static_cast<char>(c);
        ::pclose(pipe);
        const auto at = text.find("hash ");
        return at == std::string::npos ? text : text.substr(at, 37);
    };
    const std::string alone = hashWith("1");
    ASSERT_EQ(alone.find("hash "), 0u) << alone;
    for (const char* threads : {"2", "3", "7"}) EXPECT_EQ(hashWith(threads), alone) << threads;
}
