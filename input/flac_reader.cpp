#include "input/flac_reader.h"

#include "engine/base/reporter.h"
#include "input/audio_kind.h"

#include <FLAC/stream_decoder.h>
#include <algorithm>
#include <cmath>
#include <string_view>

namespace tesk {
namespace {

constexpr const char* kFramesMissing = "frames are missing";

} // namespace

/// The decoder and what its callbacks write to. Positions of sound are frames from the start.
struct FlacReader::Stream {
    using Decoder = FLAC__StreamDecoder;

    std::unique_ptr<ByteSource> source;
    std::uint64_t position = 0; // next byte of the source
    bool hasStreamInfo = false;
    FLAC__StreamMetadata_StreamInfo streamInfo{};

    std::vector<std::vector<double>> block; // [channels][blockFrames]
    std::size_t blockFrames = 0, blockTaken = 0;

    std::uint64_t decoded = 0;      // frames of all blocks so far
    std::uint64_t lastBlockEnd = 0; // byte behind the last block
    std::uint64_t errors = 0;       // places that the decoder could make no sense of
    std::string lastError;
    std::string loss; // why frames are missing; empty while none is
    bool ended = false;

    struct Closer {
        void operator()(Decoder* made) const { FLAC__stream_decoder_delete(made); }
    };
    std::unique_ptr<Decoder, Closer> decoder;

    static Stream& of(void* user) { return *static_cast<Stream*>(user); }
    bool start();
    bool rewind(std::uint64_t frame);
    void takeBlock(const FLAC__FrameHeader& header, const FLAC__int32* const* samples);
    std::string whyNot(const FLAC__FrameHeader& header) const;
    bool tailIsHarmless();

    static FLAC__StreamDecoderReadStatus onRead(const Decoder*, FLAC__byte to[], std::size_t* bytes, void* user);
    static FLAC__StreamDecoderSeekStatus onSeek(const Decoder*, FLAC__uint64 offset, void* user);
    static FLAC__StreamDecoderTellStatus onTell(const Decoder*, FLAC__uint64* offset, void* user);
    static FLAC__StreamDecoderLengthStatus onLength(const Decoder*, FLAC__uint64* length, void* user);
    static FLAC__bool onEof(const Decoder*, void* user);
    static FLAC__StreamDecoderWriteStatus onWrite(const Decoder*, const FLAC__Frame* frame,
                                                  const FLAC__int32* const samples[], void* user);
    static void onMetadata(const Decoder*, const FLAC__StreamMetadata* metadata, void* user);
    static void onError(const Decoder*, FLAC__StreamDecoderErrorStatus status, void* user);
};

FLAC__StreamDecoderReadStatus FlacReader::Stream::onRead(const Decoder*, FLAC__byte to[], std::size_t* bytes,
                                                         void* user)
{
    Stream& s = of(user);
    *bytes = s.source->readAt(s.position, to, *bytes);
    s.position += *bytes;
    return *bytes > 0 ? FLAC__STREAM_DECODER_READ_STATUS_CONTINUE : FLAC__STREAM_DECODER_READ_STATUS_END_OF_STREAM;
}

FLAC__StreamDecoderSeekStatus FlacReader::Stream::onSeek(const Decoder*, FLAC__uint64 offset, void* user)
{
    of(user).position = offset;
    return FLAC__STREAM_DECODER_SEEK_STATUS_OK;
}

FLAC__StreamDecoderTellStatus FlacReader::Stream::onTell(const Decoder*, FLAC__uint64* offset, void* user)
{
    *offset = of(user).position;
    return FLAC__STREAM_DECODER_TELL_STATUS_OK;
}

FLAC__StreamDecoderLengthStatus FlacReader::Stream::onLength(const Decoder*, FLAC__uint64* length, void* user)
{
    *length = of(user).source->size();
    return FLAC__STREAM_DECODER_LENGTH_STATUS_OK;
}

FLAC__bool FlacReader::Stream::onEof(const Decoder*, void* user)
{
    return of(user).position >= of(user).source->size();
}

FLAC__StreamDecoderWriteStatus FlacReader::Stream::onWrite(const Decoder* decoder, const FLAC__Frame* frame,
                                                           const FLAC__int32* const samples[], void* user)
{
    Stream& s = of(user);
    if (s.blockFrames > 0) { // a second block in one call: the first one was silence in the place of lost frames
        s.decoded -= s.blockFrames;
        s.blockFrames = 0;
        s.loss = s.lastError.empty() ? kFramesMissing : s.lastError;
    }
    if (s.loss.empty()) s.loss = s.whyNot(frame->header);
    if (!s.loss.empty()) return FLAC__STREAM_DECODER_WRITE_STATUS_ABORT;
    s.takeBlock(frame->header, samples);
    FLAC__uint64 end = 0;
    if (FLAC__stream_decoder_get_decode_position(decoder, &end)) s.lastBlockEnd = end;
    return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
}

void FlacReader::Stream::onMetadata(const Decoder*, const FLAC__StreamMetadata* metadata, void* user)
{
    Stream& s = of(user);
    if (metadata->type != FLAC__METADATA_TYPE_STREAMINFO || s.hasStreamInfo) return;
    s.hasStreamInfo = true;
    s.streamInfo = metadata->data.stream_info;
}

void FlacReader::Stream::onError(const Decoder*, FLAC__StreamDecoderErrorStatus status, void* user)
{
    Stream& s = of(user);
    ++s.errors;
    switch (status) {
    case FLAC__STREAM_DECODER_ERROR_STATUS_LOST_SYNC: s.lastError = "lost synchronization"; break;
    case FLAC__STREAM_DECODER_ERROR_STATUS_BAD_HEADER: s.lastError = "damaged frame header"; break;
    case FLAC__STREAM_DECODER_ERROR_STATUS_FRAME_CRC_MISMATCH:
        s.lastError = "checksum mismatch";
        s.loss = s.lastError; // the decoder would go on with silence
        break;
    default: s.lastError = "undecodable stream"; break;
    }
}

/// Why a decoded block cannot follow the last one; empty when it can.
std::string FlacReader::Stream::whyNot(const FLAC__FrameHeader& header) const
{
    if (header.channels != streamInfo.channels || header.bits_per_sample != streamInfo.bits_per_sample ||
        header.sample_rate != streamInfo.sample_rate)
        return "the stream changes its format";
    if (header.number.sample_number == decoded) return {};
    return lastError.empty() ? kFramesMissing : lastError;
}

void FlacReader::Stream::takeBlock(const FLAC__FrameHeader& header, const FLAC__int32* const* samples)
{
    const double scale = std::ldexp(1.0, 1 - static_cast<int>(header.bits_per_sample));
    blockFrames = header.blocksize;
    blockTaken = 0;
    for (std::size_t c = 0; c < block.size(); ++c) {
        block[c].resize(blockFrames);
        double* to = block[c].data();
        for (std::size_t i = 0; i < blockFrames; ++i) to[i] = scale * samples[c][i];
    }
    decoded += blockFrames;
}

/// Whether nothing but a tag (APEv2 or ID3v1) follows the last block.
bool FlacReader::Stream::tailIsHarmless()
{
    if (lastBlockEnd >= source->size()) return true;
    char head[8];
    const std::string_view tail(head, source->readAt(lastBlockEnd, head, sizeof head));
    return tail.substr(0, 3) == "TAG" || tail == "APETAGEX";
}

/// From the first byte on, as often as needed.
bool FlacReader::Stream::start()
{
    position = decoded = lastBlockEnd = errors = 0;
    blockFrames = blockTaken = 0;
    hasStreamInfo = ended = false;
    lastError.clear();
    loss.clear();
    decoder.reset(FLAC__stream_decoder_new());
    if (!decoder) return false;
    FLAC__stream_decoder_set_md5_checking(decoder.get(), true);
    return FLAC__stream_decoder_init_stream(decoder.get(), onRead, onSeek, onTell, onLength, onEof, onWrite, onMetadata,
                                            onError, this) == FLAC__STREAM_DECODER_INIT_STATUS_OK &&
           FLAC__stream_decoder_process_until_end_of_metadata(decoder.get()) && hasStreamInfo;
}

/// Starts again, at a block that ends no later than `frame`. While libFLAC seeks it reports no checksum error, so the
/// block it seeks to is given up and the one with `frame` is decoded as all others are.
bool FlacReader::Stream::rewind(std::uint64_t frame)
{
    if (!start()) return false;
    if (streamInfo.total_samples == 0 || frame < streamInfo.max_blocksize) return true;
    const std::uint64_t target = decoded = frame - streamInfo.max_blocksize;
    const bool found = FLAC__stream_decoder_seek_absolute(decoder.get(), target);
    if (!found || !loss.empty() || decoded == target || decoded > frame) return start();
    blockFrames = 0;
    return true;
}

FlacReader::FlacReader() = default;
FlacReader::~FlacReader() = default;

Status FlacReader::open(const std::string& path)
{
    auto source = FileSource::open(path, error_);
    if (!source) return DSD_ERROR_INPUT;
    return open(std::move(source));
}

Status FlacReader::open(std::unique_ptr<ByteSource> source)
{
    stream_ = std::make_unique<Stream>();
    stream_->source = std::move(source);
    // libFLAC would search the whole file for something that looks like a frame.
    if (audioKind(*stream_->source) != AudioKind::flac) return fail("not FLAC");
    if (!stream_->start()) return fail("the FLAC header is damaged");
    const auto& header = stream_->streamInfo;
    info_.format = audioKindName(AudioKind::flac);
    info_.channels = header.channels;
    info_.sampleRate = header.sample_rate;
    info_.bitsPerSample = static_cast<int>(header.bits_per_sample);
    if (header.total_samples > 0) info_.declaredFrames = header.total_samples;
    stream_->block.resize(header.channels);
    return {};
}

Result<std::size_t, PDM_ENCODING_STATUS> FlacReader::read(double* const* planar, std::size_t frames)
{
    Stream& s = *stream_;
    std::size_t done = 0;
    while (done < frames) {
        if (s.blockTaken == s.blockFrames && !decodeBlock()) {
            if (!error_.empty()) return DSD_ERROR_INPUT;
            break;
        }
        const std::size_t count = std::min(frames - done, s.blockFrames - s.blockTaken);
        for (std::size_t c = 0; c < s.block.size(); ++c)
            std::copy_n(s.block[c].data() + s.blockTaken, count, planar[c] + done);
        s.blockTaken += count;
        done += count;
    }
    return done;
}

Status FlacReader::seek(std::uint64_t frame)
{
    Stream& s = *stream_;
    if (!error_.empty()) return DSD_ERROR_INPUT;
    if (!s.rewind(frame)) return fail("the FLAC header is damaged");
    while (s.decoded <= frame && decodeBlock()) {
    }
    if (!error_.empty()) return DSD_ERROR_INPUT;
    if (s.decoded < frame) return fail("the position is behind the end of the file");
    s.blockTaken = s.blockFrames - static_cast<std::size_t>(s.decoded - frame);
    return {};
}

/// Fills the stream's block. False at the end and on a loss; `error_` tells them apart.
bool FlacReader::decodeBlock()
{
    Stream& s = *stream_;
    s.blockFrames = s.blockTaken = 0;
    while (!s.ended && s.blockFrames == 0) {
        const bool going = FLAC__stream_decoder_process_single(s.decoder.get());
        const auto state = FLAC__stream_decoder_get_state(s.decoder.get());
        if (!going && s.loss.empty()) s.loss = "the decoder gave up";
        s.ended = !s.loss.empty() || state == FLAC__STREAM_DECODER_END_OF_STREAM;
        if (s.ended) checkEnd();
    }
    return s.blockFrames > 0 && error_.empty();
}

/// Judges the stream once nothing more comes.
void FlacReader::checkEnd()
{
    Stream& s = *stream_;
    const auto total = s.streamInfo.total_samples;
    if (s.loss.empty() && s.decoded < total) s.loss = s.errors > 0 ? s.lastError : "the file is cut short";
    if (s.loss.empty() && total == 0 && !s.tailIsHarmless())
        s.loss = s.errors > 0 ? s.lastError : "the last frame is cut short";
    if (!s.loss.empty()) {
        const std::string of = total > 0 ? format(" of %llu", static_cast<unsigned long long>(total)) : "";
        fail(format("FLAC decoding failed at frame %llu%s: %s", static_cast<unsigned long long>(s.decoded), of.c_str(),
                    s.loss.c_str()));
        return;
    }
    if (s.errors > 0)
        warnOnce(format("the FLAC stream is damaged in %llu places between its frames (%s); no frame is lost",
                        static_cast<unsigned long long>(s.errors), s.lastError.c_str()));
    if (!FLAC__stream_decoder_finish(s.decoder.get()))
        warnOnce("the decoded samples do not match the MD5 sum in the FLAC header");
}

/// The end may be reached more than once.
void FlacReader::warnOnce(const std::string& text)
{
    if (std::find(warnings_.begin(), warnings_.end(), text) == warnings_.end()) warnings_.push_back(text);
}

} // namespace tesk
