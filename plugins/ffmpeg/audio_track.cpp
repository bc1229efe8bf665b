#include "plugins/ffmpeg/audio_track.h"

#include "plugins/ffmpeg/file_tail.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace tesk {
namespace {

// Recordings only. Playlists, image sequences and the like, which open other files, are not among them; nor are
// one-bit files, whose decoder here would be a bad way to PCM.
constexpr const char* kDemuxers =
    "aac,ac3,adx,aiff,amr,ape,asf,au,avr,bonk,caf,dts,dtshd,eac3,flac,ircam,loas,matroska,mlp,mov,mp3,mpc,mpc8,nist,"
    "ogg,oma,osq,paf,pvf,shn,sox,tak,truehd,tta,voc,vqf,w64,wav,wv,xwma";

constexpr int kMaxChannels = 64;

/// One process has one FFmpeg log: it stays silent unless a person asks for it.
void setLogLevel()
{
    const int level = std::getenv("TESK_EXT_FFMPEG_TRACE") != nullptr ? AV_LOG_VERBOSE : AV_LOG_QUIET;
    if (av_log_get_level() != level) av_log_set_level(level);
}

std::string upperCase(const char* text)
{
    std::string upper(text);
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return upper;
}

/// Some codecs know both ways; their decoders name the word length only when nothing was lost.
bool isLossless(const AVCodecContext& codec)
{
    const AVCodecDescriptor* about = avcodec_descriptor_get(codec.codec_id);
    if (about == nullptr || (about->props & AV_CODEC_PROP_LOSSLESS) == 0) return false;
    return (about->props & AV_CODEC_PROP_LOSSY) == 0 || codec.bits_per_raw_sample > 0;
}

bool isFloatFormat(AVSampleFormat format)
{
    const AVSampleFormat packed = av_get_packed_sample_fmt(format);
    return packed == AV_SAMPLE_FMT_FLT || packed == AV_SAMPLE_FMT_DBL;
}

/// PCM: every packet is a row of samples.
bool isPlain(const AVCodecContext& codec) { return av_get_exact_bits_per_sample(codec.codec_id) > 0; }

int wordLength(const AVCodecContext& codec, AVSampleFormat format)
{
    if (codec.bits_per_raw_sample > 0) return codec.bits_per_raw_sample;
    if (const int exact = av_get_exact_bits_per_sample(codec.codec_id); exact > 0) return exact;
    if (codec.bits_per_coded_sample > 0) return codec.bits_per_coded_sample;
    return 8 * av_get_bytes_per_sample(format);
}

bool countsInOgg(AVCodecID codec) { return codec == AV_CODEC_ID_VORBIS || codec == AV_CODEC_ID_OPUS; }

std::int64_t inFrames(std::int64_t ticks, const AVStream& stream, int sampleRate)
{
    return av_rescale_q(ticks, stream.time_base, {1, sampleRate});
}

} // namespace

bool AudioTrack::open(const std::string& path, std::string& error)
{
    if (!packet_ || !frame_) {
        error = "out of memory";
        return false;
    }
    setLogLevel();
    if (!openFile(path, error) || !openStream(error)) return false;
    if (!next()) {
        error = damage_.stop.empty() ? "no packet of the audio stream could be decoded" : damage_.stop;
        return false;
    }
    return true;
}

bool AudioTrack::openFile(const std::string& path, std::string& error)
{
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    av_dict_set(&options, "format_whitelist", kDemuxers, 0);
    AVFormatContext* opened = nullptr;
    // The prefix makes "http:song" the name of a file.
    const int result = avformat_open_input(&opened, ("file:" + path).c_str(), nullptr, &options);
    av_dict_free(&options);
    file_.reset(opened);
    if (result < 0) {
        error = "cannot open the file: " + avErrorText(result);
        return false;
    }
    bare_ = isContainer("mp3") || isContainer("aac");
    if (bare_) tagsStart_ = tagsStart(*file_->pb);
    const int found = avformat_find_stream_info(file_.get(), nullptr);
    if (found < 0) error = "cannot find the streams of the file: " + avErrorText(found);
    return found >= 0;
}

bool AudioTrack::openStream(std::string& error)
{
    const AVCodec* decoder = nullptr;
    const int index = av_find_best_stream(file_.get(), AVMEDIA_TYPE_AUDIO, -1, -1, &decoder, 0);
    if (index < 0 || decoder == nullptr) {
        error = index == AVERROR_DECODER_NOT_FOUND ? "no decoder for the audio stream" : "no audio stream";
        return false;
    }
    for (unsigned i = 0; i < file_->nb_streams; ++i)
        file_->streams[i]->discard = static_cast<int>(i) == index ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    stream_ = file_->streams[index];

    codec_.reset(avcodec_alloc_context3(decoder));
    if (!codec_ || avcodec_parameters_to_context(codec_.get(), stream_->codecpar) < 0) {
        error = "out of memory";
        return false;
    }
    codec_->pkt_timebase = stream_->time_base; // the decoder removes an encoder's delay and corrects the time by it
    codec_->thread_count = 1;
    if (isLossless(*codec_)) codec_->err_recognition = AV_EF_CRCCHECK | AV_EF_EXPLODE;
    const int result = avcodec_open2(codec_.get(), decoder, nullptr);
    if (result < 0) error = std::string("cannot start the decoder ") + decoder->name + ": " + avErrorText(result);
    return result >= 0;
}

/// Called with the first frame: only now rate and channels are certain.
bool AudioTrack::describe(std::string& error)
{
    const auto sampleFormat = static_cast<AVSampleFormat>(frame_->format);
    format_.channels = channelCount(*frame_);
    format_.sampleRate = frame_->sample_rate;
    if (format_.channels < 1 || format_.channels > kMaxChannels || format_.sampleRate < 1) {
        error = std::to_string(format_.channels) + " channels at " + std::to_string(format_.sampleRate) +
                " Hz cannot be handed on";
        return false;
    }
    format_.lossless = isLossless(*codec_);
    format_.isFloat = format_.lossless && isFloatFormat(sampleFormat);
    format_.bitsPerSample = format_.lossless ? wordLength(*codec_, sampleFormat) : 0;
    format_.codec = upperCase(avcodec_get_name(codec_->codec_id));

    measure();
    return true;
}

/// The length by the container, 0 when it tells none. One that was guessed from a bit rate is none.
std::int64_t AudioTrack::containerFrames() const
{
    if (isContainer("caf") && isPlain(*codec_)) return stream_->nb_frames; // counted, but given as no duration
    if (file_->duration_estimation_method == AVFMT_DURATION_FROM_BITRATE) return 0;
    // This one gives a length to the file alone: the longest stream's, so without others it is ours.
    if (isContainer("matroska,webm") && file_->nb_streams == 1 && file_->duration > 0)
        return av_rescale_q(file_->duration, {1, AV_TIME_BASE}, {1, format_.sampleRate});
    if (stream_->duration <= 0) return 0;
    const std::int64_t frames = inFrames(stream_->duration, *stream_, format_.sampleRate);
    const bool preSkip = isContainer("ogg") && codec_->codec_id == AV_CODEC_ID_OPUS; // the last page counts it in
    return preSkip ? frames - stream_->codecpar->initial_padding : frames;
}

/// Where a length was guessed, time stamps were guessed with it, and are no clock.
void AudioTrack::measure()
{
    const std::int64_t frames = containerFrames();
    const AVRational tick = stream_->time_base;
    const bool coarse = static_cast<std::int64_t>(tick.num) * format_.sampleRate > tick.den;
    if (frames <= 0 || (coarse && !isContainer("matroska,webm"))) return;
    format_.declaredFrames = static_cast<std::uint64_t>(frames);
    exactClock_ = !coarse;
    if (coarse) return;

    // Ogg counts samples even for lossy codecs. Others may count the last packet as full, so a whole number of packets
    // may be too long by a part of one.
    const bool padded = !isPlain(*codec_) && frames % frame_->nb_samples == 0;
    const bool exact =
        isContainer("ogg") ? format_.lossless || countsInOgg(codec_->codec_id) : format_.lossless && !padded;
    if (exact) format_.totalFrames = format_.declaredFrames;
}

bool AudioTrack::next()
{
    while (damage_.stop.empty()) {
        const int result = avcodec_receive_frame(codec_.get(), frame_.get());
        if (result >= 0) {
            if (frame_->nb_samples > 0) return accept();
        } else if (result == AVERROR(EAGAIN)) {
            feed();
        } else if (result == AVERROR_EOF) {
            return false;
        } else {
            countLostPacket();
            if (draining_) return false; // a decoder that fails while it empties itself has nothing more to say
            feed();
        }
    }
    return false;
}

/// Hands the decoder the next packet, or tells it that none is left.
void AudioTrack::feed()
{
    while (readPacket()) {
        const int result = decodable(*packet_) ? avcodec_send_packet(codec_.get(), packet_.get()) : AVERROR_INVALIDDATA;
        av_packet_unref(packet_.get());
        if (result >= 0) return;
        countLostPacket();
    }
    draining_ = true;
    avcodec_send_packet(codec_.get(), nullptr);
}

/// A bare stream is cut into packets wherever something looks like one, also in what may stand before the music.
void AudioTrack::countLostPacket()
{
    if (!bare_ || format_.channels > 0) ++damage_.packets;
}

/// Nor are tags and a padding of zeros music.
bool AudioTrack::isSound(const AVPacket& packet) const
{
    if (packet.stream_index != stream_->index || packet.size == 0) return false;
    return !bare_ || (packet.pos < tagsStart_ &&
                      std::any_of(packet.data, packet.data + packet.size, [](std::uint8_t byte) { return byte != 0; }));
}

bool AudioTrack::readPacket()
{
    for (;;) {
        const int result = av_read_frame(file_.get(), packet_.get());
        if (result < 0) {
            // What is behind a place that cannot be read is lost, but not what the decoder still holds.
            if (result != AVERROR_EOF || (isContainer("ogg") && !oggEndsWhole(*file_->pb))) damage_.cutShort = true;
            return false;
        }
        if (isSound(*packet_)) return true;
        av_packet_unref(packet_.get());
    }
}

bool AudioTrack::isContainer(const char* name) const { return std::strcmp(file_->iformat->name, name) == 0; }

/// A packet that the end of the file cuts off is lost, unless it holds plain samples.
bool AudioTrack::decodable(const AVPacket& packet) const
{
    return (packet.flags & AV_PKT_FLAG_CORRUPT) == 0 || isPlain(*codec_);
}

bool AudioTrack::accept()
{
    if (format_.channels == 0) {
        if (!describe(damage_.stop)) return false;
    } else if (channelCount(*frame_) != format_.channels || frame_->sample_rate != format_.sampleRate) {
        damage_.stop = "the sound changes in the middle from " + std::to_string(format_.channels) + " channels at " +
                       std::to_string(format_.sampleRate) + " Hz to " + std::to_string(channelCount(*frame_)) +
                       " channels at " + std::to_string(frame_->sample_rate) + " Hz";
        return false;
    }
    keepTime();
    return true;
}

/// Demuxers drop a page with a wrong checksum without a word: only the clock tells.
void AudioTrack::keepTime()
{
    const std::int64_t stamp = std::exchange(stamp_, frame_->best_effort_timestamp);
    if (stamp_ != AV_NOPTS_VALUE && stamp_ != stamp) {
        time_ = inFrames(stamp_, *stream_, format_.sampleRate);
        // Encoders of lossy formats round, and a coarse clock jitters: 10 ms are still shorter than their frames.
        const std::int64_t tolerance = format_.lossless && exactClock_ ? 1 : format_.sampleRate / 100;
        // Vorbis packets are stamped as if all blocks were of one length: their clock has holes where the sound has
        // none.
        const bool counts = codec_->codec_id != AV_CODEC_ID_VORBIS;
        if (counts && after_ && *time_ - *after_ > tolerance) ++damage_.gaps;
    } else {
        time_ = after_; // of the frames of one packet the first alone has its own
    }
    if (time_) after_ = *time_ + frame_->nb_samples;
}

bool AudioTrack::moveTo(std::int64_t time)
{
    const std::int64_t ticks = av_rescale_q(time, {1, format_.sampleRate}, stream_->time_base);
    if (av_seek_frame(file_.get(), stream_->index, ticks, AVSEEK_FLAG_BACKWARD) < 0) return false;
    avcodec_flush_buffers(codec_.get());
    draining_ = false;
    stamp_ = AV_NOPTS_VALUE;
    time_.reset();
    after_.reset();
    return true;
}

} // namespace tesk
