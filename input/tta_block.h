// One block of a TTA1 stream (its own word is "frame"): from bits to samples. Blocks know nothing of each other.
#pragma once

#include "input/tta_filter.h"

#include <memory>
#include <span>
#include <string_view>

namespace tesk {

inline constexpr unsigned kTtaMaxChannels = 8;

/// Bytes that must be readable behind a block's bit stream, all 0: the overrun is looked for once per sample frame,
/// and reading goes on for at most eight values of 1 + 27 bits, by words of eight bytes.
inline constexpr std::size_t kTtaPadding = 64;

/// Bits of a byte string, the lowest of each byte first.
struct TtaBits {
    const std::uint8_t* bytes = nullptr;
    std::uint64_t position = 0, end = 0; // in bits
};

/// An adaptive Rice code with two parameters; the second serves what exceeds the first.
struct TtaRice {
    std::uint32_t k0 = 10, k1 = 10;
    std::uint32_t sum0 = 1u << 14, sum1 = 1u << 14; // 16 times the running means
};

/// Decodes a block from front to back, in pieces of any length.
class TtaBlock {
public:
    /// @param channels       1 .. kTtaMaxChannels
    /// @param bitsPerSample  8, 16 or 24
    TtaBlock(unsigned channels, int bitsPerSample, TtaFilter filter);

    /// Starts a block. `bits` is its bit stream without the checksum, outlives the decoding and has kTtaPadding bytes
    /// of 0 behind its end.
    void begin(std::span<const std::uint8_t> bits);

    /// Decodes the next `frames` frames.
    ///
    /// @param planar  [channels][from + frames]  written from index `from` on, full scale ±1.0; null to skip the frames
    /// @return        why the block makes no sense; empty when it does
    std::string_view decode(double* const* planar, std::size_t from, std::size_t frames);

    /// Whole bytes that the values decoded so far have not touched.
    std::size_t unusedBytes() const;

private:
    static constexpr std::size_t kPieceFrames = 512; // 16 KiB for eight channels: stays in the first cache

    struct Piece {
        std::int32_t values[kTtaMaxChannels][kPieceFrames];
    };

    template <unsigned kChannels>
    bool readResiduals(std::size_t frames);
    bool readResiduals(std::size_t frames);
    void joinChannels(std::size_t frames);
    bool store(double* const* planar, std::size_t from, std::size_t frames) const;

    unsigned channels_;
    int bitsPerSample_;
    TtaShifts shifts_;
    TtaFilter filter_;
    TtaBits bits_;
    std::array<TtaRice, kTtaMaxChannels> rice_;
    std::array<TtaFilterState, kTtaMaxChannels> state_;
    std::unique_ptr<Piece> piece_;
};

} // namespace tesk
