// WavPack through libwavpack, a hybrid file together with its correction file. Damaged or missing blocks fail the load:
// the library would put silence in their place.
#pragma once

#include "input/byte_source.h"
#include "input/pcm_reader.h"

#include <memory>

namespace tesk {

class WavPackReader final : public PcmReader {
public:
    WavPackReader();
    ~WavPackReader() override;

    /// Opens a .wv, with the .wvc of the same name where there is one; the path may name either. Both are read piece by
    /// piece, or into memory first when TESK_WAVPACK_STREAM is "0". Files that hold DSD are refused.
    Status open(const std::string& path) override;
    /// The same from any sources; `correction` may be null.
    Status open(std::unique_ptr<ByteSource> main, std::unique_ptr<ByteSource> correction = nullptr);
    Result<std::size_t, PDM_ENCODING_STATUS> read(double* const* planar, std::size_t frames) override;
    Status seek(std::uint64_t frame) override;

private:
    struct Stream; // libwavpack's context and what it reads from

    Status describe();
    std::size_t unpack(double* const* planar, std::size_t offset, std::size_t frames);
    std::string whyDamaged() const;
    PDM_ENCODING_STATUS failAt(const std::string& why);
    Status checkEnd();

    std::unique_ptr<Stream> stream_;
    std::vector<std::int32_t> interleaved_; // [frames][channels]; the bits of floats where info_.isFloat
    double scale_ = 1;                      // from the library's numbers to full scale ±1.0
    std::uint64_t position_ = 0;            // the next frame
    bool ended_ = false;
};

} // namespace tesk
