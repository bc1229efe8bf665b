// Any bytes as a WavPack file and its correction, read from the start or from somewhere in the middle.
//
//     byte 0      0: from the start; else the place to seek to, in 256ths of the declared length
//     bytes 1-2   length of the correction, little-endian; 0: none
//     then        the correction, and the .wv file behind it
#include "input/load_signal.h"
#include "input/wavpack_reader.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 3) return 0;
    const std::span<const std::uint8_t> files(data + 3, size - 3);
    const std::size_t split = std::min<std::size_t>(data[1] | data[2] << 8, files.size());
    auto main = std::make_unique<tesk::MemorySource>(files.subspan(split));
    auto correction = split > 0 ? std::make_unique<tesk::MemorySource>(files.first(split)) : nullptr;
    tesk::WavPackReader reader;
    if (!reader.open(std::move(main), std::move(correction))) {
        if (reader.errorText().empty()) std::abort();
        return 0;
    }
    std::atomic<std::uint8_t> stopByte{0};
    tesk::StopFlag stop(stopByte);
    tesk::CollectingReporter report;
    tesk::PcmRecording recording;
    std::string error;
    const auto memory = [] { return std::uint64_t{1} << 24; };
    const std::uint64_t begin = reader.info().declaredFrames.value_or(0) / 256 * data[0];
    const bool loaded = tesk::loadSignal(reader, {report, stop, memory}, recording, error, {begin}).ok();
    if (!loaded && (error.empty() || recording.signal.channels() != 0)) std::abort();
    return 0;
}
