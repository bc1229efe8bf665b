// Decoded samples of any of FFmpeg's formats as interleaved doubles.
#pragma once

#include "plugins/ffmpeg/av_handles.h"

#include <cstdint>
#include <vector>

namespace tesk {

/// For every place in WAVE order the channel of `frame` that belongs there.
std::vector<int> waveOrder(const AVFrame& frame);

/// Copies a stretch of a decoded frame.
///
/// Integers are divided by 2^(bits − 1) of the sample format, which holds shorter words in its high bits. A floating
/// sample that is no finite number becomes silence.
///
/// @param first, frames  the stretch, within frame.nb_samples
/// @param order          as waveOrder gave it
/// @param out            [frames × channels], full scale ±1.0
/// @param replaced       counts the samples that were no finite numbers
/// @return               false, with `out` untouched, when the sample format is none of u8, s16, s32, s64, flt, dbl
bool interleave(const AVFrame& frame, int first, int frames, const std::vector<int>& order, double* out,
                std::uint64_t& replaced);

} // namespace tesk
