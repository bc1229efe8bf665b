// DST-coded frames of a container, decoded ahead on all workers, checked and counted.
#pragma once

#include "container/dst/dst_decoder.h"
#include "engine/base/reporter.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tesk {

/// A coded frame with what its container says about it.
struct CodedFrame {
    std::vector<std::uint8_t> bytes;  ///< none: the container lost it, which counts as damage
    std::optional<std::uint32_t> crc; ///< of the decoded bytes
    std::uint64_t place = 0;          ///< where it stands, for messages: the first sector on a disc
};

struct DstProblems {
    std::uint64_t decodeFailures = 0, crcMismatches = 0, framesProcessed = 0;
};

/// The 32-bit CRC of the DST standard over decoded bytes: polynomial x^32 + x^31 + x^4 + 1 (0x80000011), register 0 at
/// the start, most significant bit first, no final inversion.
std::uint32_t dstFrameCrc(std::span<const std::uint8_t> decoded);

/// Delivers whole decoded frames in order. Gathers as many frames as keep the workers busy, decodes them together, and
/// hands them out one after the other. No damaged frame ends the sound: it is counted, and either silence (0x69) or
/// left out. A frame that differs from its checksum is counted and delivered.
class DstPlayback {
public:
    enum class Damaged { silence, dropped };
    /// Fills the next frame; false at the end. Reuses the frame's memory: `bytes` holds an older frame, `crc` nothing.
    using NextFrame = std::function<bool(CodedFrame&)>;

    /// @param next  called on the thread that reads, never after it returned false
    DstPlayback(NextFrame next, Damaged damaged, Reporter& report, DstSimdLevel level = kDstScalar,
                parallel::WorkerPool& pool = parallel::WorkerPool::instance());

    /// As DstDecoder::init.
    Status init(std::uint32_t channels, std::uint32_t dsdRate);

    /// channels · bytes of a channel
    std::size_t frameBytes() const { return decoder_.frameBytes(); }

    /// The next frame's bytes, interleaved, first sample in the high bit; valid until the next call. Empty at the end.
    std::span<const std::uint8_t> nextFrame();

    /// Of the frames delivered or dropped so far; those decoded ahead do not count yet.
    const DstProblems& problems() const { return problems_; }

    /// The summary line, when there were problems.
    void reportProblems(const char* name);

private:
    bool decodeAhead();
    void noteFailure(std::size_t slot);
    void checkCrc(std::size_t slot);

    NextFrame next_;
    Damaged damaged_;
    Reporter& report_;
    DstParallelDecoder decoder_;
    std::vector<CodedFrame> coded_;   // [slots]
    std::vector<std::uint8_t> dsd_;   // [slots · frameBytes()]
    std::vector<DstFrameJob> jobs_;   // [slots]
    std::size_t filled_ = 0, at_ = 0; // slots decoded, the next to deliver
    bool ended_ = false;
    DstProblems problems_;
};

} // namespace tesk
