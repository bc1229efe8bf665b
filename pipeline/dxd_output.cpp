#include "pipeline/dxd_output.h"

#include "engine/base/paths.h"

#include <algorithm>
#include <cmath>

namespace tesk {

std::string dxdPath(const ConversionSettings& settings, const std::string& output)
{
    if (settings.outputIsExact || fileExtension(output).empty()) return output;
    const std::string& input = settings.inputs.front();
    const std::string stem(withoutExtension(input));
    const std::string name = settings.usesCueSheet()
                                 ? std::string(withoutExtension(output))
                                 : std::string(folderOf(output)) + stem.substr(folderOf(input).size());
    return name + ".DXD" + output.substr(output.rfind('.'));
}

std::optional<DxdTarget> dxdTarget(const ConversionSettings& settings, Reporter& report)
{
    const std::string extension = fileExtension(settings.outputPath);
    DxdTarget target;
    target.format.bitsPerSample = 32;
    target.format.isFloat = true;
    if (extension == "wav") {
        target.name = "WAV";
    } else if (extension == "w64") {
        target.name = "Wave64";
        target.format.isWave64 = true;
    } else if (extension == "flac") {
        target.name = "FLAC";
        target.container = PcmContainer::flac;
        target.format.bitsPerSample = 24;
        target.format.isFloat = false;
    } else {
        report.error("%-20s\tDXD: unsupported extension '.%s' (expected .wav / .w64 / .flac)\n", "Report",
                     extension.c_str());
        return std::nullopt;
    }
    target.path = dxdPath(settings, settings.outputPath);
    return target;
}

PcmQuantizer::PcmQuantizer(const ConversionSettings& settings)
{
    const std::string& type = settings.quantizationType;
    if (type == "peak" || (type.empty() && settings.quantizationRatio)) mode_ = Mode::peak;
    if (type == "rms") mode_ = Mode::rms;
    if (type == "hardlimit") mode_ = Mode::hardLimit;
    ratio_ = settings.quantizationRatio.value_or(mode_ == Mode::rms ? 0.125 : 1.0);
}

void PcmQuantizer::measure(const double* const* channels, std::uint32_t channelCount, std::size_t samples)
{
    for (std::uint32_t c = 0; c < channelCount; ++c)
        for (std::size_t i = 0; i < samples; ++i) {
            const double x = channels[c][i];
            peak_ = std::max(peak_, std::abs(x));
            energy_ += x * x;
        }
    seen_ += std::uint64_t{channelCount} * samples;
}

void PcmQuantizer::settle(Reporter& report)
{
    if (!needsMeasure() || !(peak_ > 0)) return;
    const double level = mode_ == Mode::peak ? peak_ : std::sqrt(energy_ / static_cast<double>(seen_));
    gain_ = ratio_ / level;
    report.out("Quantization gain is %.9f\t( %s )\n", gain_, mode_ == Mode::peak ? "peak" : "RMS");
    if (const double loudest = peak_ * gain_; loudest > 1.0)
        report.alert("the loudest sample is now %+.2f dB beyond full scale; a smaller -qr keeps it\n",
                     20 * std::log10(loudest));
}

void PcmQuantizer::apply(double* const* channels, std::uint32_t channelCount, std::size_t samples) const
{
    if (mode_ == Mode::none) return;
    for (std::uint32_t c = 0; c < channelCount; ++c)
        for (std::size_t i = 0; i < samples; ++i) {
            double& x = channels[c][i];
            x = mode_ == Mode::hardLimit ? std::clamp(x, -ratio_, ratio_) : x * gain_;
        }
}

} // namespace tesk
