// WAV, RF64, BW64, Wave64, AIFF and AIFC. The own header parser finds the samples; libsndfile converts plain ones
// from a window on the file, and reads the whole file where they are compressed.
#pragma once

#include "input/header_probe.h"
#include "input/pcm_reader.h"

#include <memory>
#include <sndfile.h>

namespace tesk {

/// A byte range of a source, read by libsndfile as if it were a file.
struct SourceWindow {
    ByteSource* source = nullptr;
    std::uint64_t begin = 0, bytes = 0;
    std::uint64_t position = 0; ///< in the window
};

class WaveReader final : public PcmReader {
public:
    Status open(const std::string& path) override;
    Status open(std::unique_ptr<ByteSource> source);
    Result<std::size_t, PDM_ENCODING_STATUS> read(double* const* planar, std::size_t frames) override;
    /// DSD_ERROR_UNSUPPORTED for the few compressed formats that cannot be entered in the middle.
    Status seek(std::uint64_t frame) override;

private:
    Status openPlain(const PcmHeader& header);
    Status openCompressed();
    bool openWindow(SF_INFO& format);
    std::size_t readChunk(double* const* planar, std::size_t offset, std::size_t frames);

    struct Closer {
        void operator()(SNDFILE* file) const { sf_close(file); }
    };

    std::unique_ptr<ByteSource> source_;
    SourceWindow window_;
    std::unique_ptr<SNDFILE, Closer> file_; // null when there are no samples
    bool compressed_ = false, seekable_ = true;
    std::vector<double> interleaved_; // [frames][channels]
    std::uint64_t position_ = 0;      // the next frame
};

} // namespace tesk
