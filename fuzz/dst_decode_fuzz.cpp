// Any bytes as two DST frames: every vector level, alone and side by side, has to give the same sound or the same
// fault.
#include "container/dst/dst_decoder.h"
#include "platform/cpu_features.h"

#include <algorithm>
#include <cstdlib>

namespace {

using Bytes = std::vector<std::uint8_t>;

struct Outcome {
    Bytes sound;
    tesk::DstFault fault = tesk::DstFault::none;
    bool operator==(const Outcome&) const = default;
};

Outcome alone(tesk::DstDecoder& decoder, const Bytes& frame)
{
    Outcome out{Bytes(decoder.frameBytes()), {}};
    tesk::DstFrameJob job{frame, out.sound};
    decoder.decode({&job, 1});
    out.fault = job.fault;
    if (job.fault != tesk::DstFault::none && out.sound != Bytes(out.sound.size(), 0x69)) std::abort();
    return out;
}

} // namespace

/// One byte chooses the shape, one tells where the second frame begins.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2) return 0;
    const std::uint32_t channels = 1 + data[0] % 6, bytesPerChannel = 8 + 40 * (data[0] / 6);
    const std::size_t cut = std::min<std::size_t>(size, 2 + std::size_t{4} * data[1]);
    const Bytes frames[2] = {Bytes(data + 2, data + cut), Bytes(data + cut, data + size)};
    const tesk::DstSimdLevel best = tesk::chooseDstSimd(tesk::platform::cpuFeatures(), nullptr, true).level;
    tesk::CollectingReporter report;
    Outcome first[2];
    for (tesk::DstSimdLevel level : {tesk::kDstScalar, tesk::kDstSse41, tesk::kDstAvx2, tesk::kDstAvx512}) {
        if (level > best) break;
        tesk::DstDecoder decoder(level);
        if (!decoder.init(channels, 600 * bytesPerChannel, report)) std::abort();
        Outcome pair[2];
        tesk::DstFrameJob jobs[2];
        for (int i = 0; i < 2; ++i) {
            const Outcome here = alone(decoder, frames[i]);
            if (level == tesk::kDstScalar) first[i] = here;
            if (here != first[i]) std::abort();
            pair[i].sound.resize(decoder.frameBytes());
            jobs[i] = {frames[i], pair[i].sound};
        }
        decoder.decode(jobs);
        for (int i = 0; i < 2; ++i) {
            pair[i].fault = jobs[i].fault;
            if (pair[i] != first[i]) std::abort();
        }
    }
    return 0;
}
