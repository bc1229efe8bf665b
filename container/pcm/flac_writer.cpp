#include "container/pcm/flac_writer.h"

#include "container/pcm/flac_blocks.h"
#include "container/pcm/pcm_file.h"
#include "container/pcm/pcm_samples.h"

#include <FLAC/stream_encoder.h>
#include <algorithm>

namespace tesk {
namespace {

constexpr unsigned kCompressionLevel =
    5; // the reference program's own choice; higher ones cost far more than they save
constexpr std::size_t kBlockFrames = 4096;
constexpr std::uint64_t kMostFrames = (std::uint64_t{1} << 36) - 1; // what STREAMINFO can tell

struct EncoderDeleter {
    void operator()(FLAC__StreamEncoder* encoder) const { FLAC__stream_encoder_delete(encoder); }
};

class FlacWriter final : public PcmWriter {
public:
    explicit FlacWriter(Reporter& report) : report_(report) {}
    bool open(const std::string& path, const PcmFormat& format, const PcmFileInfo& info) override;
    bool write(const double* interleaved, std::size_t frames) override;
    bool close() override;
    std::uint64_t bytesWritten() const override { return file_.size(); }
    const std::string& errorText() const override { return file_.errorText(); }

private:
    bool layOutBlocks(const PcmFileInfo& info);
    void configure(const PcmFileInfo& info);
    bool start();
    bool encoderFailed();
    bool lose(const char* why);

    Reporter& report_;
    PcmFile file_;
    PcmFormat format_;
    std::vector<FlacBlock> blocks_; // the encoder keeps pointers to them
    FLAC__StreamMetadata* seekTable_ = nullptr;
    std::unique_ptr<FLAC__StreamEncoder, EncoderDeleter> encoder_;
    std::uint64_t frames_ = 0;
    std::vector<FLAC__int32> numbers_;
};

/// What stands against the format, or nothing.
std::string obstacle(const PcmFormat& f)
{
    if (f.isFloat) return "FLAC files have no float samples";
    if (f.bitsPerSample != 16 && f.bitsPerSample != 24)
        return format("FLAC files are written with 16 or 24 bits, not %u", f.bitsPerSample);
    if (f.channels == 0 || f.channels > FLAC__MAX_CHANNELS)
        return format("FLAC files have 1 to %u channels, not %u", FLAC__MAX_CHANNELS, f.channels);
    if (f.sampleRate == 0 || !FLAC__format_sample_rate_is_valid(f.sampleRate))
        return format("FLAC files have sample rates up to %u Hz, not %u", FLAC__MAX_SAMPLE_RATE, f.sampleRate);
    return {};
}

const char* stateInWords(FLAC__StreamEncoderState state)
{
    switch (state) {
    case FLAC__STREAM_ENCODER_MEMORY_ALLOCATION_ERROR: return "the FLAC encoder has run out of memory";
    case FLAC__STREAM_ENCODER_CLIENT_ERROR: return "the FLAC encoder was given samples that it cannot take";
    case FLAC__STREAM_ENCODER_FRAMING_ERROR: return "the FLAC encoder could not build a frame";
    default: return "the FLAC encoder failed";
    }
}

FLAC__StreamEncoderWriteStatus writeBytes(const FLAC__StreamEncoder*, const FLAC__byte buffer[], std::size_t bytes,
                                          std::uint32_t, std::uint32_t, void* file)
{
    return static_cast<PcmFile*>(file)->write({buffer, bytes}) ? FLAC__STREAM_ENCODER_WRITE_STATUS_OK
                                                               : FLAC__STREAM_ENCODER_WRITE_STATUS_FATAL_ERROR;
}

FLAC__StreamEncoderSeekStatus seekTo(const FLAC__StreamEncoder*, FLAC__uint64 offset, void* file)
{
    return static_cast<PcmFile*>(file)->seek(offset) ? FLAC__STREAM_ENCODER_SEEK_STATUS_OK
                                                     : FLAC__STREAM_ENCODER_SEEK_STATUS_ERROR;
}

FLAC__StreamEncoderTellStatus tell(const FLAC__StreamEncoder*, FLAC__uint64* offset, void* file)
{
    *offset = static_cast<PcmFile*>(file)->position();
    return FLAC__STREAM_ENCODER_TELL_STATUS_OK;
}

bool FlacWriter::open(const std::string& path, const PcmFormat& format, const PcmFileInfo& info)
{
    if (file_.isOpen() && !close()) report_.alert("%s\n", errorText().c_str());
    encoder_.reset(); // of a file that was lost
    if (const std::string why = obstacle(format); !why.empty()) return file_.fail(why);
    if (!file_.open(path)) return false;
    format_ = format;
    frames_ = 0;
    numbers_.resize(kBlockFrames * format.channels);
    encoder_.reset(FLAC__stream_encoder_new());
    if (!layOutBlocks(info) || !encoder_) return file_.fail(stateInWords(FLAC__STREAM_ENCODER_MEMORY_ALLOCATION_ERROR));
    configure(info);
    return start();
}

bool FlacWriter::layOutBlocks(const PcmFileInfo& info)
{
    blocks_ = flacBlocks(info.metadata, report_);
    seekTable_ = nullptr;
    if (file_.seekable()) {
        blocks_.insert(blocks_.begin(), seekTable(format_.sampleRate, info.expectedFrames));
        seekTable_ = blocks_.front().get();
    }
    return std::find(blocks_.begin(), blocks_.end(), nullptr) == blocks_.end();
}

void FlacWriter::configure(const PcmFileInfo& info)
{
    FLAC__StreamEncoder* const encoder = encoder_.get();
    FLAC__stream_encoder_set_channels(encoder, format_.channels);
    FLAC__stream_encoder_set_bits_per_sample(encoder, format_.bitsPerSample);
    FLAC__stream_encoder_set_sample_rate(encoder, format_.sampleRate);
    FLAC__stream_encoder_set_compression_level(encoder, kCompressionLevel);
    // Rates that a frame's head cannot tell are outside the streamable subset; they stand in STREAMINFO alone.
    FLAC__stream_encoder_set_streamable_subset(encoder, FLAC__format_sample_rate_is_subset(format_.sampleRate));
    // Mended at the end; where that is impossible, an upper bound would pass for the truth.
    if (file_.seekable() && info.expectedFrames <= kMostFrames)
        FLAC__stream_encoder_set_total_samples_estimate(encoder, info.expectedFrames);
}

bool FlacWriter::start()
{
    std::vector<FLAC__StreamMetadata*> pointers;
    for (const FlacBlock& block : blocks_) pointers.push_back(block.get());
    if (!FLAC__stream_encoder_set_metadata(encoder_.get(), pointers.data(),
                                           static_cast<std::uint32_t>(pointers.size())))
        return encoderFailed();
    const bool seeks = file_.seekable();
    const FLAC__StreamEncoderInitStatus status = FLAC__stream_encoder_init_stream(
        encoder_.get(), writeBytes, seeks ? seekTo : nullptr, seeks ? tell : nullptr, nullptr, &file_);
    if (status == FLAC__STREAM_ENCODER_INIT_STATUS_OK) return true;
    if (status == FLAC__STREAM_ENCODER_INIT_STATUS_ENCODER_ERROR) return encoderFailed();
    return lose("the FLAC encoder does not take this format");
}

bool FlacWriter::encoderFailed() { return lose(stateInWords(FLAC__stream_encoder_get_state(encoder_.get()))); }

/// Keeps the file's own reason when it was the file that failed.
bool FlacWriter::lose(const char* why)
{
    if (file_.isOpen()) file_.fail(why);
    return false;
}

bool FlacWriter::write(const double* interleaved, std::size_t frames)
{
    if (!file_.isOpen()) return false;
    for (std::size_t at = 0; at < frames; at += kBlockFrames) {
        const std::size_t n = std::min(kBlockFrames, frames - at);
        quantizeSamples(interleaved + at * format_.channels, n * format_.channels, format_.bitsPerSample,
                        numbers_.data());
        if (!FLAC__stream_encoder_process_interleaved(encoder_.get(), numbers_.data(), static_cast<std::uint32_t>(n)))
            return encoderFailed();
    }
    frames_ += frames;
    return true;
}

bool FlacWriter::close()
{
    if (!file_.isOpen()) return file_.commit();
    if (seekTable_) dropPointsBehind(*seekTable_, frames_); // `finish` writes the table
    if (!FLAC__stream_encoder_finish(encoder_.get())) return encoderFailed();
    encoder_.reset();
    blocks_.clear();
    return file_.commit();
}

} // namespace

std::unique_ptr<PcmWriter> makeFlacWriter(Reporter& report) { return std::make_unique<FlacWriter>(report); }

} // namespace tesk
