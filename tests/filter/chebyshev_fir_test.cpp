#include "filter/chebyshev_file.h"
#include "filter/chebyshev_report.h"
#include "platform/files.h"
#include "tests/filter/filter_fixture.h"

#include <fstream>

namespace tesk {
namespace {

/// f at the points of n taps.
template <class F>
Taps sample(std::size_t n, F f)
{
    Taps taps;
    for (std::size_t i = 0; i < n; ++i) taps.push_back(f((2.0 * double(i) - double(n - 1)) / double(n - 1)));
    return taps;
}

const FilterPlan kPlan = settled({});
/// The default filter at 44.1 kHz and ratio 64: 8192 taps.
const Taps kTaps = design(designWindowFilter, kPlan).taps;

ChebyshevFitter fitterOf(const Taps& taps) { return *ChebyshevFitter::create(taps, kMostPolyDegree); }

double deviationDb(const Taps& taps, const ChebyshevFir& fir)
{
    return 20 * std::log10(chebyshevDeviation(taps, evaluateChebyshev(fir)));
}

const DesignFingerprint kDesign{20, 352800.0, 0x1234, 0x5678};

ChebyshevFir smallFir(bool symmetric)
{
    ChebyshevFir fir{.taps = 20, .degree = 7, .symmetric = symmetric, .coefficients = {1.0 / 3, -1e-300, 5e-324, M_PI}};
    if (!symmetric) fir.coefficients.insert(fir.coefficients.end(), {-0.0, 1e300, -2.0 / 7, 0.1});
    return fir;
}

} // namespace

// Random polynomials by cos(k·acos x): the fit of their degree, and of a higher one, finds their coefficients; odd and
// even counts of taps, shapes without a mirror, and mirrored ones from even coefficients alone.
TEST(ChebyshevFir, FindsThePolynomialsAgain)
{
    std::mt19937 random(1);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    for (const auto& [n, degree] : {std::pair{5, 4}, {16, 5}, {17, 4}, {512, 20}, {513, 31}, {8192, 128}, {8191, 127}})
        for (bool symmetric : {false, true}) {
            Taps c(std::size_t(degree) + 1);
            for (std::size_t k = 0; k < c.size(); k += symmetric ? 2 : 1) c[k] = value(random);
            Taps taps = sample(std::size_t(n), [&](double x) {
                double sum = 0.0;
                for (std::size_t k = 0; k < c.size(); ++k) sum += c[k] * std::cos(double(k) * std::acos(x));
                return sum;
            });
            for (std::size_t i = 0; symmetric && i < taps.size() / 2; ++i) taps[i] = taps[taps.size() - 1 - i];
            for (int more : {0, std::min(3, n - 1 - degree)}) {
                const ChebyshevFir fir = fitterOf(taps).fit(degree + more);
                ASSERT_EQ(fir.symmetric, symmetric);
                ASSERT_EQ(fir.coefficients.size(), 1u + unsigned(degree + more) / (symmetric ? 2 : 1));
                for (std::size_t k = 0; k < fir.coefficients.size(); ++k) {
                    const std::size_t at = symmetric ? 2 * k : k;
                    EXPECT_NEAR(fir.coefficients[k], at < c.size() ? c[at] : 0.0, 1e-10) << n << ' ' << at;
                }
                const Taps fitted = evaluateChebyshev(fir);
                for (std::size_t i = 0; i < taps.size(); ++i) {
                    ASSERT_NEAR(fitted[i], taps[i], 1e-11) << n << ' ' << i;
                    ASSERT_TRUE(!symmetric || fitted[i] == fitted[taps.size() - 1 - i]);
                }
            }
        }
}

// A degree below the phase of the band's edge at the last tap, π·(N − 1)·cutoff/R = 201, cannot follow the sine there;
// from the window's slope beyond it (743 Hz) on the series falls faster than any power. Σ|Δh| bounds every frequency.
TEST(ChebyshevFir, FollowsARealDesignOnceTheDegreeExceedsItsOscillation)
{
    const ChebyshevFitter fitter = fitterOf(kTaps);
    EXPECT_FALSE(isUsable(chebyshevDeviation(kTaps, evaluateChebyshev(fitter.fit(200)))));
    int before = 201;
    for (double target : {kUsableDb, -100.0, kAutoTargetDb}) {
        const DegreeSearch found = searchDegree(fitter, kLeastAutoDegree, target);
        ASSERT_TRUE(found.reached);
        EXPECT_LT(deviationDb(kTaps, found.fir), target);
        EXPECT_GE(deviationDb(kTaps, fitter.fit(found.fir.degree - 1)), target);
        EXPECT_GT(found.fir.degree, before);
        EXPECT_LT(found.fir.degree, 201 + 50);
        before = found.fir.degree;
        const Taps fitted = evaluateChebyshev(found.fir);
        const double boundDb = compareChebyshev(kTaps, fitted, found.fir, kPlan).boundDb;
        double largest = 0.0;
        for (double f = 0.0; f < 0.01; f += 0.00013)
            largest = std::max(largest, std::abs(responseAt(fitted, f) - responseAt(kTaps, f)));
        EXPECT_LE(20 * std::log10(largest), boundDb);
        EXPECT_GT(20 * std::log10(largest), boundDb - 30);
    }
    for (int degree : {320, 512, 1024}) EXPECT_LT(deviationDb(kTaps, fitter.fit(degree)), -180.0) << degree;
}

// Few taps and degrees far beyond 2·√N = 45: nothing grows, with all of the energy at one end. At 128 the refinement
// still has to reach what the ridge took.
TEST(ChebyshevFir, StaysBoundedWhereTheTapsDoNotResolveTheDegree)
{
    const Taps decay = sample(512, [](double x) { return std::exp(-8 * x) * std::sin(50 * (x + 1)); });
    for (int degree : {128, 200, 256, 400, 511, 1024}) {
        const ChebyshevFir fir = fitterOf(decay).fit(degree);
        EXPECT_EQ(fir.degree, std::min(degree, 511));
        EXPECT_LT(deviationDb(decay, fir), degree == 128 ? -240.0 : -120.0) << degree;
        for (double c : fir.coefficients) ASSERT_LT(std::abs(c), 1e4);
    }
}

TEST(ChebyshevFir, RefusesWhatCannotBeFitted)
{
    const Taps good(512, 1.0);
    for (int degree : {-1, 3, 1025}) EXPECT_EQ(ChebyshevFitter::create(good, degree).status(), DSD_ERROR_ASSERT);
    Taps bad = good;
    for (double value : {std::nan(""), HUGE_VAL}) {
        bad[300] = value;
        EXPECT_EQ(ChebyshevFitter::create(bad, 128).status(), DSD_ERROR_ASSERT);
    }
    EXPECT_EQ(ChebyshevFitter::create(Taps(4, 1.0), 4).status(), DSD_ERROR_ASSERT);
    Taps almost = good;
    almost[255] = 2.0;
    EXPECT_FALSE(fitterOf(almost).fit(8).symmetric);
    EXPECT_FALSE(isUsable(std::nan("")));
    EXPECT_FALSE(isUsable(chebyshevDeviation(Taps{1.0, -1.0}, Taps{1.0, -1.0}))) << "no gain at DC";
}

// Noise cannot be compressed, and nothing reaches −400 dB: the search ends with its best, which need not be its last,
// and says so, and so does the alert.
TEST(ChebyshevReport, SaysWhenNoDegreeIsEnough)
{
    std::mt19937 random(7);
    std::normal_distribution<double> value;
    const ChebyshevFitter fitter = fitterOf(sample(4096, [&](double) { return value(random); }));
    const DegreeSearch search = searchDegree(fitter, kLeastAutoDegree, kAutoTargetDb);
    EXPECT_FALSE(search.reached);
    CollectingReporter reporter;
    printSearch(search, kAutoTargetDb, reporter);
    alertUnusable(search.deviation, fitter, reporter);
    EXPECT_NE(reporter.text.find("none reaches -140 dB"), std::string::npos) << reporter.text;
    EXPECT_NE(reporter.text.find("No degree up to 1024 is usable\n"), std::string::npos) << reporter.text;

    const ChebyshevFitter real = fitterOf(kTaps);
    const double best = searchDegree(real, 16, -400.0).deviation;
    for (int degree : {256, 512, 1024}) EXPECT_LE(20 * std::log10(best), deviationDb(kTaps, real.fit(degree)) + 1e-9);
    CollectingReporter usable;
    alertUnusable(1.0, real, usable);
    EXPECT_NE(usable.text.find("Smallest usable degree: 22"), std::string::npos) << usable.text;
}

// A fit that is the design times 1.001 moves every figure by a known amount.
TEST(ChebyshevReport, MeasuresAKnownError)
{
    Taps louder = kTaps;
    for (double& tap : louder) tap *= 1.001;
    const ChebyshevFir fir{.taps = 8192, .degree = 240, .symmetric = false, .coefficients = Taps(241)};
    const ChebyshevReport r = compareChebyshev(kTaps, louder, fir, kPlan);
    const double shift = 20 * std::log10(1.001);
    const double energy = std::inner_product(kTaps.begin(), kTaps.end(), kTaps.begin(), 0.0);
    EXPECT_NEAR(r.largestTapDb, -60.0, 1e-6);
    EXPECT_NEAR(r.rmsTapDb, r.largestTapDb + 10 * std::log10(energy / 8192) - 20 * std::log10(kTaps[4096]), 1e-6);
    EXPECT_NEAR(r.passbandDb, shift, 1e-9);
    EXPECT_NEAR(r.stopFittedDb - r.stopDesignedDb, shift, 1e-9);
    EXPECT_NEAR(r.stopbandHz, 22150 + 743, 100) << "half the main lobe of the window behind the cutoff";
    double stop = 0.0, gain = std::abs(responseAt(kTaps, 0.0));
    for (double hz = r.stopbandHz; hz < 30000; hz += 20)
        stop = std::max(stop, std::abs(responseAt(kTaps, hz / kPlan.designRate())));
    EXPECT_NEAR(r.stopDesignedDb, 20 * std::log10(stop / gain), 0.3);
}

TEST(ChebyshevFile, RoundTripGivesTheSameBits)
{
    const std::string path = testing::TempDir() + "chebyshev_round_trip.txt";
    CollectingReporter reporter;
    const ChebyshevFir real = fitterOf(kTaps).fit(240);
    for (const auto& [fir, design] :
         {std::pair{smallFir(true), kDesign}, {smallFir(false), kDesign}, {real, fingerprintOf(kPlan, kTaps)}}) {
        std::ofstream(path) << formatChebyshev(fir, design);
        const auto loaded = loadChebyshev(path, design, reporter);
        ASSERT_TRUE(loaded.ok()) << reporter.text;
        EXPECT_TRUE(loaded->coefficients == fir.coefficients && loaded->symmetric == fir.symmetric);
    }
    EXPECT_EQ(loadChebyshev(path, kDesign, reporter).status(), DSD_ERROR_INPUT);
    platform::removeFile(path);
    EXPECT_EQ(loadChebyshev(path, kDesign, reporter).status(), DSD_ERROR_INPUT);
    EXPECT_EQ(loadChebyshev(testing::TempDir(), kDesign, reporter).status(), DSD_ERROR_INPUT);
    EXPECT_NE(reporter.text.find("Is a directory"), std::string::npos) << reporter.text;
}

// A design of another beta is another design; one whose taps differ by a rounding is the same.
TEST(ChebyshevFile, BelongsToOneDesign)
{
    FilterPlan plan = kPlan;
    const std::string text = formatChebyshev(fitterOf(kTaps).fit(16), fingerprintOf(kPlan, kTaps));
    Taps rounded = kTaps;
    for (double& tap : rounded) tap *= 1.0 + 2e-16;
    EXPECT_TRUE(parseChebyshev(text, fingerprintOf(kPlan, rounded)).ok());
    rounded[5000] += 1e-8;
    EXPECT_EQ(parseChebyshev(text, fingerprintOf(kPlan, rounded)).status(),
              "it was made for a filter with other coefficients");
    plan.beta += 1.0;
    EXPECT_EQ(parseChebyshev(text, fingerprintOf(plan, kTaps)).status(),
              "it was made for a filter with other settings");
}

// Each damage is given a right checksum where its own reason lies deeper.
TEST(ChebyshevFile, RefusesEveryDamageWithItsReason)
{
    const std::string good = formatChebyshev(smallFir(true), kDesign);
    ASSERT_TRUE(parseChebyshev(good, kDesign).ok());
    for (std::size_t at = 0; at < good.size(); ++at) {
        EXPECT_FALSE(parseChebyshev(good.substr(0, at), kDesign).ok()) << at;
        std::string damaged = good;
        damaged[at] = static_cast<char>(damaged[at] ^ 1);
        EXPECT_FALSE(parseChebyshev(damaged, kDesign).ok()) << at;
    }
    const std::string body = good.substr(0, good.find("checksum"));
    const std::pair<const char*, std::vector<std::pair<std::string, const char*>>> table[] = {
        {"it is no polynomial file", {{"TESK", "RIFF"}}},
        {"its version is not 1, the only one known", {{"version 1", "version 2"}}},
        {"its version is missing", {{"version 1\n", ""}}},
        {"its number of taps is missing or out of range", {{"taps 20", "taps 4"}, {"taps 20", "taps 4294967316"}}},
        {"it was made for 21 taps at 352800 Hz, this filter has 20 at 352800 Hz", {{"taps 20", "taps 21"}}},
        {"its rate is missing or out of range", {{"rate 352800", "rate nan"}, {"rate 352800", "rate 0"}}},
        {"its fingerprint is missing", {{"plan ", "plane "}}},
        {"its degree is missing or not within 4-19", {{"degree 7", "degree 3"}, {"degree 7", "degree 20"}}},
        {"coefficient 5 of 5 is missing or no finite number", {{"degree 7", "degree 9"}}},
        {"something stands behind its 3 coefficients", {{"degree 7", "degree 5"}}},
        {"its symmetry is missing or neither 0 nor 1", {{"symmetric 1", "symmetric 2"}}},
        {"coefficient 1 of 4 is missing or no finite number",
         {{"c 3.3333333333333331e-01", "c nan"}, {"e-01", "e+999"}, {"e-01", "e-01 1"}}},
    };
    for (const auto& [reason, changes] : table)
        for (const auto& [from, to] : changes) {
            std::string text = body;
            ASSERT_NE(text.find(from), text.npos) << from;
            text.replace(text.find(from), from.size(), to);
            EXPECT_EQ(parseChebyshev(withChecksum(text), kDesign).status(), reason) << to;
        }
    EXPECT_EQ(parseChebyshev(body, kDesign).status(), "it is cut off: the checksum at its end is missing");
    EXPECT_EQ(parseChebyshev(body + std::string(70000, 'c'), kDesign).status(), "it is too long for a polynomial file");
}

} // namespace tesk
