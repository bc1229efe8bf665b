// FLAC files, where the build has an encoder for them.
#pragma once

#include "container/pcm/pcm_writer.h"

namespace tesk {

/// Compressed, 16 or 24 bits, up to 8 channels and 1048575 Hz, with MD5 and seek table. A target that cannot seek gets
/// neither of the two, and no length. In a build without TESK_FLAC_ENCODER: an AbsentFlacWriter.
std::unique_ptr<PcmWriter> makeFlacWriter(Reporter& report);

/// Refuses every file: what stands in for the encoder in a build without one.
class AbsentFlacWriter final : public PcmWriter {
public:
    bool open(const std::string&, const PcmFormat&, const PcmFileInfo&) override
    {
        errorText_ = "FLAC support not built (MinGW)";
        return false;
    }
    bool write(const double*, std::size_t) override { return false; }
    bool close() override { return errorText_.empty(); } // true while no file was asked for
    std::uint64_t bytesWritten() const override { return 0; }
    const std::string& errorText() const override { return errorText_; }

private:
    std::string errorText_;
};

} // namespace tesk
