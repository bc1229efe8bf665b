#include "container/dst/dst_frame_run.h"

#include <algorithm>
#include <cstdlib>

namespace tesk {
namespace {

/// Frames that are decoded in step. `kChannels` is their channel count, or 0 for any.
template <unsigned kWays, unsigned kChannels>
class Lanes {
public:
    explicit Lanes(DstFrameRun* const* runs) : runs_(runs), channels_(kChannels ? kChannels : runs[0]->channels)
    {
        for (unsigned w = 0; w < kWays; ++w) arithmetic_[w] = runs[w]->arithmetic;
    }

    [[gnu::always_inline]] void decode(DstLookAhead lookAhead)
    {
        const std::uint32_t bytes = runs_[0]->bytes;
        for (std::uint32_t byte = 0; byte < bytes; ++byte) {
            for (unsigned w = 0; w < kWays; ++w)
                for (unsigned c = 0; c < channels_; ++c) {
                    runs_[w]->enterByte(c, byte, lookAhead);
                    marked_[w][c] = 1;
                }
            if (8 * byte < kDstMaxOrder) [[unlikely]]
                decodeByte<true>(byte);
            else
                decodeByte<false>(byte);
            for (unsigned w = 0; w < kWays; ++w)
                for (unsigned c = 0; c < channels_; ++c) leaveByte(*runs_[w], w, c, byte);
        }
        for (unsigned w = 0; w < kWays; ++w) runs_[w]->arithmetic = arithmetic_[w];
    }

private:
    /// @param kStart  whether samples coded with one half may be among these
    template <bool kStart>
    [[gnu::always_inline]] void decodeByte(std::uint32_t byte)
    {
        for (unsigned s = 0; s < 8; ++s)
            for (unsigned c = 0; c < channels_; ++c)
                for (unsigned w = 0; w < kWays; ++w) {
                    if (c % 4 == 0) arithmetic_[w].fill();
                    decodeBit<kStart>(runs_[w]->channel[c], w, c, s, byte);
                }
    }

    template <bool kStart>
    [[gnu::always_inline]] void decodeBit(const DstChannelRun& run, unsigned w, unsigned c, unsigned s,
                                          std::uint32_t byte)
    {
        const unsigned marked = marked_[w][c];
        const int z = run.z[run.at + s] + run.filter->inByte[marked];
        const auto size = static_cast<unsigned>(z < 0 ? -z : z) / kDstZPerEntry;
        std::uint64_t entry = run.entries[std::min(size, kDstMaxPtableLength - 1)];
        if (kStart && 8 * byte + s < run.halfSamples) entry = DstArithmetic::entry(kDstHalf);
        const bool predicted = z >= 0;
        marked_[w][c] = 2 * marked + static_cast<unsigned>(arithmetic_[w].wrong(entry) != predicted);
    }

    [[gnu::always_inline]] void leaveByte(DstFrameRun& frame, unsigned w, unsigned c, std::uint32_t byte)
    {
        const auto bits = static_cast<std::uint8_t>(marked_[w][c]);
        frame.channel[c].history.append(bits);
        frame.dsd[std::size_t{byte} * channels_ + c] = bits;
    }

    DstFrameRun* const* runs_;
    const unsigned channels_;
    DstArithmetic arithmetic_[kWays];
    unsigned marked_[kWays][kChannels ? kChannels : kDstMaxChannels]; // a 1, then the bits of the byte so far
};

[[gnu::always_inline]] inline void decodeAll(DstFrameRun* const* runs, DstLookAhead lookAhead)
{
    const bool stereo = runs[0]->channels == 2;
    if (runs[1])
        stereo ? Lanes<2, 2>(runs).decode(lookAhead) : Lanes<2, 0>(runs).decode(lookAhead);
    else
        stereo ? Lanes<1, 2>(runs).decode(lookAhead) : Lanes<1, 0>(runs).decode(lookAhead);
}

void decodePlainly(DstFrameRun* const* runs, DstLookAhead lookAhead) { decodeAll(runs, lookAhead); }

// The normalising shift is a count of leading zeros: one step with LZCNT, several without.
[[gnu::target("lzcnt,bmi,bmi2")]] void decodeWithBitCounts(DstFrameRun* const* runs, DstLookAhead lookAhead)
{
    decodeAll(runs, lookAhead);
}

} // namespace

DstFault DstFrameRun::start(std::uint32_t channelCount, std::uint32_t bytesPerChannel, DstSimdLevel level,
                            std::span<const std::uint8_t> frame, std::size_t bitPosition, std::uint8_t* sound)
{
    channels = channelCount;
    bytes = bytesPerChannel;
    dsd = sound;
    frameBits_ = 8 * frame.size();
    if (bitPosition < frameBits_ && (frame[bitPosition / 8] >> (7 - bitPosition % 8) & 1))
        return DstFault::illegalArithmeticCode;
    for (unsigned f = 0; f < tables.filterCount; ++f) layOut(tables.filters[f], level, forms_[f]);
    for (unsigned p = 0; p < tables.ptableCount; ++p)
        for (unsigned i = 0; i < kDstMaxPtableLength; ++i)
            entries_[p][i] = DstArithmetic::entry(tables.ptables[p].entry[std::min(i, tables.ptables[p].length - 1)]);
    constexpr std::uint64_t kStartWord = 0x0101010101010101U * kDstStartHistory;
    for (std::uint32_t c = 0; c < channels; ++c) {
        const DstFrameFilter& first = tables.filters[tables.filterSegments.table[c][0]];
        channel[c] = {};
        channel[c].history = {kStartWord, kStartWord};
        channel[c].halfSamples = tables.halfProbability[c] ? first.order : 0;
    }
    arithmetic = DstArithmetic(frame, std::min(bitPosition + 1, frameBits_));
    arithmetic.wrong(DstArithmetic::entry(dstFirstEntry(tables.filters[0].coefficient[0]))); // means nothing
    return DstFault::none;
}

DstFault DstFrameRun::finish() const
{
    return arithmetic.position() + 7 < frameBits_ ? DstFault::arithmeticDecoding : DstFault::none;
}

void DstFrameRun::enterByte(std::uint32_t c, std::uint32_t byte, DstLookAhead lookAhead)
{
    DstChannelRun& run = channel[c];
    if (byte == run.ptableEnd) [[unlikely]] {
        const unsigned segment = run.ptableSegment++;
        run.ptableEnd = tables.ptableSegments.end[c][segment];
        run.entries = entries_[tables.ptableSegments.table[c][segment]].data();
    }
    if (byte == run.filterEnd) [[unlikely]] {
        const unsigned segment = run.filterSegment++;
        run.filterEnd = tables.filterSegments.end[c][segment];
        run.filter = &forms_[tables.filterSegments.table[c][segment]];
        run.at = 8; // what was computed ahead belongs to another filter
    }
    if (run.at == 8) {
        lookAhead(*run.filter, run.history, run.z);
        run.at = 0;
        return;
    }
    const auto last = static_cast<unsigned>(run.history.newer & 0xFF);
    for (unsigned i = 0; i < 8; ++i)
        run.z[8 + i] += run.filter->lastByte[0][last & 15][i] + run.filter->lastByte[1][last >> 4][i];
    run.at = 8;
}

void runDstFrames(DstFrameRun& first, DstFrameRun* second, DstSimdLevel level)
{
    DstFrameRun* const runs[2] = {&first, second};
    const DstLookAhead lookAhead = dstLookAhead(level);
    if (level >= kDstAvx2)
        decodeWithBitCounts(runs, lookAhead);
    else
        decodePlainly(runs, lookAhead);
}

} // namespace tesk
