// WAV, RF64 and Wave64 files.
#pragma once

#include "container/pcm/pcm_file.h"
#include "container/pcm/pcm_writer.h"
#include "container/pcm/wave_layout.h"

namespace tesk {

/// Integers of 16, 24 and 32 bits, floats of 32 and 64, any channel count. Sizes and the tags behind the samples are
/// written at the end. A file that `expectedFrames` takes past 4 GiB is RF64 from the start; one of unknown length
/// turns into RF64 when it gets there.
///
/// A target that cannot seek gets its tags in front of the samples and the sizes of `expectedFrames`, or the largest
/// sizes when that is unknown.
class WaveWriter final : public PcmWriter {
public:
    explicit WaveWriter(Reporter& report) : report_(report) {}
    bool open(const std::string& path, const PcmFormat& format, const PcmFileInfo& info) override;
    bool write(const double* interleaved, std::size_t frames) override;
    bool close() override;
    std::uint64_t bytesWritten() const override { return file_.size(); }
    const std::string& errorText() const override { return file_.errorText(); }

private:
    void layOut(const PcmFormat& format, const PcmFileInfo& info);
    bool mendHead();
    void reportRf64();

    Reporter& report_;
    PcmFile file_;
    WaveLayout layout_;
    std::uint64_t frames_ = 0;
    std::vector<std::uint8_t> packed_;
};

} // namespace tesk
