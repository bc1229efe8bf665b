// A decoder plugin that answers whatever the bytes say: formats, counts and samples that lie.
#include "input/load_signal.h"
#include "input/loaded/plugin_reader.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

void demand(bool condition)
{
    if (!condition) std::abort();
}

/// The bytes of one run, and what the plugin has to remember. Its address is the path that is opened.
struct Script {
    const std::uint8_t* data;
    std::size_t size;
    int open = 0;
    bool failed = false; // only last_error and close may be called
    std::uint64_t promised = 0;

    std::uint64_t number(int bytes)
    {
        std::uint64_t value = 0;
        for (; bytes > 0 && size > 0; --bytes, ++data, --size) value = value << 8 | *data;
        return value;
    }
};

} // namespace

struct tesk_ext_decoder {
    Script& script;
    std::uint64_t channels;
    char text[8];
};

namespace {

tesk_ext_decoder* openDecoder(const char* path, tesk_ext_format* format)
{
    Script& script = *reinterpret_cast<Script*>(std::strtoull(path, nullptr, 16));
    const std::uint64_t kind = script.number(1);
    if (kind == 0) return nullptr;
    demand(format->struct_size == sizeof *format);
    if (kind & 1) format->struct_size = static_cast<std::uint32_t>(script.number(kind & 2 ? 4 : 1));
    format->channels = static_cast<std::uint32_t>(script.number(kind & 4 ? 4 : 1) % (kind & 8 ? 67 : 5));
    format->sample_rate = static_cast<std::uint32_t>(script.number(kind & 16 ? 4 : 2));
    format->bits_per_sample = static_cast<std::uint32_t>(script.number(kind & 32 ? 4 : 1));
    format->is_float = static_cast<std::uint32_t>(script.number(1) & 1);
    format->total_frames = script.number(kind & 64 ? 8 : 3);
    for (char& c : format->codec) c = static_cast<char>(kind & 128 ? script.number(1) : 0);
    ++script.open;
    return new tesk_ext_decoder{script, format->channels, {}};
}

std::int64_t readFrames(tesk_ext_decoder* decoder, double* to, std::uint64_t frames)
{
    Script& script = decoder->script;
    demand(!script.failed);
    if (script.size == 0) return 0;
    const std::uint64_t kind = script.number(1);
    auto answer = static_cast<std::int64_t>(script.number(kind & 1 ? 2 : 1));
    if (kind & 2) answer = std::min(answer, static_cast<std::int64_t>(frames));
    if (kind == 4) answer = -static_cast<std::int64_t>(script.number(1));
    if (kind == 8) answer = static_cast<std::int64_t>(script.number(8));
    const std::uint64_t bits = script.number(kind & 16 ? 8 : 1);
    double sample = static_cast<double>(bits) / 256;
    if (kind & 16) std::memcpy(&sample, &bits, sizeof sample);
    const bool fits = answer >= 0 && static_cast<std::uint64_t>(answer) <= frames;
    // Sometimes all the room is written to whatever is answered, or a little more.
    const std::uint64_t written = fits && !(kind & 64) ? static_cast<std::uint64_t>(answer) : frames;
    const std::uint64_t spilled = kind == 96 ? script.number(1) : 0;
    std::fill_n(to, written * decoder->channels + spilled, sample);
    const bool honest = fits && spilled == 0;
    script.failed = !honest;
    if (honest) script.promised += static_cast<std::uint64_t>(answer);
    return answer;
}

std::int32_t seekFrame(tesk_ext_decoder* decoder, std::uint64_t)
{
    demand(!decoder->script.failed);
    const auto answer = static_cast<std::int32_t>(decoder->script.number(1) % 3) - 1;
    decoder->script.failed = answer > 0;
    return answer;
}

void closeDecoder(tesk_ext_decoder* decoder)
{
    --decoder->script.open;
    delete decoder;
}

const char* lastError(tesk_ext_decoder* decoder)
{
    if (!decoder) return nullptr;
    for (char& c : decoder->text) c = static_cast<char>(decoder->script.number(1));
    decoder->text[7] = 0;
    return decoder->text;
}

void checkSamples(tesk::PcmRecording& recording)
{
    for (std::uint32_t c = 0; c < recording.signal.channels(); ++c)
        for (const double sample : recording.signal.samples(c)) demand(std::abs(sample) <= tesk::kLargestSample);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) return 0;
    const tesk::ExtDecoderApi api{openDecoder, readFrames, seekFrame, closeDecoder, lastError};
    std::atomic<std::uint8_t> stopByte{0};
    tesk::StopFlag stop(stopByte);
    tesk::CollectingReporter report;
    tesk::PcmRecording recording;
    std::string error;
    Script script{data + 1, size - 1};
    {
        tesk::PluginReader reader(api);
        if (!reader.open(tesk::format("%p", static_cast<void*>(&script)))) {
            demand(!reader.errorText().empty() && script.open == 0);
            return 0;
        }
        const bool partly = data[0] & 1, gateless = data[0] & 2;
        const auto memory = [gateless]() -> std::optional<std::uint64_t> {
            if (gateless) return {};
            return std::uint64_t{1} << 24;
        };
        const tesk::FrameRange range =
            partly ? tesk::FrameRange{data[0], std::uint64_t{data[0]} << 8} : tesk::FrameRange{};
        const bool loaded = tesk::loadSignal(reader, {report, stop, memory}, recording, error, range).ok();
        demand(loaded ? !script.failed : !error.empty() && recording.signal.channels() == 0);
        if (loaded && !partly) demand(recording.signal.frames() == script.promised);
        for (const char c : reader.errorText()) demand(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F);
        checkSamples(recording);
    }
    demand(script.open == 0);
    return 0;
}
