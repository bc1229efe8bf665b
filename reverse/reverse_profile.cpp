#include "reverse/reverse_profile.h"

#include "engine/base/report.h"

namespace tesk {

void ReverseProfile::print(std::FILE* stream) const
{
    constexpr double framesPerSecond = 44100;
    constexpr const char* names[] = {"unpack", "biquad", "fir", "gain", "noise-shap", "interleave"};
    const auto frames = static_cast<double>(frames_.load());
    const double seconds = frames / framesPerSecond;
    report_essential(stream, "PDM2PCM profile: audio %.1f s (%.0f frames, %.0f Hz)\n", seconds, frames,
                     seconds > 0 ? frames / seconds : framesPerSecond);
    for (std::size_t i = 0; i < counters_.size(); ++i) {
        const double ms = static_cast<double>(counters_[i].ns.load()) / 1e6;
        report_essential(stream, "PDM2PCM profile: %-10s %9.1f ms total  (%6.2f ms per audio-second)  calls=%lld\n",
                         names[i], ms, seconds > 0 ? ms / seconds : 0.0,
                         static_cast<long long>(counters_[i].calls.load()));
    }
    report_essential(stream, "PDM2PCM profile: (未计入的 = 读盘/输出/线程分发 等串行部分)\n");
}

} // namespace tesk
