// Files read by a media library of the 3.x generation.
#pragma once

#include "engine/base/reporter.h"
#include "input/pcm_reader.h"

#include <memory>

namespace tesk {

struct MediaLibraryApi; // input/loaded/media_library.h
class MediaStream;      // input/loaded/media_stream.h

/// A packet that cannot be decoded fails the load: the rest is then only decoded to count how many there are. Only
/// lossless codecs can seek, because the others decode differently after a jump.
class MediaLibraryReader final : public PcmReader {
public:
    /// `api` and `report` outlive the reader; with TESK_RAWFF_TRACE set, each step is told to `report`.
    MediaLibraryReader(const MediaLibraryApi& api, Reporter& report);
    ~MediaLibraryReader() override;

    Status open(const std::string& path) override;
    Result<std::size_t, PDM_ENCODING_STATUS> read(double* const* planar, std::size_t frames) override;

    /// Like every reader's; a jump that fails is made good by opening the file anew and decoding up to where it was.
    Status seek(std::uint64_t frame) override;

private:
    Result<bool, PDM_ENCODING_STATUS> nextFrame();
    PDM_ENCODING_STATUS damaged();
    void describe();
    void checkLength();
    bool skip(std::uint64_t frames);
    bool jump(std::uint64_t frame);

    const MediaLibraryApi& api_;
    Reporter& report_;
    std::string path_;
    std::unique_ptr<MediaStream> stream_;
    std::size_t pending_ = 0;         // first frame of the stream's decoded ones that was not read yet
    std::uint64_t position_ = 0;      // frame that `read` gives next
    std::int64_t firstTimestamp_ = 0; // of frame 0, in the stream's time base
};

} // namespace tesk
