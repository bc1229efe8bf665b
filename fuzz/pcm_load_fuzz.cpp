// Any bytes as a whole recording, through both readers, with little memory to be had.
#include "input/flac_reader.h"
#include "input/load_signal.h"
#include "input/wave_reader.h"

#include <atomic>
#include <cstdlib>

namespace {

template <class Reader>
void load(std::span<const std::uint8_t> bytes)
{
    std::atomic<std::uint8_t> stopByte{0};
    tesk::StopFlag stop(stopByte);
    tesk::CollectingReporter report;
    tesk::PcmRecording recording;
    std::string error;
    Reader reader;
    if (!reader.open(std::make_unique<tesk::MemorySource>(bytes))) {
        if (reader.errorText().empty()) std::abort();
        return;
    }
    const auto memory = [] { return std::uint64_t{1} << 24; };
    const bool loaded = tesk::loadSignal(reader, {report, stop, memory}, recording, error).ok();
    if (!loaded && (error.empty() || recording.signal.channels() != 0)) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    load<tesk::WaveReader>({data, size});
    load<tesk::FlacReader>({data, size});
    return 0;
}
