// Any sound and any parameters through the DST encoder and back: the decoder must return every bit.
#include "container/dst/dst_decoder.h"
#include "container/dst/dst_encoder.h"

#include <algorithm>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 5) return 0;
    tesk::DstParameters p;
    p.channels = 1 + data[0] % tesk::kDstMaxChannels;
    p.predictionOrder = 1 + data[1] % 128;
    p.bytesPerChannel = 1 + data[2] + 4 * data[3];
    p.dsdRate = static_cast<std::uint32_t>(600 * p.bytesPerChannel);
    const bool xorNeighbour = data[4] & 1; // makes runs and periods out of few bytes
    const std::span<const std::uint8_t> seed(data + 5, size - 5);

    std::vector<std::uint8_t> sound(p.frameBytes(), 0x69);
    for (std::size_t i = 0; i < sound.size() && !seed.empty(); ++i) {
        sound[i] = seed[i % seed.size()];
        if (xorNeighbour && i > 0) sound[i] = static_cast<std::uint8_t>(sound[i] ^ (sound[i - 1] >> 1));
    }
    tesk::DstEncoder encoder;
    if (!encoder.init(p)) std::abort();
    const auto frame = encoder.encode(sound);
    if (!frame.ok() || frame->size() > sound.size() + 1) std::abort();

    tesk::CollectingReporter report;
    tesk::DstDecoder decoder;
    std::vector<std::uint8_t> back(sound.size());
    if (!decoder.init(p.channels, p.dsdRate, report) || !decoder.decode(*frame, 0, back, report)) std::abort();
    if (back != sound) std::abort();
    return 0;
}
