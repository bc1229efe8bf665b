#include "container/dst/dst_encoder.h"

#include "container/dst/dst_arithmetic_encoder.h"

#include <algorithm>
#include <limits>

namespace tesk {
namespace {

constexpr double kFewBits = 0.1; // of the plain frame

/// Which table belongs to which channel: one for all, or each channel brings the next.
void putMap(DstBitWriter& out, bool separate, std::uint32_t channels)
{
    out.put(!separate, 1);
    for (std::uint32_t c = 1; separate && c < channels; ++c) out.put(c, dstDigits(c));
}

/// One segment per channel: whatever more of them would save, their tables cost, and few players read them.
void putHeader(DstBitWriter& out, bool separateFilters, bool separatePtables, std::uint32_t channels)
{
    out.put(1, 1);                                  // coded
    out.put(7, 3);                                  // one segmentation, for all channels, with one segment
    out.put(separateFilters == separatePtables, 1); // the Ptables' map is the filters'
    putMap(out, separateFilters, channels);
    if (separateFilters != separatePtables) putMap(out, separatePtables, channels);
    out.put((1u << channels) - 1, static_cast<int>(channels)); // half probability while a filter sees the history
}

/// What the arithmetic coder is told about a decision: the entry less one, and 128 more when it is wrong.
std::vector<std::uint8_t> coderInput(std::span<const std::uint8_t> decisions, std::size_t order, const DstPtable& table)
{
    std::array<std::uint8_t, 2 * kDstWrongMark> code{};
    for (unsigned i = 0; i < kDstWrongMark; ++i) {
        const std::size_t at = std::min<std::size_t>(i, table.entries.size() - 1);
        code[i] = static_cast<std::uint8_t>(table.entries[at] - 1);
        code[i + kDstWrongMark] = static_cast<std::uint8_t>(code[i] | 128);
    }
    std::vector<std::uint8_t> codes(decisions.size());
    const std::size_t half = std::min(order, decisions.size());
    for (std::size_t n = 0; n < half; ++n)
        codes[n] = static_cast<std::uint8_t>((kDstHalf - 1) | (decisions[n] >= kDstWrongMark ? 128 : 0));
    for (std::size_t n = half; n < decisions.size(); ++n) codes[n] = code[decisions[n]];
    return codes;
}

} // namespace

std::vector<std::uint8_t> plainDstFrame(std::span<const std::uint8_t> interleaved)
{
    std::vector<std::uint8_t> frame(1 + interleaved.size());
    std::copy(interleaved.begin(), interleaved.end(), frame.begin() + 1);
    return frame;
}

Status DstEncoder::init(const DstParameters& parameters, const DstFilterKernels& kernels)
{
    signals_.clear();
    const bool good = parameters.channels >= 1 && parameters.channels <= kDstMaxChannels &&
                      parameters.bytesPerChannel >= 1 && parameters.bytesPerChannel <= kDstMaxBytesPerChannel &&
                      parameters.predictionOrder >= 1 && parameters.predictionOrder <= int{kDstMaxOrder};
    if (!good) return DSD_ERROR_INIT_ENCODED_DST;
    parameters_ = parameters;
    kernels_ = kernels;
    signals_.resize(parameters.channels);
    predictors_.clear();
    for (std::uint32_t c = 0; c <= parameters.channels; ++c)
        predictors_.emplace_back(static_cast<unsigned>(parameters.predictionOrder), kernels_);
    return {};
}

Result<std::vector<std::uint8_t>, PDM_ENCODING_STATUS> DstEncoder::encode(std::span<const std::uint8_t> interleaved)
{
    if (signals_.empty() || interleaved.size() != parameters_.frameBytes()) return DST_ERROR;
    for (std::uint32_t c = 0; c < parameters_.channels; ++c) signals_[c].load(interleaved, c, parameters_.channels);
    choosePlan();
    // The format forbids more wrong predictions than right ones.
    if (best_.bits >= 8.0 * static_cast<double>(interleaved.size()) || best_.wrong > 4 * interleaved.size())
        return plainDstFrame(interleaved);
    std::vector<std::uint8_t> frame = write();
    return frame.size() <= interleaved.size() ? frame : plainDstFrame(interleaved);
}

/// Whether one filter for all channels saves more bits of coefficients than it loses in precision.
bool DstEncoder::sharingPays()
{
    const std::span channels(predictors_.data(), signals_.size());
    DstPredictor& common = predictors_.back();
    const auto coefficientBits = [](const DstPredictor& predictor) {
        return cheapestDstCoding(DstSet::filter, predictor.leastSquares()).bits;
    };
    common.analyseTogether(channels);
    double separateBits = 0, sharedBits = coefficientBits(common);
    for (const DstPredictor& channel : channels) {
        separateBits += coefficientBits(channel) + channel.expectedBits(channel);
        sharedBits += channel.expectedBits(common);
    }
    return sharedBits < separateBits;
}

void DstEncoder::choosePlan()
{
    best_.bits = std::numeric_limits<double>::infinity();
    const std::span channels(predictors_.data(), signals_.size());
    for (std::size_t c = 0; c < channels.size(); ++c) channels[c].analyse(signals_[c]);
    const bool share = channels.size() > 1 && sharingPays();
    const std::span chosen = share ? std::span(predictors_).last(1) : channels;

    std::vector<DstFilter> filters;
    for (DstPredictor& predictor : chosen) filters.push_back(predictor.refined());
    consider(std::move(filters));
    double expected = 0;
    for (std::size_t c = 0; c < channels.size(); ++c)
        expected += channels[c].expectedBits(share ? predictors_.back() : channels[c]);
    const bool delicate = std::any_of(chosen.begin(), chosen.end(), [](const auto& p) { return p.delicate(); });
    if (delicate || best_.bits > expected || best_.bits < kFewBits * 8 * static_cast<double>(parameters_.frameBytes()))
        considerSimpler(chosen);
}

/// Near-periodic sound, idle patterns above all: what the quantisation leaves of a filter is a matter of luck. And
/// where a modulator was overloaded the steps of the refinement can go astray.
void DstEncoder::considerSimpler(std::span<const DstPredictor> predictors)
{
    const auto order = static_cast<std::size_t>(parameters_.predictionOrder);
    for (const std::size_t most : {order, order / 2, order / 4}) {
        if (most == 0) break;
        std::vector<DstFilter> filters;
        for (const DstPredictor& predictor : predictors) filters.push_back(predictor.leastSquares(most));
        consider(std::move(filters));
    }
}

void DstEncoder::consider(std::vector<DstFilter> filters)
{
    trial_.filters = std::move(filters);
    evaluate(trial_);
    if (trial_.bits < best_.bits) std::swap(best_, trial_);
}

void DstEncoder::evaluate(Plan& plan)
{
    plan.bits = 0;
    plan.wrong = 0;
    plan.filterCodings.clear();
    for (const DstFilter& filter : plan.filters) {
        plan.filterCodings.push_back(cheapestDstCoding(DstSet::filter, filter));
        plan.bits += kDstOrderBits + plan.filterCodings.back().bits;
    }
    std::vector<DstCounts> counts;
    plan.decisions.resize(signals_.size());
    for (std::size_t c = 0; c < signals_.size(); ++c) {
        decide(plan, c);
        const std::span<const std::uint8_t> decisions(plan.decisions[c]);
        const std::size_t half = std::min(decisions.size(), plan.filterOf(c).size());
        DstCounts start;
        start.add(decisions.first(half));
        counts.emplace_back().add(decisions.subspan(half));
        plan.wrong += start.wrongTotal() + counts.back().wrongTotal();
        plan.bits += static_cast<double>(half);
    }
    designPtables(plan, counts);
}

void DstEncoder::decide(Plan& plan, std::size_t channel)
{
    const DstFilter& filter = plan.filterOf(channel);
    const DstSignal& signal = signals_[channel];
    prediction_.resize(signal.count());
    plan.decisions[channel].resize(signal.count());
    kernels_.filter(filter.data(), static_cast<unsigned>(filter.size()), signal.samples(), signal.count(),
                    prediction_.data());
    kernels_.decide(prediction_.data(), signal.samples(), signal.count(), plan.decisions[channel].data());
}

void DstEncoder::designPtables(Plan& plan, std::span<const DstCounts> counts)
{
    plan.ptables.clear();
    DstCounts together;
    double separateBits = 0;
    for (const DstCounts& channel : counts) {
        plan.ptables.push_back(designDstPtable(channel));
        separateBits += plan.ptables.back().bits;
        together.add(channel);
    }
    const DstPtable common = designDstPtable(together);
    plan.bits += std::min(common.bits, separateBits);
    if (common.bits <= separateBits) plan.ptables.assign(1, common);
}

std::vector<std::uint8_t> DstEncoder::write() const
{
    DstBitWriter out;
    putHeader(out, best_.filters.size() > 1, best_.ptables.size() > 1, parameters_.channels);
    for (std::size_t i = 0; i < best_.filters.size(); ++i)
        writeDstSet(out, DstSet::filter, best_.filters[i], best_.filterCodings[i]);
    for (const DstPtable& table : best_.ptables) writeDstSet(out, DstSet::ptable, table.entries, table.coding);

    std::vector<std::vector<std::uint8_t>> codes; // [channel][sample]
    for (std::size_t c = 0; c < signals_.size(); ++c)
        codes.push_back(coderInput(best_.decisions[c], best_.filterOf(c).size(), best_.ptableOf(c)));
    DstArithmeticEncoder coder(out);
    coder.encode(false, dstFirstEntry(best_.filters[0][0]));
    for (std::size_t n = 0; n < codes[0].size(); ++n)
        for (const auto& channel : codes) coder.encode(channel[n] >= 128, (channel[n] & 127u) + 1);
    coder.finish();
    return out.take();
}

} // namespace tesk
