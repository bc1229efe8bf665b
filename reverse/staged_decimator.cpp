#include "reverse/staged_decimator.h"

#include "reverse/reverse_profile.h"

#include <algorithm>
#include <emmintrin.h>

namespace tesk {
namespace {

constexpr std::size_t kFewestFrames = 64; // of a range

/// The sign of a −1 lands in the top byte of a double of 1.
void storeSigns(__m128i wordsOfSigns, double* x)
{
    const __m128i zero = _mm_setzero_si128(), one = _mm_castpd_si128(_mm_set1_pd(1.0));
    const __m128i longs[2] = {_mm_unpacklo_epi16(zero, wordsOfSigns), _mm_unpackhi_epi16(zero, wordsOfSigns)};
    for (int k = 0; k < 2; ++k) {
        _mm_storeu_pd(x + 4 * k, _mm_castsi128_pd(_mm_or_si128(one, _mm_unpacklo_epi32(zero, longs[k]))));
        _mm_storeu_pd(x + 4 * k + 2, _mm_castsi128_pd(_mm_or_si128(one, _mm_unpackhi_epi32(zero, longs[k]))));
    }
}

} // namespace

void unpackBits(const std::uint8_t* bits, std::size_t bytes, bool firstSampleInLowBit, double* x)
{
    const __m128i zero = _mm_setzero_si128(), sign = _mm_set1_epi8(static_cast<char>(0x80));
    const __m128i low = _mm_set1_epi64x(static_cast<long long>(0x8040201008040201ULL));
    const __m128i high = _mm_set1_epi64x(0x0102040810204080LL), select = firstSampleInLowBit ? low : high;
    const auto both = [&](unsigned a, unsigned b) {
        const __m128i bytesOfBits =
            _mm_unpacklo_epi64(_mm_set1_epi8(static_cast<char>(a)), _mm_set1_epi8(static_cast<char>(b)));
        return _mm_and_si128(_mm_cmpeq_epi8(_mm_and_si128(bytesOfBits, select), zero), sign);
    };
    std::size_t i = 0;
    for (; i + 2 <= bytes; i += 2) {
        const __m128i signs = both(bits[i], bits[i + 1]);
        storeSigns(_mm_unpacklo_epi8(zero, signs), x + 8 * i);
        storeSigns(_mm_unpackhi_epi8(zero, signs), x + 8 * i + 8);
    }
    if (i < bytes) storeSigns(_mm_unpacklo_epi8(zero, both(bits[i], 0)), x + 8 * i);
}

StagedDecimator::StagedDecimator(DecimationPlan plan, const StageOptions& options, const kernel::KernelTable& kernels,
                                 parallel::WorkerPool& pool, ReverseProfile* profile)
    : plan_(std::move(plan)), options_(options), kernels_(kernels), pool_(pool),
      profile_(profile), clock_{plan_.firstNewest, plan_.decimation}
{
    const auto taps = static_cast<std::int64_t>(plan_.fir.size());
    base_ = std::min<std::int64_t>(0, plan_.firstNewest + 1 - taps);
    const BiquadCascade biquads(designLowpass(plan_.cornerHz, plan_.dsdRate, 0.7071067811865475), plan_.sections);
    channels_.assign(plan_.channels, Channel{std::vector<double>(static_cast<std::size_t>(-base_)), biquads});
    notes_.bank = options_.biquadBank && plan_.channels >= 2;
    notes_.channelTasks = std::max(1u, std::min(options_.threads, plan_.channels));
}

std::size_t StagedDecimator::process(const std::uint8_t* const* planar, std::size_t bytes, double* const* out,
                                     unsigned lastBits)
{
    if (bytes == 0) return 0;
    const std::size_t samples = 8 * (bytes - 1) + lastBits;
    append(planar, samples);
    runBiquads(samples);
    return runFir(out);
}

std::size_t StagedDecimator::flush(std::size_t samples, double* const* out)
{
    append(nullptr, samples);
    runBiquads(samples);
    return runFir(out);
}

/// Without bits: silence.
void StagedDecimator::append(const std::uint8_t* const* planar, std::size_t samples)
{
    const ReverseProfile::Timer timer(profile_, ReverseProfile::unpack);
    const std::size_t tasks = notes_.channelTasks, count = channels_.size(), bytes = (samples + 7) / 8;
    runTasks(tasks, pool_, [&](std::size_t task) {
        for (std::size_t c = task * count / tasks; c < (task + 1) * count / tasks; ++c) {
            std::vector<double>& x = channels_[c].samples;
            const std::size_t there = x.size();
            x.resize(there + 8 * bytes);
            if (planar) unpackBits(planar[c], bytes, plan_.firstSampleInLowBit, x.data() + there);
            x.resize(there + samples);
        }
    });
    clock_.seen += static_cast<std::int64_t>(samples);
}

void StagedDecimator::runBiquads(std::size_t samples)
{
    const ReverseProfile::Timer timer(profile_, ReverseProfile::biquad);
    const auto fresh = [&](std::size_t c) {
        return channels_[c].samples.data() + channels_[c].samples.size() - samples;
    };
    if (!notes_.bank) {
        for (std::size_t c = 0; c < channels_.size(); ++c) channels_[c].biquads.run(fresh(c), samples);
        return;
    }
    const std::size_t count = channels_.size(), pairs = (count + 1) / 2;
    const std::size_t tasks = std::max<std::size_t>(1, std::min<std::size_t>(options_.threads, pairs));
    runTasks(tasks, pool_, [&](std::size_t task) {
        for (std::size_t c = task * pairs / tasks * 2; c < std::min(count, (task + 1) * pairs / tasks * 2); c += 2)
            if (c + 1 < count)
                BiquadCascade::runPair(channels_[c].biquads, fresh(c), channels_[c + 1].biquads, fresh(c + 1), samples);
            else
                channels_[c].biquads.run(fresh(c), samples);
    });
}

/// A range has at least `minMacs` multiply-adds, and there are ranges only for threads that have no channel of their
/// own.
unsigned StagedDecimator::rangesFor(std::size_t frames) const
{
    if (options_.threads <= plan_.channels) return 1;
    const std::size_t taps = std::max<std::size_t>(1, plan_.fir.size());
    const std::size_t fewest = std::max<std::size_t>(kFewestFrames, options_.minMacs / taps);
    const std::size_t worth = std::max<std::size_t>(1, frames / fewest);
    return static_cast<unsigned>(
        std::min<std::size_t>(worth, std::max(1u, 2 * options_.threads / std::max(1u, plan_.channels))));
}

std::size_t StagedDecimator::runFir(double* const* out)
{
    const ReverseProfile::Timer timer(profile_, ReverseProfile::fir);
    const auto frames = static_cast<std::size_t>(clock_.due() - clock_.next);
    const unsigned ranges = rangesFor(frames), pairs = ranges * plan_.channels;
    const auto taps = static_cast<std::int64_t>(plan_.fir.size());
    const auto runRange = [&](std::size_t i) {
        const std::size_t c = i / ranges, range = i % ranges;
        for (std::size_t j = range * frames / ranges; j < (range + 1) * frames / ranges; ++j) {
            const std::int64_t newest = clock_.newestOf(clock_.next + static_cast<std::int64_t>(j));
            const double* x = channels_[c].samples.data() + (newest + 1 - taps - base_);
            out[c][j] = kernels_.dot_size(plan_.fir.data(), x, plan_.fir.size());
        }
    };
    notes_.ranges = ranges;
    notes_.firTasks = options_.threads > 1 && pairs > 1 ? pairs : 1;
    if (notes_.firTasks > 1)
        runTasks(pairs, pool_, runRange);
    else
        for (std::size_t i = 0; i < pairs; ++i) runRange(i);
    clock_.next += static_cast<std::int64_t>(frames);
    forgetOld();
    return frames;
}

void StagedDecimator::forgetOld()
{
    const auto taps = static_cast<std::int64_t>(plan_.fir.size());
    const std::int64_t needed = std::min(clock_.newestOf(clock_.next) + 1 - taps, clock_.seen);
    if (needed <= base_) return;
    for (Channel& c : channels_) c.samples.erase(c.samples.begin(), c.samples.begin() + (needed - base_));
    base_ = needed;
}

std::unique_ptr<Decimator> makeStagedDecimator(DecimationPlan plan, const StageOptions& options,
                                               const kernel::KernelTable& kernels, parallel::WorkerPool& pool,
                                               ReverseProfile* profile)
{
    return std::make_unique<StagedDecimator>(std::move(plan), options, kernels, pool, profile);
}

} // namespace tesk
