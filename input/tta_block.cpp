#include "input/tta_block.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace tesk {
namespace {

static_assert(std::endian::native == std::endian::little);

/// A run of ones up to this long leaves room for the k bits behind it in one window of 57 bits: k is 27 at most.
constexpr std::uint32_t kShortRun = 28;

/// Moves k so that 2^(k+4) ≤ sum ≤ 2^(k+5) holds in the long run. At k = 27 the upper bound is beyond 32 bits.
inline void adapt(std::uint32_t& k, std::uint32_t& sum, std::uint32_t value)
{
    sum += value - (sum >> 4);
    const std::uint64_t low = (std::uint64_t{16} << k) & ~std::uint64_t{16}; // 0 for k = 0, which cannot shrink
    const std::uint64_t high = std::uint64_t{32} << k;
    k += static_cast<std::uint32_t>(sum > high) - static_cast<std::uint32_t>(sum < low);
}

/// 0, 1, 2, 3, 4 ... stand for 0, 1, −1, 2, −2 ...
inline std::int32_t unfold(std::uint32_t value)
{
    const std::uint32_t half = value / 2, odd = value & 1;
    return static_cast<std::int32_t>(odd != 0 ? half + 1 : 0 - half);
}

/// At least 57 bits from the position on, the next one lowest.
inline std::uint64_t window(const TtaBits& bits)
{
    std::uint64_t word;
    std::memcpy(&word, bits.bytes + (bits.position >> 3), sizeof word);
    return word >> (bits.position & 7);
}

/// A run of ones of any length, with the zero behind it; the padding ends the last one.
std::uint32_t longRun(TtaBits& bits)
{
    constexpr int kWhole = 57;
    const std::uint64_t start = bits.position;
    int ones = std::countr_one(window(bits));
    for (; ones >= kWhole; ones = std::countr_one(window(bits))) bits.position += kWhole;
    bits.position += static_cast<std::uint64_t>(ones);
    return static_cast<std::uint32_t>(bits.position++ - start);
}

/// The run of ones says how many times 2^k; a run above 0 says as well that k is the second one.
///
/// Without a branch: whether a value exceeds 2^k0 is close to a coin's toss, and so never foreseen.
inline std::uint32_t nextValue(TtaBits& bits, TtaRice& rice)
{
    std::uint64_t next = window(bits);
    auto ones = static_cast<std::uint32_t>(std::countr_one(next));
    if (ones <= kShortRun) [[likely]] {
        next >>= ones + 1;
        bits.position += ones + 1;
    } else {
        ones = longRun(bits);
        next = window(bits);
    }
    const std::uint32_t above = ones > 0, mask = 0 - above;
    const std::uint32_t k = above != 0 ? rice.k1 : rice.k0;
    bits.position += k;
    const std::uint32_t rest = static_cast<std::uint32_t>(next) & ((1u << k) - 1);
    const std::uint32_t value = ((ones - above) << k) + rest;
    std::uint32_t k1 = rice.k1, sum1 = rice.sum1;
    adapt(k1, sum1, value);
    rice.k1 += (k1 - rice.k1) & mask;
    rice.sum1 += (sum1 - rice.sum1) & mask;
    const std::uint32_t whole = value + ((1u << rice.k0) & mask);
    adapt(rice.k0, rice.sum0, whole);
    return whole;
}

} // namespace

TtaBlock::TtaBlock(unsigned channels, int bitsPerSample, TtaFilter filter)
    : channels_(channels), bitsPerSample_(bitsPerSample), shifts_(ttaShifts(bitsPerSample / 8)), filter_(filter),
      piece_(std::make_unique<Piece>())
{
}

void TtaBlock::begin(std::span<const std::uint8_t> bits)
{
    bits_ = {bits.data(), 0, std::uint64_t{bits.size()} * 8};
    rice_.fill({});
    state_.fill({});
}

std::string_view TtaBlock::decode(double* const* planar, std::size_t from, std::size_t frames)
{
    for (std::size_t done = 0; done < frames;) {
        const std::size_t count = std::min(frames - done, kPieceFrames);
        if (!readResiduals(count)) return "the samples need more bits than there are";
        for (unsigned c = 0; c < channels_; ++c) filter_(state_[c], shifts_, piece_->values[c], count);
        joinChannels(count);
        if (planar && !store(planar, from + done, count)) return "the samples exceed their width";
        done += count;
    }
    return {};
}

std::size_t TtaBlock::unusedBytes() const
{
    return static_cast<std::size_t>((bits_.end - std::min(bits_.position, bits_.end)) / 8);
}

/// kChannels is 0 for a number known at run time only. False when the bits ran out. The loop works on copies, which
/// the compiler may keep in registers: the values it stores could otherwise be the members.
template <unsigned kChannels>
bool TtaBlock::readResiduals(std::size_t frames)
{
    const unsigned channels = kChannels > 0 ? kChannels : channels_;
    TtaBits bits = bits_;
    auto rice = rice_;
    std::size_t i = 0;
    for (; i < frames && bits.position <= bits.end; ++i)
        for (unsigned c = 0; c < channels; ++c) piece_->values[c][i] = unfold(nextValue(bits, rice[c]));
    bits_ = bits;
    rice_ = rice;
    return bits.position <= bits.end;
}

bool TtaBlock::readResiduals(std::size_t frames)
{
    if (channels_ == 1) return readResiduals<1>(frames);
    return channels_ == 2 ? readResiduals<2>(frames) : readResiduals<0>(frames);
}

/// Each channel but the last is stored as its successor less itself, the last less half of the stored one before it.
void TtaBlock::joinChannels(std::size_t frames)
{
    if (channels_ == 1) return;
    const auto wrap = [](std::int64_t value) { return static_cast<std::int32_t>(value); };
    std::int32_t* last = piece_->values[channels_ - 1];
    const std::int32_t* before = piece_->values[channels_ - 2];
    for (std::size_t i = 0; i < frames; ++i) last[i] = wrap(std::int64_t{last[i]} + before[i] / 2);
    for (unsigned c = channels_ - 1; c-- > 0;) {
        const std::int32_t* next = piece_->values[c + 1];
        std::int32_t* values = piece_->values[c];
        for (std::size_t i = 0; i < frames; ++i) values[i] = wrap(std::int64_t{next[i]} - values[i]);
    }
}

/// False when a sample exceeds its width: no encoder was ever given such a one.
bool TtaBlock::store(double* const* planar, std::size_t from, std::size_t frames) const
{
    const double scale = std::ldexp(1.0, 1 - bitsPerSample_);
    std::int32_t magnitudes = 0;
    for (unsigned c = 0; c < channels_; ++c) {
        double* to = planar[c] + from;
        const std::int32_t* values = piece_->values[c];
        for (std::size_t i = 0; i < frames; ++i) {
            magnitudes |= values[i] ^ (values[i] >> 31);
            to[i] = scale * values[i];
        }
    }
    return magnitudes >> (bitsPerSample_ - 1) == 0;
}

} // namespace tesk
