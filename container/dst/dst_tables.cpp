#include "container/dst/dst_tables.h"

#include <algorithm>
#include <cstdlib>

namespace tesk {
namespace {

struct SegmentLimits {
    unsigned maxCount, minBytes;
};
constexpr SegmentLimits kFilterLimits{kDstMaxFilterSegments, kDstMinFilterSegmentBits / 8};
constexpr SegmentLimits kPtableLimits{kDstMaxPtableSegments, kDstMinPtableSegmentBits / 8};

/// Reads the segmentation of filters or of Ptables.
class SegmentReader {
public:
    SegmentReader(DstBitReader& bits, std::uint32_t bytesPerChannel, const SegmentLimits& limits)
        : bits_(bits), bytes_(bytesPerChannel), limits_(limits)
    {
    }

    DstFault read(std::uint32_t channels, DstSegments& segments)
    {
        sameForAll_ = bits_.bit();
        for (std::uint32_t c = 0; c < (sameForAll_ ? 1 : channels); ++c)
            if (const DstFault fault = readChannel(segments.count[c], segments.end[c]); fault != DstFault::none)
                return fault;
        for (std::uint32_t c = 1; sameForAll_ && c < channels; ++c) {
            segments.count[c] = segments.count[0];
            segments.end[c] = segments.end[0];
        }
        return DstFault::none;
    }

private:
    DstFault readChannel(unsigned& count, std::array<std::uint32_t, kDstMaxPtableSegments>& end)
    {
        std::uint32_t start = 0;
        count = 1;
        for (; !bits_.bit(); ++count) {
            if (count == limits_.maxCount)
                return sameForAll_ ? DstFault::tooManySegments : DstFault::tooManySegmentsForChannel;
            if (bytes_ < limits_.minBytes) return DstFault::negativeBits;
            if (const DstFault fault = readResolution(); fault != DstFault::none) return fault;
            const std::uint32_t rest = bytes_ - start;
            const std::uint32_t space = bytes_ - limits_.minBytes - start; // a piece before it left at least minBytes
            const std::uint64_t length = std::uint64_t{resolution_} * bits_.bits(dstDigits(space / resolution_));
            if (length < limits_.minBytes || length + limits_.minBytes > rest) return DstFault::segmentLength;
            start += static_cast<std::uint32_t>(length);
            end[count - 1] = start;
        }
        end[count - 1] = bytes_;
        return DstFault::none;
    }

    DstFault readResolution()
    {
        if (resolution_ != 0) return DstFault::none;
        const std::uint32_t largest = bytes_ - limits_.minBytes;
        resolution_ = bits_.bits(dstDigits(largest));
        return resolution_ == 0 || resolution_ > largest ? DstFault::segmentResolution : DstFault::none;
    }

    DstBitReader& bits_;
    const std::uint32_t bytes_; // of a channel
    const SegmentLimits limits_;
    std::uint32_t resolution_ = 0; // bytes; sent once, with the first length
    bool sameForAll_ = false;
};

DstFault readSegmentation(DstBitReader& bits, std::uint32_t channels, std::uint32_t bytesPerChannel, DstTables& tables)
{
    const bool same = bits.bit();
    const DstFault fault = SegmentReader(bits, bytesPerChannel, kFilterLimits).read(channels, tables.filterSegments);
    if (fault != DstFault::none) return fault;
    if (!same) return SegmentReader(bits, bytesPerChannel, kPtableLimits).read(channels, tables.ptableSegments);
    tables.ptableSegments = tables.filterSegments;
    return DstFault::none;
}

DstFault readMap(DstBitReader& bits, std::uint32_t channels, DstSegments& segments, unsigned& tableCount)
{
    const bool sameForAll = bits.bit();
    const auto counts = std::span(segments.count).first(channels);
    if (sameForAll && std::any_of(counts.begin(), counts.end(), [&](unsigned n) { return n != counts[0]; }))
        return DstFault::mappingNotSame;
    tableCount = 1;
    segments.table[0][0] = 0;
    for (std::uint32_t c = 0; c < (sameForAll ? 1 : channels); ++c)
        for (unsigned s = c == 0 ? 1 : 0; s < counts[c]; ++s) {
            const std::uint32_t number = bits.bits(dstDigits(tableCount));
            if (number > tableCount) return DstFault::tableNumber;
            if (number == tableCount && ++tableCount > 2 * channels) return DstFault::tooManyTables;
            segments.table[c][s] = static_cast<std::uint8_t>(number);
        }
    for (std::uint32_t c = 1; sameForAll && c < channels; ++c) segments.table[c] = segments.table[0];
    return DstFault::none;
}

DstFault readMapping(DstBitReader& bits, std::uint32_t channels, DstTables& tables)
{
    const bool same = bits.bit();
    if (const DstFault fault = readMap(bits, channels, tables.filterSegments, tables.filterCount);
        fault != DstFault::none)
        return fault;
    if (!same) return readMap(bits, channels, tables.ptableSegments, tables.ptableCount);
    const auto& counts = tables.filterSegments.count;
    if (!std::equal(counts.begin(), counts.begin() + channels, tables.ptableSegments.count.begin()))
        return DstFault::segmentCountsDiffer;
    tables.ptableSegments.table = tables.filterSegments.table;
    tables.ptableCount = tables.filterCount;
    return DstFault::none;
}

/// What distinguishes the two kinds of coded sets.
struct FilterSet {
    using Value = std::int16_t;
    static constexpr int kLeast = -256, kMost = 255;
    static constexpr auto& kPredictor = kDstFilterPredictor;
    static constexpr DstFault kMethodFault = DstFault::coefficientMethod, kRangeFault = DstFault::coefficientRange;
    static int raw(DstBitReader& bits) { return bits.signedBits(kDstCoefficientBits); }
};
struct PtableSet {
    using Value = std::uint8_t;
    static constexpr int kLeast = 1, kMost = kDstHalf;
    static constexpr auto& kPredictor = kDstPtablePredictor;
    static constexpr DstFault kMethodFault = DstFault::ptableMethod, kRangeFault = DstFault::ptableEntry;
    static int raw(DstBitReader& bits) { return static_cast<int>(bits.bits(kDstPtableEntryBits)) + 1; }
};

int readRice(DstBitReader& bits, int lowBits)
{
    constexpr int kLimit = 2048; // no residual of values in range is as large
    const int high = bits.zeros(kLimit) << lowBits;
    const int magnitude = high | static_cast<int>(bits.bits(lowBits));
    return magnitude != 0 && bits.bit() ? -magnitude : magnitude;
}

template <class Set>
DstFault readSet(DstBitReader& bits, std::span<typename Set::Value> values)
{
    using Value = typename Set::Value;
    std::size_t given = values.size();
    int method = 0, lowBits = 0;
    const bool riceCoded = bits.bit();
    if (riceCoded) {
        method = static_cast<int>(bits.bits(2));
        given = static_cast<std::size_t>(method) + 1;
        if (method >= kDstRiceMethods || given >= values.size()) return Set::kMethodFault;
    }
    for (Value& value : values.first(given)) value = static_cast<Value>(Set::raw(bits));
    if (riceCoded) lowBits = static_cast<int>(bits.bits(3));
    for (std::size_t j = given; j < values.size(); ++j) {
        const int negated = dstNegatedPrediction(Set::kPredictor[method], method, &values[j - 1]);
        const int value = readRice(bits, lowBits) - negated;
        if (value < Set::kLeast || value > Set::kMost) return Set::kRangeFault;
        values[j] = static_cast<Value>(value);
    }
    return DstFault::none;
}

DstFault readFilter(DstBitReader& bits, DstFrameFilter& filter)
{
    filter.order = bits.bits(kDstOrderBits) + 1;
    filter.coefficient.fill(0);
    return readSet<FilterSet>(bits, std::span(filter.coefficient).first(filter.order));
}

DstFault readPtable(DstBitReader& bits, DstFramePtable& ptable)
{
    ptable.length = bits.bits(kDstPtableLengthBits) + 1;
    ptable.entry[0] = kDstHalf;
    if (ptable.length == 1) return DstFault::none; // nothing more is sent
    return readSet<PtableSet>(bits, std::span(ptable.entry).first(ptable.length));
}

DstFault readAll(DstBitReader& bits, std::uint32_t channels, std::uint32_t bytesPerChannel, DstTables& tables)
{
    if (const DstFault fault = readSegmentation(bits, channels, bytesPerChannel, tables); fault != DstFault::none)
        return fault;
    if (const DstFault fault = readMapping(bits, channels, tables); fault != DstFault::none) return fault;
    for (std::uint32_t c = 0; c < channels; ++c) tables.halfProbability[c] = bits.bit();
    for (DstFrameFilter& filter : std::span(tables.filters).first(tables.filterCount))
        if (const DstFault fault = readFilter(bits, filter); fault != DstFault::none) return fault;
    for (DstFramePtable& ptable : std::span(tables.ptables).first(tables.ptableCount))
        if (const DstFault fault = readPtable(bits, ptable); fault != DstFault::none) return fault;
    return DstFault::none;
}

} // namespace

DstFault readDstTables(DstBitReader& bits, std::uint32_t channels, std::uint32_t bytesPerChannel, DstTables& tables)
{
    const DstFault fault = readAll(bits, channels, bytesPerChannel, tables);
    return bits.overrun() ? DstFault::negativeBits : fault;
}

} // namespace tesk
