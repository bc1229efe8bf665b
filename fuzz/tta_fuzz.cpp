// Any bytes as a TTA file: as they are, and with every checksum put right, which lets the fuzzer into the blocks.
#include "input/crc32.h"
#include "input/load_signal.h"
#include "input/tta_reader.h"

#include <atomic>
#include <cstdlib>

namespace {

using Bytes = std::vector<std::uint8_t>;

void load(const Bytes& bytes)
{
    std::atomic<std::uint8_t> stopByte{0};
    tesk::StopFlag stop(stopByte);
    tesk::CollectingReporter report;
    tesk::PcmRecording recording;
    std::string error;
    tesk::TtaReader reader;
    if (!reader.open(std::make_unique<tesk::MemorySource>(bytes))) {
        if (reader.errorText().empty()) std::abort();
        return;
    }
    if (reader.info().storedFrames.value() > 8 * bytes.size()) std::abort(); // no more than the file justifies
    const auto memory = [] { return std::uint64_t{1} << 24; };
    const bool loaded = tesk::loadSignal(reader, {report, stop, memory}, recording, error).ok();
    if (!loaded && (error.empty() || recording.signal.channels() != 0)) std::abort();
    const std::uint64_t middle = *reader.info().declaredFrames / 2;
    if (!reader.seek(middle) && reader.errorText() != "TTA set_position failed") std::abort();
}

std::uint64_t u32At(const Bytes& bytes, std::size_t at)
{
    return bytes[at] | bytes[at + 1] << 8 | bytes[at + 2] << 16 | std::uint64_t{bytes[at + 3]} << 24;
}

/// Writes the checksum of `size` bytes behind them. False when the file has no room for it.
bool seal(Bytes& bytes, std::uint64_t at, std::uint64_t size)
{
    if (at + size + 4 > bytes.size()) return false;
    const std::uint32_t sum = tesk::crc32(std::span(bytes).subspan(at, size));
    for (std::size_t i = 0; i < 4; ++i) bytes[at + size + i] = static_cast<std::uint8_t>(sum >> 8 * i);
    return true;
}

void sealAll(Bytes& bytes)
{
    if (!seal(bytes, 0, 18)) return;
    const std::uint64_t blockFrames = 256 * u32At(bytes, 10) / 245;
    if (blockFrames == 0) return;
    const std::uint64_t blocks = (u32At(bytes, 14) + blockFrames - 1) / blockFrames;
    if (!seal(bytes, 22, 4 * blocks)) return;
    std::uint64_t at = 22 + 4 * blocks + 4;
    for (std::size_t b = 0; b < blocks; ++b) {
        const std::uint64_t size = u32At(bytes, 22 + 4 * b);
        if (size < 4 || !seal(bytes, at, size - 4)) return;
        at += size;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Bytes bytes(data, data + size);
    load(bytes);
    sealAll(bytes);
    load(bytes);
    return 0;
}
