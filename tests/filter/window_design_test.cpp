#include "tests/filter/filter_fixture.h"

#include <unistd.h>

namespace tesk {
namespace {

Taps designed(const FilterPlan& plan, std::string* text = nullptr)
{
    const Design d = design(designWindowFilter, plan);
    EXPECT_EQ(d.status, DSD_SUCCESS) << d.text;
    if (text) *text = d.text;
    return d.taps;
}

/// The magnitude of a filter in dB relative to DC, on a grid 32 times finer than its taps.
class Response {
public:
    Response(const FilterPlan& plan, const Taps& taps)
    {
        const auto bins = responses(taps, 32);
        step_ = plan.designRate() / static_cast<double>(bins.size());
        for (std::size_t k = 0; k <= bins.size() / 2; ++k) db_.push_back(decibels(bins[k]));
    }
    double at(double hz) const { return db_[static_cast<std::size_t>(hz / step_ + 0.5)] - db_[0]; }
    double dcDb() const { return db_[0]; }
    /// The largest value within [lowHz, highHz] and where it stands.
    std::pair<double, double> peak(double lowHz, double highHz) const
    {
        auto best = static_cast<std::size_t>(lowHz / step_);
        for (std::size_t k = best; k < db_.size() && static_cast<double>(k) * step_ <= highHz; ++k)
            if (db_[k] > db_[best]) best = k;
        return {db_[best] - db_[0], static_cast<double>(best) * step_};
    }

private:
    double step_;
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
    r.filterType = filterSlowRollOff;
    r.oversampling = 8;
    r.taps = 600;
    r.windowType = windowNone;
    r.predistortion = true;
    r.eqBands = {{5000, -6.0, 2000}, {60000, 3.0, 9000}};
    const FilterPlan plan = settled(r);
    const auto taps = designed(plan);
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

// The figures of the six windows at 44.1 kHz and ratio 64, from the formulas by a direct sum in another language, and
// of the tapers. At 24 kHz four of the windows are still falling, so for them it is the value at the edge.
TEST(WindowDesign, EachWindowAndTaperKeepsItsPassbandAndStopband)
{
    const Taps kaiser = designed(settled(cdRequest()));
    for (const auto& [window, mode, stopbandDb] : {std::tuple{windowKaiser, 0, -85.84},
                                                   {windowBlackman, 0, -97.78},
                                                   {windowFlatTop, 0, -114.23},
                                                   {windowBartlett, 0, -35.34},
                                                   {windowHamming, 0, -81.22},
                                                   {windowHanning, 0, -79.80},
                                                   {windowKaiser, 1, -84.2},
                                                   {windowKaiser, 2, -75.9},
                                                   {windowKaiser, 3, -61.8}}) {
        SCOPED_TRACE(format("window %d, mode %d", int(window), mode));
        FilterRequest r = cdRequest();
        r.windowType = window;
        r.apodizingMode = mode;
        const FilterPlan plan = settled(r);
        const Taps taps = designed(plan);
        const Response response(plan, taps);
        EXPECT_NEAR(response.peak(24000, plan.designRate() / 2).first, stopbandDb, 0.1);
        if (mode == 0) {
            const bool triangle = window == windowBartlett;
            EXPECT_NEAR(response.dcDb(), triangle ? -0.0276 : 0.0, 0.001);
            EXPECT_NEAR(response.at(20000) + response.dcDb(), triangle ? -0.1552 : 0.0, 0.001);
        } else {
            EXPECT_EQ(taps[0], kaiser[0]) << "the taper begins with factor 1";
            EXPECT_EQ(taps[4096], kaiser[4096]);
        }
    }
}

TEST(WindowDesign, PredistortionLiftsTheBandEdge)
{
    FilterRequest r = cdRequest();
    r.predistortion = true;
    const FilterPlan plan = settled(r);
    std::string text;
    const Response response(plan, designed(plan, &text));
    const auto [db, hz] = response.peak(20000, 24000);
    EXPECT_NEAR(db, 1.90, 0.01);
    EXPECT_NEAR(hz, 21660, 30);
    EXPECT_NEAR(response.at(22050), -1.2, 0.05);
    EXPECT_EQ(text, "Report              \tUse PreDistortion\nReport              \tDo Kaiser window\n"
                    "Beta:               \t6.000000\n");
    designed(settled(cdRequest()), &text);
    EXPECT_EQ(text.find("Report              \tUnused PreDistortion\n"), 0u);
}

// What the warning advises does what was asked for.
TEST(WindowDesign, BandsThatTheTapsCannotShowAreToldOf)
{
    FilterRequest r = cdRequest();
    r.eqBands = {{1000, 6.0, 500}};
    for (const auto& [taps, warned] : {std::pair(8192, true), {32768, false}}) {
        r.taps = taps;
        const FilterPlan plan = settled(r);
        std::string text;
        const double db = Response(plan, designed(plan, &text)).at(1000);
        EXPECT_EQ(text.find("-t 32768 would show it") != std::string::npos, warned) << text;
        EXPECT_EQ(db < 5, warned) << db;
    }
}

TEST(WindowDesign, RefusesInvertedCutoffsAndHearsTheHost)
{
    FilterRequest r = cdRequest();
    r.sampleRate = r.sourceRate = 192000;
    r.oversampling = 16;
    r.highBandwidth = true;
    r.deltaF = 5000.0; // given, so nothing repairs the stopband of 24 kHz
    const Design inverted = design(designWindowFilter, settled(r));
    EXPECT_EQ(inverted.status, DSD_ERROR_ASSERT);
    EXPECT_EQ(inverted.text, "Error : Error: stopband_cutoff [24000] must be > passband_cutoff [96000]\n");

    std::atomic<std::uint8_t> requested{1};
    CollectingReporter reporter;
    StopFlag host(requested);
    EXPECT_EQ(designWindowFilter(settled(cdRequest()), reporter, host).status(), kHostStopped);
    EXPECT_TRUE(host.take()) << "the request belongs to the caller";

    EXPECT_TRUE(designed(FilterPlan{}).empty());
}

// Run by the next test in processes of their own, for the number of workers is settled once per process.
TEST(WindowDesign, DISABLED_PrintHash)
{
    FilterRequest r = cdRequest();
    r.oversampling = 1024;
    r.predistortion = true;
    r.taps = 1 << 17;
    std::printf("hash %016llx", static_cast<unsigned long long>(hashOf(designed(settled(r)))));
    r.taps = 100002; // no power of two
    std::printf("%016llx\n", static_cast<unsigned long long>(hashOf(designed(settled(r)))));
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

} // namespace tesk
