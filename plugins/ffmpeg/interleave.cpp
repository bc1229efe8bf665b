#include "plugins/ffmpeg/interleave.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <type_traits>

namespace tesk {
namespace {

template <class Sample>
double toDouble(Sample sample, std::uint64_t& replaced)
{
    if constexpr (std::is_floating_point_v<Sample>) {
        if (std::isfinite(sample)) return sample;
        ++replaced;
        return 0.0;
    } else if constexpr (std::is_same_v<Sample, std::uint8_t>) {
        return (sample - 128) / 128.0;
    } else {
        constexpr double fullScale = -static_cast<double>(std::numeric_limits<Sample>::min());
        return static_cast<double>(sample) / fullScale;
    }
}

template <class Sample>
bool copy(const AVFrame& frame, int first, int frames, const std::vector<int>& order, double* out,
          std::uint64_t& replaced)
{
    const std::size_t channels = order.size();
    const bool planar = av_sample_fmt_is_planar(static_cast<AVSampleFormat>(frame.format)) != 0;
    const std::size_t stride = planar ? 1 : channels;
    for (std::size_t place = 0; place < channels; ++place) {
        const auto channel = static_cast<std::size_t>(order[place]);
        const auto* in = reinterpret_cast<const Sample*>(frame.extended_data[planar ? channel : 0]) +
                         static_cast<std::size_t>(first) * stride + (planar ? 0 : channel);
        double* to = out + place;
        for (int i = 0; i < frames; ++i, in += stride, to += channels) *to = toDouble(*in, replaced);
    }
    return true;
}

} // namespace

std::vector<int> waveOrder(const AVFrame& frame)
{
    std::vector<int> order(static_cast<std::size_t>(channelCount(frame)));
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(),
                     [&frame](int a, int b) { return speakerOf(frame, a) < speakerOf(frame, b); });
    return order;
}

bool interleave(const AVFrame& frame, int first, int frames, const std::vector<int>& order, double* out,
                std::uint64_t& replaced)
{
    switch (av_get_packed_sample_fmt(static_cast<AVSampleFormat>(frame.format))) {
    case AV_SAMPLE_FMT_U8: return copy<std::uint8_t>(frame, first, frames, order, out, replaced);
    case AV_SAMPLE_FMT_S16: return copy<std::int16_t>(frame, first, frames, order, out, replaced);
    case AV_SAMPLE_FMT_S32: return copy<std::int32_t>(frame, first, frames, order, out, replaced);
    case AV_SAMPLE_FMT_S64: return copy<std::int64_t>(frame, first, frames, order, out, replaced);
    case AV_SAMPLE_FMT_FLT: return copy<float>(frame, first, frames, order, out, replaced);
    case AV_SAMPLE_FMT_DBL: return copy<double>(frame, first, frames, order, out, replaced);
    default: return false;
    }
}

} // namespace tesk
