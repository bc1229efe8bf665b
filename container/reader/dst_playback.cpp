#include "container/reader/dst_playback.h"

#include <array>

namespace tesk {
namespace {

constexpr std::size_t kFramesPerWorker = 8;
constexpr std::uint64_t kFailuresTold = 3; // a ruined file would otherwise print 75 lines a second

constexpr std::size_t kStep = 8; // bytes per round
using Tables = std::array<std::array<std::uint32_t, 256>, kStep>;

/// Row d holds what a byte becomes once d more bytes have gone through the register ("slicing by 8").
constexpr Tables makeTables()
{
    Tables tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t rest = byte << 24;
        for (int bit = 0; bit < 8; ++bit) rest = rest << 1 ^ (rest >> 31 != 0 ? 0x80000011u : 0);
        tables[0][byte] = rest;
    }
    for (std::size_t d = 1; d < kStep; ++d)
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t rest = tables[d - 1][byte];
            tables[d][byte] = rest << 8 ^ tables[0][rest >> 24];
        }
    return tables;
}

constexpr Tables kTables = makeTables();

/// Four bytes, the first one in `bytes[0]`, with `rest` laid over them; `behind` more of the same round follow.
std::uint32_t slice(const std::uint8_t* bytes, std::uint32_t rest, std::size_t behind)
{
    return kTables[behind + 3][bytes[0] ^ rest >> 24] ^ kTables[behind + 2][bytes[1] ^ (rest >> 16 & 0xFF)] ^
           kTables[behind + 1][bytes[2] ^ (rest >> 8 & 0xFF)] ^ kTables[behind][bytes[3] ^ (rest & 0xFF)];
}

class SilentReporter final : public Reporter {
protected:
    void write(Kind, std::string_view) override {}
};

} // namespace

std::uint32_t dstFrameCrc(std::span<const std::uint8_t> decoded)
{
    std::uint32_t rest = 0;
    for (; decoded.size() >= kStep; decoded = decoded.subspan(kStep))
        rest = slice(decoded.data(), rest, 4) ^ slice(decoded.data() + 4, 0, 0);
    for (const std::uint8_t byte : decoded) rest = rest << 8 ^ kTables[0][rest >> 24 ^ byte];
    return rest;
}

DstPlayback::DstPlayback(NextFrame next, Damaged damaged, Reporter& report, DstSimdLevel level,
                         parallel::WorkerPool& pool)
    : next_(std::move(next)), damaged_(damaged), report_(report), decoder_(level, pool),
      coded_(kFramesPerWorker * pool.workers())
{
}

Status DstPlayback::init(std::uint32_t channels, std::uint32_t dsdRate)
{
    if (Status status = decoder_.init(channels, dsdRate, report_); !status) return status;
    dsd_.resize(coded_.size() * frameBytes());
    jobs_.resize(coded_.size());
    return {};
}

std::span<const std::uint8_t> DstPlayback::nextFrame()
{
    while (at_ < filled_ || decodeAhead()) {
        const std::size_t slot = at_++;
        ++problems_.framesProcessed;
        if (jobs_[slot].fault == DstFault::none) {
            checkCrc(slot);
            return jobs_[slot].dsd;
        }
        noteFailure(slot);
        if (damaged_ == Damaged::silence) return jobs_[slot].dsd;
    }
    return {};
}

/// Fills and decodes the slots. False at the end.
bool DstPlayback::decodeAhead()
{
    at_ = filled_ = 0;
    while (filled_ < jobs_.size() && !ended_) {
        CodedFrame& frame = coded_[filled_];
        frame.crc.reset();
        ended_ = !next_(frame);
        if (ended_) break;
        jobs_[filled_] = {frame.bytes, std::span(dsd_).subspan(filled_ * frameBytes(), frameBytes())};
        ++filled_;
    }
    if (filled_ == 0) return false;
    SilentReporter silent; // what is worth telling is told when the frame's turn has come
    (void)decoder_.decodeFrames(std::span(jobs_).first(filled_), 0, silent);
    return true;
}

void DstPlayback::noteFailure(std::size_t slot)
{
    const auto index = static_cast<std::uint32_t>(problems_.framesProcessed - 1);
    if (++problems_.decodeFailures <= kFailuresTold)
        report_.error("%s", dstFaultText(jobs_[slot].fault, index).c_str());
    if (damaged_ == Damaged::dropped && problems_.decodeFailures == 1)
        report_.error("DST: frame decode failed (first @LSN %llu) -- frame dropped, total reported at the end\n",
                      static_cast<unsigned long long>(coded_[slot].place));
}

void DstPlayback::checkCrc(std::size_t slot)
{
    if (!coded_[slot].crc) return;
    const std::uint32_t expected = *coded_[slot].crc, computed = dstFrameCrc(jobs_[slot].dsd);
    if (expected == computed || ++problems_.crcMismatches > 1) return;
    report_.error("DST: frame #%u CRC mismatch (expected 0x%08X, got 0x%08X) -- frame is still emitted, it may click; "
                  "from now on these are only counted\n",
                  static_cast<std::uint32_t>(problems_.framesProcessed - 1), expected, computed);
}

void DstPlayback::reportProblems(const char* name)
{
    const std::uint64_t bad = problems_.decodeFailures + problems_.crcMismatches;
    if (bad == 0) return;
    report_.error("⚠ %s: DST frame problem summary -- decode failures %llu, CRC mismatches %llu, frames processed "
                  "%llu (%.3f%%). Those passages may be incomplete or click; please check the source disc.\n",
                  name, static_cast<unsigned long long>(problems_.decodeFailures),
                  static_cast<unsigned long long>(problems_.crcMismatches),
                  static_cast<unsigned long long>(problems_.framesProcessed),
                  100.0 * static_cast<double>(bad) / static_cast<double>(problems_.framesProcessed));
}

} // namespace tesk
