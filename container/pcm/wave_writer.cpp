#include "container/pcm/wave_writer.h"

#include "container/pcm/pcm_samples.h"
#include "container/pcm/wave_tags.h"

#include <algorithm>

namespace tesk {
namespace {

constexpr std::size_t kBlockSamples = 8192;

/// What stands against the format, or nothing.
std::string obstacle(const PcmFormat& f)
{
    const std::uint32_t bits = f.bitsPerSample;
    if (f.isFloat ? bits != 32 && bits != 64 : bits != 16 && bits != 24 && bits != 32)
        return format("WAV files are not written with %u-bit %s samples", bits, f.isFloat ? "float" : "integer");
    if (f.channels == 0 || std::uint64_t{f.channels} * bits / 8 > 0xFFFF)
        return format("WAV files cannot have %u channels of %u bits", f.channels, bits);
    if (f.sampleRate == 0) return "a WAV file needs a sample rate";
    return {};
}

} // namespace

bool WaveWriter::open(const std::string& path, const PcmFormat& format, const PcmFileInfo& info)
{
    if (file_.isOpen() && !close()) report_.alert("%s\n", errorText().c_str());
    if (const std::string why = obstacle(format); !why.empty()) return file_.fail(why);
    if (!file_.open(path)) return false;
    layOut(format, info);
    frames_ = 0;
    const std::uint64_t unknown = file_.seekable() ? 0 : kUnknownFrames;
    return file_.write(waveHead(layout_, info.expectedFrames ? info.expectedFrames : unknown));
}

void WaveWriter::layOut(const PcmFormat& format, const PcmFileInfo& info)
{
    // Readers of Wave64 take what follows the samples for sound, or lose it after an odd number of bytes.
    layout_ = {format, WaveForm::wave64, {}, format.isWave64 || !file_.seekable()};
    layout_.tags = format.isWave64 ? wave64Tags(info.metadata) : riffTags(info.metadata, report_);
    packed_.resize(kBlockSamples * format.bitsPerSample / 8);
    if (format.isWave64) return;
    layout_.form = WaveForm::riff;
    if (info.expectedFrames == 0 && file_.seekable()) layout_.form = WaveForm::riffOrRf64;
    if (!passesRiff(layout_, info.expectedFrames)) return;
    layout_.form = WaveForm::rf64;
    reportRf64();
}

void WaveWriter::reportRf64() { report_.line("Report", "the WAV file passes 4 GiB and is written as RF64\n"); }

bool WaveWriter::write(const double* interleaved, std::size_t frames)
{
    if (!file_.isOpen()) return false;
    const std::uint32_t bits = layout_.format.bitsPerSample;
    const std::size_t samples = frames * layout_.format.channels;
    for (std::size_t at = 0; at < samples; at += kBlockSamples) {
        const std::size_t n = std::min(kBlockSamples, samples - at);
        packSamples(interleaved + at, n, bits, layout_.format.isFloat, packed_.data());
        if (!file_.write({packed_.data(), n * bits / 8})) return false;
    }
    frames_ += frames;
    return true;
}

bool WaveWriter::close()
{
    if (!file_.isOpen()) return file_.commit();
    if (!file_.write(std::vector<std::uint8_t>(wavePadding(layout_, frames_)))) return false;
    if (!layout_.tagsInFront && !file_.write(layout_.tags)) return false;
    if (file_.seekable() && !mendHead()) return false;
    return file_.commit();
}

bool WaveWriter::mendHead()
{
    if (passesRiff(layout_, frames_)) {
        if (layout_.form == WaveForm::riffOrRf64) reportRf64();
        if (layout_.form == WaveForm::riff)
            report_.alert("the WAV file became longer than 4 GiB against expectation; it may not open everywhere\n");
    }
    return file_.seek(0) && file_.write(waveHead(layout_, frames_));
}

} // namespace tesk
