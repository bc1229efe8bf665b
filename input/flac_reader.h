// FLAC through libFLAC. A damaged stream never passes for a whole one: a lost frame fails the load.
#pragma once

#include "input/byte_source.h"
#include "input/pcm_reader.h"

#include <memory>

namespace tesk {

class FlacReader final : public PcmReader {
public:
    FlacReader();
    ~FlacReader() override;

    Status open(const std::string& path) override;
    Status open(std::unique_ptr<ByteSource> source);
    Result<std::size_t, PDM_ENCODING_STATUS> read(double* const* planar, std::size_t frames) override;
    /// A file of unknown length is decoded anew up to `frame`.
    Status seek(std::uint64_t frame) override;

private:
    struct Stream; // libFLAC's decoder and what its callbacks write to

    bool decodeBlock();
    void checkEnd();
    void warnOnce(const std::string& text);

    std::unique_ptr<Stream> stream_;
};

} // namespace tesk
