#include "container/dst/dst_set_coding.h"

#include "container/dst/dst_format.h"

#include <array>
#include <cstdlib>

namespace tesk {
namespace {

struct SetFormat {
    const int (&predictor)[kDstRiceMethods][3];
    int lengthBits, valueBits;
    int smallest;    // the value that is sent as code 0
    int mostLowBits; // the field could carry 7; this is what encoders keep to
};

constexpr SetFormat kFilterFormat{kDstFilterPredictor, kDstOrderBits, kDstCoefficientBits, 0, 6};
constexpr SetFormat kPtableFormat{kDstPtablePredictor, kDstPtableLengthBits, kDstPtableEntryBits, 1, 4};
constexpr unsigned kRiceHeadBits = 1 + 2 + 3; // Coded, method, number of low bits

const SetFormat& formatOf(DstSet kind) { return kind == DstSet::filter ? kFilterFormat : kPtableFormat; }

int residual(const SetFormat& format, int method, std::span<const std::int16_t> values, std::size_t at)
{
    return values[at] + dstNegatedPrediction(format.predictor[method], method, &values[at - 1]);
}

void putRaw(DstBitWriter& out, const SetFormat& format, int value)
{
    const auto code = static_cast<unsigned>(value - format.smallest);
    out.put(code & ((1u << format.valueBits) - 1), format.valueBits);
}

void putRice(DstBitWriter& out, int value, int lowBits)
{
    const auto magnitude = static_cast<unsigned>(std::abs(value));
    for (unsigned zeros = magnitude >> lowBits; zeros > 0; --zeros) out.put(0, 1);
    out.put(1, 1);
    out.put(magnitude & ((1u << lowBits) - 1), lowBits);
    if (magnitude != 0) out.put(value < 0, 1);
}

} // namespace

DstSetCoding cheapestDstCoding(DstSet kind, std::span<const std::int16_t> values)
{
    const SetFormat& format = formatOf(kind);
    const auto valueBits = static_cast<unsigned>(format.valueBits);
    DstSetCoding best{false, 0, 0, 1 + valueBits * static_cast<unsigned>(values.size())};
    for (int method = 0; method < kDstRiceMethods; ++method) {
        const auto raw = static_cast<std::size_t>(method) + 1;
        if (values.size() <= raw) break;
        std::array<unsigned, 8> bits{};
        for (std::size_t j = raw; j < values.size(); ++j) {
            const auto magnitude = static_cast<unsigned>(std::abs(residual(format, method, values, j)));
            for (unsigned m = 0; m < bits.size(); ++m) bits[m] += (magnitude >> m) + 1 + m + (magnitude != 0);
        }
        for (int m = 0; m <= format.mostLowBits; ++m) {
            const auto all = kRiceHeadBits + valueBits * static_cast<unsigned>(raw) + bits[static_cast<unsigned>(m)];
            if (all < best.bits) best = {true, method, m, all};
        }
    }
    return best;
}

void writeDstSet(DstBitWriter& out, DstSet kind, std::span<const std::int16_t> values, const DstSetCoding& coding)
{
    const SetFormat& format = formatOf(kind);
    out.put(values.size() - 1, format.lengthBits);
    out.put(coding.rice, 1);
    if (!coding.rice) {
        for (const int value : values) putRaw(out, format, value);
        return;
    }
    const auto raw = static_cast<std::size_t>(coding.method) + 1;
    out.put(static_cast<unsigned>(coding.method), 2);
    for (std::size_t j = 0; j < raw; ++j) putRaw(out, format, values[j]);
    out.put(static_cast<unsigned>(coding.lowBits), 3);
    for (std::size_t j = raw; j < values.size(); ++j)
        putRice(out, residual(format, coding.method, values, j), coding.lowBits);
}

} // namespace tesk
