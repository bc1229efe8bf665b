// The arithmetic-coded part of a frame: everything one run over its samples needs, and the loop.
#pragma once

#include "container/dst/dst_arithmetic.h"
#include "container/dst/dst_filter_form.h"

namespace tesk {

/// A channel on its way through the frame.
struct DstChannelRun {
    const DstFilterForm* filter = nullptr;
    const std::uint64_t* entries = nullptr; ///< [64] of the Ptable in force, as DstArithmetic takes them
    unsigned filterSegment = 0, ptableSegment = 0;
    std::uint32_t filterEnd = 0, ptableEnd = 0; ///< byte of the channel where the next segment begins
    std::uint32_t halfSamples = 0;              ///< first samples of the frame that are coded with one half
    DstHistory history;
    unsigned at = 0; ///< where in `z` the byte to be decoded begins: 0 or 8
    alignas(64) std::int32_t z[kDstAhead];
};

/// Large; made once per decoder.
class DstFrameRun {
public:
    /// Lays out the tables that were read into `tables` and starts the arithmetic decoder.
    /// @param frame  the coded frame, from byte 0; its arithmetic-coded data begin at `bitPosition`
    /// @param dsd    [channels · bytesPerChannel]  where the sound goes
    DstFault start(std::uint32_t channels, std::uint32_t bytesPerChannel, DstSimdLevel level,
                   std::span<const std::uint8_t> frame, std::size_t bitPosition, std::uint8_t* dsd);
    /// What the end of the frame says about it.
    DstFault finish() const;

    void enterByte(std::uint32_t c, std::uint32_t byte, DstLookAhead lookAhead);

    DstTables tables;
    DstArithmetic arithmetic;
    std::array<DstChannelRun, kDstMaxChannels> channel;
    std::uint32_t channels = 0, bytes = 0; ///< bytes per channel
    std::uint8_t* dsd = nullptr;

private:
    std::array<DstFilterForm, kDstMaxTables> forms_;
    std::array<std::array<std::uint64_t, kDstMaxPtableLength>, kDstMaxTables> entries_;
    std::size_t frameBits_ = 0;
};

/// Decodes one frame, or two of equal shape side by side: while one waits for its last decision the other computes.
/// @param second  null for one frame only
void runDstFrames(DstFrameRun& first, DstFrameRun* second, DstSimdLevel level);

} // namespace tesk
