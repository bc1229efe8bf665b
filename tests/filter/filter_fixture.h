// What the tests of the filter designs share: settings, plans, designs, and what a filter does to a frequency.
#pragma once

#include "filter/fft.h"
#include "filter/window_design.h"

#include <bit>
#include <cmath>
#include <gtest/gtest.h>
#include <numeric>
#include <random>

namespace tesk {

using Taps = std::vector<double>;

/// 16 bits at 44.1 kHz and ratio 64, without predistortion.
inline FilterRequest cdRequest()
{
    FilterRequest r;
    r.bitDepth = 16;
    r.predistortion = false;
    return r;
}

inline FilterPlan settled(const FilterRequest& r, std::string* text = nullptr)
{
    CollectingReporter reporter;
    const auto plan = settleFilter(r, reporter);
    EXPECT_TRUE(plan.ok()) << reporter.text;
    if (text) *text = reporter.text;
    return plan ? *plan : FilterPlan{};
}

/// What a design came to, whichever it was.
struct Design {
    PDM_ENCODING_STATUS status;
    std::string text;
    Taps taps;
};

template <class Designer>
Design design(Designer designer, const FilterPlan& plan, bool stopped = false)
{
    CollectingReporter report;
    std::atomic<std::uint8_t> flag{stopped};
    StopFlag stop(flag);
    auto taps = designer(plan, report, stop);
    return {taps ? DSD_SUCCESS : taps.status(), report.text, taps ? *taps : Taps{}};
}

/// H at one frequency, a share of the rate, by the direct sum.
inline std::complex<double> responseAt(const Taps& taps, double f)
{
    std::complex<double> sum = 0.0;
    for (std::size_t n = 0; n < taps.size(); ++n) sum += std::polar(taps[n], -2 * M_PI * f * double(n));
    return sum;
}

/// H on a grid of a power of two, at least so many times finer than the taps.
inline std::vector<std::complex<double>> responses(const Taps& taps, std::size_t finer)
{
    std::vector<std::complex<double>> bins(std::bit_ceil(finer * taps.size()));
    std::copy(taps.begin(), taps.end(), bins.begin());
    FftPlan(bins.size()).forward(bins.data());
    return bins;
}

inline double decibels(std::complex<double> gain) { return 20 * std::log10(std::abs(gain) + 1e-30); }

} // namespace tesk
