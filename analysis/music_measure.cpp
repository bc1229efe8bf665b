#include "analysis/music_measure.h"

#include "analysis/loudness.h"
#include "filter/fft.h"
#include "filter/windows.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <vector>

namespace tesk::analysis {
namespace {

constexpr std::size_t kWindow = 8192;
constexpr double kWindowBeta = 14; // side lobes 110 dB down: below the floor that is looked for
constexpr double kFloorDb = -100;

/// The largest magnitude of every bin over all windows and channels.
class LargestSpectrum {
public:
    LargestSpectrum()
        : window_(dsp_utils::signal_processing::generate_kaiser_window(kWindow, kWindowBeta)), plan_(kWindow),
          x_(kWindow), largest_(kWindow / 2 + 1)
    {
    }

    /// Two real channels ride in one transform: the larger of its bins k and n − k is at least √(|L|² + |R|²) and at
    /// most |L| + |R|.
    void add(const double* left, const double* right)
    {
        for (std::size_t i = 0; i < kWindow; ++i) x_[i] = window_[i] * std::complex(left[i], right ? right[i] : 0.0);
        plan_.forward(x_.data());
        for (std::size_t k = 0; k < largest_.size(); ++k)
            largest_[k] = std::max({largest_[k], std::norm(x_[k]), std::norm(x_[(kWindow - k) % kWindow])});
    }

    /// The last bin above the floor, in bins.
    std::size_t top() const
    {
        const double floor = *std::max_element(largest_.begin(), largest_.end()) * std::pow(10.0, kFloorDb / 10);
        std::size_t k = largest_.size() - 1;
        while (k > 0 && !(largest_[k] > floor)) --k;
        return k;
    }

private:
    std::vector<double> window_;
    FftPlan plan_;
    std::vector<std::complex<double>> x_;
    std::vector<double> largest_; // squared
};

/// Nothing when a stop request waits.
std::optional<double> bandwidthOf(std::span<const double* const> channels, std::uint64_t frames, std::uint32_t rate,
                                  const StopFlag& stop)
{
    if (frames < kWindow) return rate / 2.0;
    LargestSpectrum spectrum;
    for (std::uint64_t at = 0; at + kWindow <= frames; at += kWindow / 2) {
        if (stop.pending()) return {};
        for (std::size_t c = 0; c < channels.size(); c += 2)
            spectrum.add(channels[c] + at, c + 1 < channels.size() ? channels[c + 1] + at : nullptr);
    }
    return static_cast<double>(spectrum.top()) * rate / kWindow;
}

/// Peak, crest factor and loudness of pieces that come one after the other.
class LevelMeter {
public:
    LevelMeter(std::size_t channels, std::uint32_t rate) : loudness_(channels, rate, false) {}

    bool works() const { return loudness_.works(); }

    bool add(std::span<const double* const> channels, std::uint64_t at, std::size_t count)
    {
        for (const double* channel : channels)
            for (std::size_t i = 0; i < count; ++i) {
                const double x = channel[at + i];
                peak_ = std::max(peak_, std::abs(x));
                energy_ += x * x;
            }
        samples_ += count * channels.size();
        return loudness_.add(channels, at, count);
    }

    bool silent() const { return !(peak_ > 0); }

    void read(MusicMeasure& m) const
    {
        m.peakDbfs = 20 * std::log10(peak_);
        m.crestDb = m.peakDbfs - 10 * std::log10(energy_ / static_cast<double>(samples_));
        m.loudnessLufs = loudness_.integrated().value_or(-std::numeric_limits<double>::infinity());
        m.rangeLu = loudness_.range();
    }

private:
    LoudnessMeter loudness_;
    double peak_ = 0, energy_ = 0;
    std::uint64_t samples_ = 0;
};

} // namespace

Result<MusicMeasure, PDM_ENCODING_STATUS> measureMusic(std::span<const double* const> channels, std::uint64_t frames,
                                                       std::uint32_t rate, const StopFlag& stop)
{
    MusicMeasure m;
    LevelMeter meter(channels.size(), rate);
    if (!meter.works()) return DSD_ERROR_INIT;
    for (std::uint64_t at = 0; at < frames; at += kWindow) {
        if (stop.pending()) return kHostStopped;
        if (!meter.add(channels, at, static_cast<std::size_t>(std::min<std::uint64_t>(kWindow, frames - at))))
            return DSD_ERROR_INIT;
    }
    if (meter.silent()) return m;
    const auto bandwidth = bandwidthOf(channels, frames, rate, stop);
    if (!bandwidth) return kHostStopped;
    m.bandwidthHz = *bandwidth;
    meter.read(m);
    return m;
}

} // namespace tesk::analysis
