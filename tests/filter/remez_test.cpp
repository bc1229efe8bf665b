// The exchange against the theorem that tells the optimum, a filter known in closed form, and an outside exchange.
#include "filter/remez.h"

#include "filter/prototype_design.h"
#include "tests/filter/filter_fixture.h"

namespace tesk {
namespace {

struct Task {
    const char* name;
    int taps, type, density;
    std::vector<double> edges, desired, weights;
    int iterations = 200;
};

Design solve(const Task& t, bool stopped = false)
{
    CollectingReporter report;
    std::atomic<std::uint8_t> flag{stopped};
    StopFlag stop(flag);
    Taps h(static_cast<std::size_t>(std::max(0, t.taps)), 7.0);
    const auto status =
        remezExchange(t.taps, h.data(), static_cast<int>(t.weights.size()), t.edges.data(), t.desired.data(),
                      t.weights.data(), t.type, t.density, t.iterations, report, stop);
    return {status, report.text, h};
}

/// The real response A(f) behind H(f), f a fraction of the rate.
double amplitude(std::complex<double> h, double f, std::size_t taps, int type)
{
    h *= std::polar(1.0, M_PI * f * static_cast<double>(taps - 1));
    return type == remezBandPass ? h.real() : type == remezHilbert ? -h.imag() : h.imag();
}

double amplitudeAt(const Taps& h, double f, int type = remezBandPass)
{
    return amplitude(responseAt(h, f), f, h.size(), type);
}

/// The weighted errors of all bands in ascending frequency.
std::vector<double> weightedErrors(const Task& t, const std::vector<double>& h)
{
    const auto bins = responses(h, 128);
    const double step = 1.0 / static_cast<double>(bins.size());
    std::vector<double> errors;
    for (std::size_t b = 0; b < t.weights.size(); ++b) {
        const double low = t.edges[2 * b], high = t.edges[2 * b + 1];
        const auto add = [&](double f, double a) {
            const double wanted = std::lerp(t.desired[2 * b], t.desired[2 * b + 1], (f - low) / (high - low));
            errors.push_back(t.weights[b] * (wanted - a) / (t.type == remezDifferentiator && f > 0.0 ? f : 1.0));
        };
        add(low, amplitudeAt(h, low, t.type));
        for (auto k = static_cast<std::size_t>(low / step) + 1; static_cast<double>(k) * step < high; ++k)
            add(static_cast<double>(k) * step, amplitude(bins[k], static_cast<double>(k) * step, h.size(), t.type));
        add(high, amplitudeAt(h, high, t.type));
    }
    return errors;
}

Task oversampler(int taps, int density, double alpha)
{
    const double rate = 64 * 44100.0;
    return {"oversampler",
            taps,
            remezBandPass,
            density,
            {0, 22050 / rate, 26146 / rate, 0.5},
            {1, 1, 0, 0},
            {100.0, std::pow(10.0, alpha / 20)}};
}

FilterPlan planFor(int taps, double alpha, int density)
{
    FilterRequest r;
    r.bitDepth = 16;
    r.remez = true;
    r.taps = taps;
    r.stopGainAlpha = alpha;
    r.gridDensity = density;
    return settled(r);
}

} // namespace

// r + 1 errors of alternating sign and at least m prove that no filter of this size stays below m everywhere (de la
// Vallée Poussin). So the result is within the tolerance of the optimum, whatever way it was found.
TEST(Remez, TheErrorAlternatesOftenEnoughToBeTheOptimum)
{
    for (const Task& t :
         {Task{"even", 64, remezBandPass, 64, {0, 0.1, 0.15, 0.5}, {1, 1, 0, 0}, {1, 10}},
          Task{"odd", 63, remezBandPass, 64, {0, 0.1, 0.15, 0.5}, {1, 1, 0, 0}, {1, 10}},
          Task{"three bands", 75, remezBandPass, 32, {0, 0.1, 0.15, 0.3, 0.35, 0.5}, {0, 0, 1, 0.5, 0, 0}, {20, 1, 3}},
          Task{"high-pass", 41, remezBandPass, 64, {0, 0.2, 0.25, 0.5}, {0, 0, 1, 1}, {1, 1}},
          Task{"shortest", 3, remezBandPass, 64, {0, 0.1, 0.3, 0.5}, {1, 1, 0, 0}, {1, 1}},
          Task{"odd Hilbert", 31, remezHilbert, 64, {0.05, 0.45}, {1, 1}, {1}},
          Task{"even Hilbert", 32, remezHilbert, 64, {0.05, 0.5}, {1, 1}, {1}},
          Task{"odd differentiator", 31, remezDifferentiator, 64, {0, 0.4}, {0, 0.8 * M_PI}, {1}},
          Task{"even differentiator", 32, remezDifferentiator, 64, {0, 0.5}, {0, M_PI}, {50}},
          Task{"long odd Hilbert", 1031, remezHilbert, 16, {0.002, 0.498}, {1, 1}, {1}}, oversampler(512, 128, 172),
          oversampler(1024, 64, 180), oversampler(2048, 64, 172), oversampler(2047, 65, 100)}) {
        SCOPED_TRACE(std::string(t.name) + " " + std::to_string(t.taps));
        const Design result = solve(t);
        ASSERT_EQ(result.status, DSD_SUCCESS) << result.text;
        const double sign = t.type == remezBandPass ? 1.0 : -1.0;
        for (std::size_t n = 0; n < result.taps.size(); ++n)
            ASSERT_EQ(result.taps[n], sign * result.taps[result.taps.size() - 1 - n]) << n;

        const std::vector<double> errors = weightedErrors(t, result.taps);
        double largest = 0.0, last = 0.0;
        for (const double e : errors) largest = std::max(largest, std::abs(e));
        int alternations = 0;
        for (const double e : errors) {
            if (std::abs(e) < 0.99 * largest || e * last > 0.0) continue;
            last = e;
            ++alternations;
        }
        const int cosines = t.type == remezBandPass ? (t.taps + 1) / 2 : t.taps / 2;
        EXPECT_GE(alternations, cosines + 1) << "largest " << largest;
    }
}

// With a passband that is nearly a point the optimum is the Dolph-Chebyshev window, T(x0·cos πf) with x0·cos πfs = 1.
TEST(Remez, ReachesTheClosedFormOfDolphAndChebyshev)
{
    for (const int taps : {20, 21, 90}) {
        const double stopband = 2.0 / taps;
        const Task t{"point", taps, remezBandPass, 128, {0, 1e-7, stopband, 0.5}, {1, 1, 0, 0}, {1e8, 1e3}};
        const Design result = solve(t);
        ASSERT_EQ(result.status, DSD_SUCCESS) << taps;
        const double expected = 1.0 / std::cosh((taps - 1) * std::acosh(1.0 / std::cos(M_PI * stopband)));
        EXPECT_NEAR(amplitudeAt(result.taps, stopband) / amplitudeAt(result.taps, 0.0) / expected, 1.0, 2e-3) << taps;
    }
}

TEST(Remez, RefusesImpossibleArgumentsInTheirOrder)
{
    const Task good{"", 32, remezBandPass, 16, {0, 0.1, 0.2, 0.5}, {1, 1, 0, 0}, {1, 1}};
    const auto with = [&](auto change) {
        Task t = good;
        change(t);
        return t;
    };
    const std::string edges = "Remez error: band %d edges [%f, %f] out of range [0, 0.5]\n";
    const std::vector<std::pair<Task, std::string>> refused{
        {with([](Task& t) { t.taps = 2, t.density = 0, t.weights.clear(); }),
         "Remez error: N (taps) must be >= 3 (got %d)\n"},
        {with([](Task& t) { t.weights.clear(), t.density = 0; }), "Remez error: numband must be >= 1 (got %d)\n"},
        {with([](Task& t) { t.density = 0, t.iterations = 0; }), "Remez error: griddensity must be >= 1 (got %d)\n"},
        {with([](Task& t) { t.iterations = 0, t.type = 9; }), "Remez error: maxiterations must be >= 1 (got %d)\n"},
        {with([](Task& t) { t.desired = {}, t.type = 9; }), "Remez error: NULL pointer argument\n"},
        {with([](Task& t) { t.edges[3] = 0.51, t.type = 9; }), edges},
        {with([](Task& t) { t.edges[0] = -0.01; }), edges},
        {with([](Task& t) { t.edges[1] = 0.0; }), edges},
        {with([](Task& t) { t.edges[1] = NAN; }), edges},
        {with([](Task& t) { t.edges[2] = 0.1; }), // two values wanted at one frequency
         "Remez error: a band begins before the one below it ends\n"},
        {with([](Task& t) { t.type = 3; }), "Remez error: unknown filter type %d\n"},
        {with([](Task& t) { t.type = -1; }), "Remez error: unknown filter type %d\n"}};
    for (const auto& [task, text] : refused) {
        const Design result = solve(task);
        EXPECT_EQ(result.status, PDM_REMEZ_INVALID_PARAM) << text;
        EXPECT_EQ(result.text, text);
        for (const double tap : result.taps) EXPECT_EQ(tap, 7.0);
    }
    EXPECT_EQ(solve(good).status, DSD_SUCCESS);
}

TEST(Remez, SaysWhyItGaveUpAndWritesNothing)
{
    const Task hopeless{"", 512, remezBandPass, 16, {0, 0.25, 0.3, 0.5}, {1, 1, 0, 0}, {100, 4e8}};
    Task once = oversampler(512, 16, 172);
    once.iterations = 1;
    const Task narrow{"", 64, remezBandPass, 1, {0.1, 0.10001}, {1, 1}, {1}};
    const Task weightless{"", 64, remezBandPass, 16, {0, 0.1, 0.2, 0.5}, {1, 1, 0, 0}, {NAN, 0}};
    const std::vector<std::pair<Task, PDM_ENCODING_STATUS>> failing{{once, PDM_REMEZ_NOT_CONVERGED},
                                                                    {narrow, PDM_REMEZ_TOO_FEW_EXTREMALS},
                                                                    {weightless, PDM_REMEZ_TOO_FEW_EXTREMALS},
                                                                    {hopeless, PDM_REMEZ_TOO_MANY_EXTREMALS}};
    for (const auto& [task, status] : failing) {
        const Design result = solve(task);
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.text,
                  status == PDM_REMEZ_NOT_CONVERGED ? "Remez error: not converged within %d iterations\n" : "");
        for (const double tap : result.taps) ASSERT_EQ(tap, 7.0);
    }
    EXPECT_EQ(solve(oversampler(1024, 16, 172), true).status, kHostStopped);
}

// Figures of an exchange written elsewhere, for the default weights: the passband is given away.
TEST(RemezDesign, MeetsTheFiguresOfAnotherExchange)
{
    const Design d = design(designPrototype, planFor(512, 172, 64));
    ASSERT_EQ(d.status, DSD_SUCCESS) << d.text;
    for (const auto& [hz, db] : {std::pair{10000.0, -9.8}, {15000.0, -23.4}, {20000.0, -46.0}})
        EXPECT_NEAR(20 * std::log10(amplitudeAt(d.taps, hz / (64 * 44100.0))), db, 0.2) << hz;
    EXPECT_EQ(d.text, "Report              \tDo Parks-McClellan algorithm of Tesk\n"
                      "Report              \tMaxiterations = 200\n"
                      "Report              \tGriddensity = 64\n"
                      "Report              \tApplying PreDistortion to FIR coefficients\n"
                      "Report              \tNormalized DC gain = 1.000000, optimum near to 1.0\n"
                      "Report              \tRemez achieved stopband: -123.2 dB (design target 172 dB)\n"
                      "Report              \tRemez status : 0\n");
    const std::vector<double> longer = design(designPrototype, planFor(2048, 172, 16)).taps;
    EXPECT_NEAR(std::accumulate(longer.begin(), longer.end(), 0.0), 0.159, 0.001);
}

TEST(RemezDesign, KeepsTheHeadroomAndTheTargetsLimit)
{
    FilterPlan plan = planFor(600, 250, 16); // 600 taps are no multiple of the 64 phases
    plan.predistortion = false;
    plan.minimumPhase = true; // not on this path
    const Design d = design(designPrototype, plan);
    ASSERT_EQ(d.status, DSD_SUCCESS) << d.text;
    EXPECT_EQ(d.taps.size(), 600u);
    EXPECT_NE(d.text.find("PreDistortion not used\n"), std::string::npos);
    EXPECT_NE(d.text.find("(design target 180 dB)\n"), std::string::npos);
    EXPECT_EQ(d.text.find("MinMumPhase"), std::string::npos);
    EXPECT_EQ(d.text.find("window"), std::string::npos);
    double magnitudes = 0.0, sum = 0.0;
    for (const double tap : d.taps) magnitudes += std::abs(tap), sum += tap;
    EXPECT_NEAR(magnitudes, 1.0, 1e-12);
    EXPECT_LE(sum, 1.0 + 1e-12);
}

TEST(RemezDesign, EndsWithTheStatusOfTheStepThatFailed)
{
    FilterPlan plan = planFor(512, 172, 16);
    plan.maxIterations = 1;
    Design d = design(designPrototype, plan);
    EXPECT_EQ(d.status, PDM_REMEZ_NOT_CONVERGED);
    EXPECT_NE(d.text.find("Remez error: not converged within %d iterations\nReport              \tPreDistortion not "
                          "used\nReport              \tRemez status : -21\n"),
              std::string::npos)
        << d.text;
    EXPECT_EQ(design(designPrototype, plan, true).status, kHostStopped);
    std::swap(plan.passbandCutoff, plan.stopbandCutoff);
    d = design(designPrototype, plan);
    EXPECT_EQ(d.status, DSD_ERROR_ASSERT);
    EXPECT_TRUE(d.text.ends_with("Griddensity = 16\nError : Check bands_remez\n")) << d.text;
    plan.sampleRate = 0;
    EXPECT_EQ(design(designPrototype, plan).status, DSD_SUCCESS) << "nothing to design";
}

} // namespace tesk
