// The response of the decimation filter as it is designed: droop, band edge, and what folds back into the audio band.
#include "engine/base/numbers.h"
#include "engine/base/reporter.h"
#include "reverse/decimation_rates.h"
#include "reverse/decimator.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <numbers>

namespace tesk::measure {
namespace {

constexpr const char* kHelp =
    "Usage: tesk-decimation-check [options]\n"
    "  --dsd HZ       one-bit rate (2822400)\n"
    "  --pcm HZ       PCM rate (44100)\n"
    "  --lowpass HZ   as the engine's -l\n"
    "  --taps N       as the engine's -t\n"
    "  --csv          comma-separated rows\n"
    "\n"
    "Readings, in dB relative to DC:\n"
    "  response  at 1, 10, 15 and 20 kHz and at half the PCM rate\n"
    "  fir       largest deviation of the FIR alone from 20 Hz to 20 kHz, or to 0.9 of the cutoff if that is lower\n"
    "  alias     the largest response among all frequencies that fold back to 0 to 20 kHz, and to 0 to 17 kHz\n"
    "Exit status: 0 done, 1 failed, 2 wrong arguments.\n";

/// The designed filter as a function of frequency.
class Response {
public:
    Response(const DecimationRates& rates, double dsdRate)
        : dsdRate_(dsdRate), biquad_(designLowpass(std::max(rates.cutoff, 30000.0), dsdRate, std::numbers::sqrt2 / 2)),
          fir_(designSinc(rates.firTaps, rates.cutoff / dsdRate, 10.0))
    {
    }

    double firDb(double hz) const { return 20 * std::log10(std::abs(firAt(hz)) / std::abs(firAt(0))); }
    double db(double hz) const { return firDb(hz) + 80 * std::log10(std::abs(biquadAt(hz)) / std::abs(biquadAt(0))); }

private:
    std::complex<double> firAt(double hz) const
    {
        const std::complex<double> step = std::polar(1.0, -2 * std::numbers::pi * hz / dsdRate_);
        std::complex<double> sum = 0;
        for (auto h = fir_.rbegin(); h != fir_.rend(); ++h) sum = sum * step + *h;
        return sum;
    }
    std::complex<double> biquadAt(double hz) const
    {
        const std::complex<double> z = std::polar(1.0, -2 * std::numbers::pi * hz / dsdRate_);
        return (biquad_.b0 + z * (biquad_.b1 + z * biquad_.b2)) / (1.0 + z * (biquad_.a1 + z * biquad_.a2));
    }

    double dsdRate_;
    Biquad biquad_;
    std::vector<double> fir_;
};

double largestAlias(const Response& response, const DecimationRates& rates, double dsdRate, double band)
{
    constexpr double kStepHz = 50;
    double largest = -400;
    for (double centre = rates.outRate; centre - band < dsdRate / 2; centre += rates.outRate)
        for (double hz = centre - band; hz <= std::min(centre + band, dsdRate / 2); hz += kStepHz)
            largest = std::max(largest, response.db(hz));
    return largest;
}

double firRipple(const Response& response, const DecimationRates& rates)
{
    double worst = 0;
    for (double hz = 20; hz <= std::min(20000.0, 0.9 * rates.cutoff); hz += 20)
        worst = std::max(worst, std::abs(response.firDb(hz)));
    return worst;
}

int run(int argc, char** argv)
{
    ReverseSettings settings;
    double dsdRate = 2822400;
    bool csv = false;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const double value = i + 1 < argc ? parseNumber(argv[i + 1]).value_or(0) : 0;
        const bool wantsValue = word == "--dsd" || word == "--pcm" || word == "--lowpass" || word == "--taps";
        if (word == "--csv") {
            csv = true;
        } else if (!wantsValue || !(value > 0) || value > 1e9) {
            std::fputs(kHelp, word == "--help" ? stdout : stderr);
            return word == "--help" ? 0 : 2;
        } else {
            ++i;
            if (word == "--dsd") dsdRate = value;
            if (word == "--pcm") settings.pcmRate = static_cast<std::uint32_t>(value);
            if (word == "--lowpass") settings.lowpass = value;
            if (word == "--taps") settings.taps = static_cast<std::uint32_t>(value);
        }
    }
    CollectingReporter report;
    const auto rates = settleRates(settings, dsdRate, report);
    std::fputs(report.text.c_str(), stderr);
    if (!rates) return 1;
    const Response response(*rates, dsdRate);
    std::puts(csv ? "dsd_hz,pcm_hz,taps,db_1k,db_10k,db_15k,db_20k,db_nyquist,fir_db,alias_db,near_alias_db"
                  : "    DSD Hz   PCM Hz   taps     1k      10k      15k      20k  Nyquist      fir    alias to 17k");
    std::printf(csv ? "%.0f,%u,%u,%.4f,%.4f,%.4f,%.4f,%.4f,%.5f,%.2f,%.2f\n"
                    : "%10.0f %8u %6u %6.3f %8.3f %8.3f %8.3f %8.3f %8.5f %8.2f %6.1f\n",
                dsdRate, rates->outRate, rates->firTaps, response.db(1000), response.db(10000), response.db(15000),
                response.db(20000), response.db(rates->outRate / 2.0), firRipple(response, *rates),
                largestAlias(response, *rates, dsdRate, 20000), largestAlias(response, *rates, dsdRate, 17000));
    return 0;
}

} // namespace
} // namespace tesk::measure

int main(int argc, char** argv) { return tesk::measure::run(argc, argv); }
