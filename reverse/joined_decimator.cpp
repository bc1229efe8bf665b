// Biquads and FIR as one filter on packed bits.
#include "reverse/decimation_clock.h"
#include "reverse/decimation_kernels.h"
#include "reverse/decimator.h"
#include "reverse/two_step_filter.h"

#include <algorithm>
#include <numeric>

namespace tesk {
namespace {

constexpr std::size_t kTileValues = 1024;     // stay in the first cache between the steps
constexpr double kTaskWork = 1.5e6;           // table look-ups and multiply-adds, at least 100 µs
constexpr std::size_t kLongestTail = 1 << 18; // of the biquads; longer ones ring as good as for ever

/// What one run of outputs carries along.
struct Work {
    std::vector<double> values; // of the first step
    std::int64_t first = 0;     // index of values[0]
    std::vector<std::uint64_t> scratch;
};

struct Channel {
    std::vector<std::uint8_t> bytes; // the part of the stream that is still needed
    std::vector<Work> works;         // one per range of outputs; the first one goes on where the last call ended
};

class JoinedDecimator final : public Decimator {
public:
    JoinedDecimator(const DecimationPlan& plan, TwoStepFilter filter, unsigned padding, unsigned threads,
                    const kernel::KernelTable& kernels, parallel::WorkerPool& pool)
        : filter_(std::move(filter)), lowBitFirst_(plan.firstSampleInLowBit), threads_(std::max(1u, threads)),
          pool_(pool), border_(plan.firstNewest + 1 + padding),
          values_(plan.decimation / filter_.stride), clock_{plan.firstNewest, plan.decimation},
          packed_(filter_.first, filter_.stride / 8, plan.firstSampleInLowBit, kernels),
          dot_(filter_.second, values_, kernels), channels_(plan.channels)
    {
        for (Channel& c : channels_) c.works.resize(threads_);
    }

    std::size_t process(const std::uint8_t* const* planar, std::size_t bytes, double* const* out,
                        unsigned lastBits) override
    {
        if (bytes == 0) return 0;
        for (std::size_t c = 0; c < channels_.size(); ++c)
            channels_[c].bytes.insert(channels_[c].bytes.end(), planar[c], planar[c] + bytes);
        clock_.seen += static_cast<std::int64_t>(8 * (bytes - 1) + lastBits);
        signalEnd_ = clock_.seen;
        return giveDue(out);
    }

    std::size_t flush(std::size_t samples, double* const* out) override
    {
        clock_.seen += static_cast<std::int64_t>(samples);
        return giveDue(out);
    }

    std::size_t maxFrames(std::size_t bytes) const override { return clock_.most(8 * bytes); }

private:
    std::size_t giveDue(double* const* out);
    void giveRange(std::size_t channel, std::size_t range, std::size_t ranges, std::size_t frames, double* out);
    void extendValues(const Channel& channel, Work& work, std::int64_t first, std::int64_t end) const;
    double valueAtEdge(const Channel& channel, std::int64_t index) const;
    void forgetOld();

    /// Samples before value `index` ends, counted from the start of the stream.
    std::int64_t endOf(std::int64_t index) const { return border_ + index * static_cast<std::int64_t>(filter_.stride); }
    std::int64_t startOf(std::int64_t index) const
    {
        return endOf(index) - static_cast<std::int64_t>(filter_.first.size());
    }
    /// The oldest value that an output sees, and the one behind the newest.
    std::int64_t oldestValue(std::int64_t output) const
    {
        return endValue(output) - static_cast<std::int64_t>(filter_.second.size());
    }
    std::int64_t endValue(std::int64_t output) const
    {
        return output * static_cast<std::int64_t>(values_) + static_cast<std::int64_t>(filter_.lead) + 1;
    }

    const TwoStepFilter filter_;
    const bool lowBitFirst_;
    const unsigned threads_;
    parallel::WorkerPool& pool_;
    const std::int64_t border_; // where output 0 would end, on a byte border
    const std::size_t values_;  // of the first step per output
    DecimationClock clock_;
    std::int64_t signalEnd_ = 0; // samples; behind it there is silence
    std::int64_t firstByte_ = 0; // of the stream, as it stands in Channel::bytes
    const PackedFir packed_;
    const DecimatingDot dot_;
    std::vector<Channel> channels_;
};

/// Every task gets an equal share of the (channel, range) pairs, cut so finely that equal shares exist.
std::size_t JoinedDecimator::giveDue(double* const* out)
{
    const auto frames = static_cast<std::size_t>(clock_.due() - clock_.next);
    if (frames == 0 || channels_.empty()) return 0;
    const std::size_t bytes = filter_.first.size() / 8;
    const auto perFrame = static_cast<double>(bytes * values_ + filter_.second.size());
    const double tasksWorth = static_cast<double>(frames * channels_.size()) * perFrame / kTaskWork;
    const auto tasks = static_cast<std::size_t>(std::clamp(tasksWorth, 1.0, static_cast<double>(threads_)));
    const std::size_t ranges = std::min(frames, tasks / std::gcd(tasks, channels_.size()));
    const std::size_t pairs = ranges * channels_.size();
    runTasks(std::min(tasks, pairs), pool_, [&](std::size_t task) {
        const std::size_t shares = std::min(tasks, pairs);
        for (std::size_t i = task * pairs / shares; i < (task + 1) * pairs / shares; ++i)
            giveRange(i / ranges, i % ranges, ranges, frames, out[i / ranges]);
    });
    for (Channel& c : channels_) std::swap(c.works[0], c.works[ranges - 1]);
    clock_.next += static_cast<std::int64_t>(frames);
    forgetOld();
    return frames;
}

void JoinedDecimator::giveRange(std::size_t channel, std::size_t range, std::size_t ranges, std::size_t frames,
                                double* out)
{
    Channel& c = channels_[channel];
    Work& work = c.works[range];
    const std::size_t end = (range + 1) * frames / ranges, tile = std::max<std::size_t>(1, kTileValues / values_);
    for (std::size_t j = range * frames / ranges; j < end; j += tile) {
        const std::size_t n = std::min(tile, end - j);
        const std::int64_t output = clock_.next + static_cast<std::int64_t>(j);
        extendValues(c, work, oldestValue(output), endValue(output + static_cast<std::int64_t>(n) - 1));
        if (filter_.isDirect())
            std::copy_n(work.values.data(), n, out + j);
        else
            dot_.run(work.values.data(), n, out + j);
    }
}

/// Brings the values [first, end) to the front of the work space; those that are there already are kept.
void JoinedDecimator::extendValues(const Channel& channel, Work& work, std::int64_t first, std::int64_t end) const
{
    const std::size_t padding = dot_.padded() - filter_.second.size();
    const auto there = static_cast<std::int64_t>(work.values.size()) - static_cast<std::int64_t>(padding);
    const bool goesOn = first >= work.first && first < work.first + there;
    const std::int64_t kept = goesOn ? work.first + there - first : 0;
    if (goesOn) std::copy_n(work.values.begin() + (first - work.first), kept, work.values.begin());
    work.first = first;
    work.values.resize(static_cast<std::size_t>(end - first) + padding);
    std::fill_n(work.values.begin() + (end - first), padding, 0.0);

    const auto at = [&](std::int64_t index) { return work.values.data() + (index - first); };
    std::int64_t i = first + kept;
    for (; i < end && startOf(i) < 0; ++i) *at(i) = valueAtEdge(channel, i);
    std::int64_t inside = i;
    if (endOf(end - 1) <= signalEnd_)
        inside = std::max(i, end);
    else
        while (inside < end && endOf(inside) <= signalEnd_) ++inside;
    if (inside > i)
        packed_.run(channel.bytes.data() + (startOf(i) / 8 - firstByte_), static_cast<std::size_t>(inside - i), at(i),
                    work.scratch);
    for (i = inside; i < end; ++i) *at(i) = valueAtEdge(channel, i);
}

/// Tap by tap: before the stream and behind it samples are 0, which no byte can say.
double JoinedDecimator::valueAtEdge(const Channel& channel, std::int64_t index) const
{
    const std::int64_t end = endOf(index), start = std::max<std::int64_t>(0, startOf(index));
    double sum = 0;
    for (std::int64_t n = start; n < std::min(end, signalEnd_); ++n) {
        const unsigned byte = channel.bytes[static_cast<std::size_t>(n / 8 - firstByte_)];
        const auto place = static_cast<unsigned>(lowBitFirst_ ? n % 8 : 7 - n % 8);
        const double tap = filter_.first[static_cast<std::size_t>(end - 1 - n)];
        sum += byte >> place & 1 ? tap : -tap;
    }
    return sum;
}

void JoinedDecimator::forgetOld()
{
    const std::int64_t needed = std::min(startOf(oldestValue(clock_.next)) / 8, signalEnd_ / 8);
    if (needed <= firstByte_) return;
    for (Channel& c : channels_) c.bytes.erase(c.bytes.begin(), c.bytes.begin() + (needed - firstByte_));
    firstByte_ = needed;
}

} // namespace

std::unique_ptr<Decimator> makeJoinedDecimator(const DecimationPlan& plan, unsigned threads,
                                               const kernel::KernelTable& kernels, parallel::WorkerPool& pool)
{
    if (plan.decimation % 8 != 0 || plan.decimation == 0 || plan.fir.empty()) return nullptr;
    // Zero taps in front move the instants to byte borders; an output may see that far, and further, up to one D.
    const auto padding = static_cast<unsigned>((8 - (plan.firstNewest + 1) % 8) % 8);
    std::vector<double> response = jointResponse(plan);
    if (response.size() > plan.fir.size() + kLongestTail) return nullptr;
    response.insert(response.begin(), padding, 0.0);
    TwoStepFilter filter = designTwoStep(response, plan.decimation, plan.decimation - padding);
    return std::make_unique<JoinedDecimator>(plan, std::move(filter), padding, threads, kernels, pool);
}

} // namespace tesk
