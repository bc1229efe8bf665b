#include "input/loaded/media_stream.h"

#include "engine/base/paths.h"
#include "input/header_probe.h"
#include "input/loaded/loaded_libraries.h"
#include "input/loaded/media_library.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace tesk {
namespace {

constexpr const char* kOddStreamCount = "sanity gate failed: implausible stream count (layout mismatch?)";
constexpr const char* kOddAudioParams = "sanity gate failed: implausible audio params (layout mismatch?)";

constexpr std::uint32_t kMostStreams = 64;
constexpr int kLowestRate = 1000, kHighestRate = 1'536'000; // Hz
constexpr int kHighestSampleFormat = 11;
constexpr int kMostSamplesPerFrame = 1 << 24;
constexpr int kMostDamagedInARow = 64;
constexpr int kMostRetries = 100;

/// The formats that are converted, by the library's numbers; nothing for the others.
std::optional<SampleFormat> sampleFormat(int number)
{
    switch (number) {
    case 1: return SampleFormat{2, false, false};
    case 2: return SampleFormat{4, false, false};
    case 3: return SampleFormat{4, false, true};
    case 6: return SampleFormat{2, true, false};
    case 7: return SampleFormat{4, true, false};
    case 8: return SampleFormat{4, true, true};
    default: return {};
    }
}

constexpr int kMonkeysAudio = 0x15021;

constexpr std::array kCodecs = {
    CodecRow{0x15000, "MP2", false},
    CodecRow{0x15001, "MP3", false},
    CodecRow{0x15002, "AAC", false},
    CodecRow{0x15005, "Vorbis", false},
    CodecRow{0x15008, "WMA", false},
    CodecRow{0x1500C, "FLAC", true},
    CodecRow{0x15010, "ALAC", true},
    CodecRow{0x15016, "TTA", true},
    CodecRow{0x15019, "WavPack", true},
    CodecRow{0x15032, "AAC", false},
    CodecRow{kMonkeysAudio, "Monkey's Audio", true},
    CodecRow{0x1503D, "Opus", false},
    CodecRow{0x1503F, "TAK", true},
};

CodecRow codecRow(int id)
{
    if (id >= 0x10000 && id < 0x11000) return {id, "PCM", true};
    for (const CodecRow& row : kCodecs)
        if (row.id == id) return row;
    return {id, "media library", false};
}

bool followable(const void* pointer) { return pointer && reinterpret_cast<std::uintptr_t>(pointer) % 8 == 0; }

/// Entry `index` of an array of pointers.
void* entry(const void* array, std::size_t index) { return media::Field<void*>{index * sizeof(void*)}.of(array); }

/// Every `stride`-th byte on starts a sample; full scale becomes ±1.0.
template <class T>
void convert(const void* from, std::size_t stride, double scale, std::vector<double>& to)
{
    for (std::size_t i = 0; i < to.size(); ++i) to[i] = media::Field<T>{i * stride}.of(from) * scale;
}

void convert(const void* from, const SampleFormat& coding, std::size_t stride, std::vector<double>& to)
{
    if (coding.isFloat) return convert<float>(from, stride, 1.0, to);
    if (coding.bytes == 2) return convert<std::int16_t>(from, stride, 0x1p-15, to);
    convert<std::int32_t>(from, stride, 0x1p-31, to);
}

/// The path as the library takes it for a file's: it reads "name:" at the start of a relative path as a protocol.
std::string plainFile(const std::string& path)
{
    const auto colon = path.find(':');
    const bool drive = colon == 1 && path.size() > 2 && (path[2] == '/' || path[2] == '\\');
    return colon == std::string::npos || path[0] == '/' || drive ? path : "./" + path;
}

} // namespace

MediaStream::MediaStream(const MediaLibraryApi& api, Reporter& report)
    : api_(api), report_(report), tracing_(std::getenv("TESK_RAWFF_TRACE") != nullptr)
{
    api_.unrefFrame(frame_.data());
}

MediaStream::~MediaStream()
{
    release();
    api_.unrefFrame(frame_.data());
    const std::lock_guard guard(loadedLibraries().codecLock);
    if (codecOpen_) api_.closeCodec(codec_);
    if (context_) api_.closeInput(&context_);
}

void MediaStream::trace(const char* text, ...)
{
    if (!tracing_) return;
    char line[512];
    va_list values;
    va_start(values, text);
    std::vsnprintf(line, sizeof line, text, values);
    va_end(values);
    report_.error("TRACE rawff: %s\n", line);
}

bool MediaStream::refuse(std::string why)
{
    error = std::move(why);
    trace("%s", error.c_str());
    return false;
}

std::string MediaStream::words(int code) const
{
    std::array<char, 128> text{};
    api_.errorText(code, text.data(), text.size() - 1);
    return text[0] ? std::string(text.data()) : format("error %d", code);
}

/// Monkey's Audio that the library does not recognise by its content is opened by its name.
bool MediaStream::openInput(const std::string& path)
{
    const std::string url = plainFile(path);
    int status = api_.openInput(&context_, url.c_str(), nullptr, nullptr);
    trace("avformat_open_input('%s') = %d", url.c_str(), status);
    const std::string extension = fileExtension(path);
    if (status < 0 && (extension == "ape" || extension == "mac")) {
        context_ = nullptr;
        void* const demuxer = api_.findInputFormat("ape");
        const int again = demuxer ? api_.openInput(&context_, url.c_str(), demuxer, nullptr) : status;
        trace("the same with the demuxer 'ape' (%s) = %d", demuxer ? "found" : "not found", again);
        if (again >= 0) status = again;
    }
    if (status >= 0 && followable(context_)) return true;
    context_ = nullptr;
    return refuse("open_input: " + words(status));
}

bool MediaStream::findInfo()
{
    const std::lock_guard guard(loadedLibraries().codecLock); // it opens codecs too
    const int status = api_.findStreamInfo(context_, nullptr);
    trace("avformat_find_stream_info = %d", status);
    return status >= 0 || refuse("find_stream_info: " + words(status));
}

/// The first audio stream whose fields make sense. Stands before the search for a decoder: a library of another
/// generation, read at wrong places, would otherwise be told apart only by a codec that nobody has.
bool MediaStream::findAudio()
{
    const std::uint32_t count = media::container::streamCount.of(context_);
    const void* const streams = media::container::streams.of(context_);
    trace("%u streams", count);
    if (count < 1 || count > kMostStreams || !followable(streams)) return refuse(kOddStreamCount);
    for (std::uint32_t i = 0; i < count; ++i) {
        stream_ = entry(streams, i);
        if (!followable(stream_)) return refuse(kOddStreamCount);
        codec_ = media::stream::codec.of(stream_);
        if (!followable(codec_)) return refuse(kOddAudioParams);
        if (field(media::codec::type) != media::kAudio) continue;
        index_ = static_cast<int>(i);
        return plausible() || refuse(kOddAudioParams);
    }
    return refuse("no audio stream");
}

bool MediaStream::openDecoder()
{
    const int id = field(media::codec::id);
    void* const decoder = api_.findDecoder(id);
    trace("stream %d: codec id 0x%x, decoder %s", index_, static_cast<unsigned>(id), decoder ? "found" : "not found");
    if (!decoder)
        return refuse(format("no decoder for this stream (codec id 0x%x has no decoder in the library; a "
                             "3.x-era ffmpeg or a TESK decoder plugin is required)",
                             static_cast<unsigned>(id)));
    {
        const std::lock_guard guard(loadedLibraries().codecLock); // two opening at once make one of them fail
        const int status = api_.openCodec(codec_, decoder, nullptr);
        trace("avcodec_open2 = %d", status);
        if (status < 0) return refuse("codec_open2: " + words(status));
        codecOpen_ = true;
    }
    if (!plausible()) return refuse(kOddAudioParams);
    const int number = field(media::codec::sampleFormat);
    return number < 0 || converts(number); // unknown: the first frame will tell
}

bool MediaStream::plausible() const
{
    const int channels = field(media::codec::channels);
    const int rate = field(media::codec::sampleRate);
    const int number = field(media::codec::sampleFormat);
    return channels >= 1 && channels <= static_cast<int>(kMaxChannels) && rate >= kLowestRate && rate <= kHighestRate &&
           number >= -1 && number <= kHighestSampleFormat && media::stream::timeBaseNumerator.of(stream_) >= 1 &&
           media::stream::timeBaseDenominator.of(stream_) >= 1;
}

/// Whether samples of that format are converted, and whether the library means the same by it.
bool MediaStream::converts(int number)
{
    const auto known = sampleFormat(number);
    if (!known) return refuse(format("unsupported sample format %d (this build converts s16/s32/float only)", number));
    if (api_.bytesPerSample(number) != known->bytes || (api_.isPlanar(number) != 0) != known->planar)
        return refuse(kOddAudioParams);
    coding = *known;
    return true;
}

/// Reads up to the next packet of the stream; at the end of the file, prepares for the frames that the decoder still
/// holds. False when the file cannot be read on.
bool MediaStream::fetchPacket()
{
    for (int retries = 0;;) {
        api_.initPacket(packet_.data());
        media::packet::data.set(packet_.data(), nullptr);
        media::packet::size.set(packet_.data(), 0);
        const int status = api_.readFrame(context_, packet_.data());
        if (status == media::kTryAgain && ++retries < kMostRetries) continue;
        if (status < 0) {
            trace("av_read_frame = %d", status);
            if (status != media::kEndOfFile) return refuse("read_frame: " + words(status));
            draining_ = true;
            cursor_ = packet_;
            return true;
        }
        if (takePacket()) return true;
    }
}

/// Whether the packet is one to decode; if not, it is given back.
bool MediaStream::takePacket()
{
    holdsPacket_ = true;
    packetDamaged_ = false;
    const bool ours = media::packet::streamIndex.of(packet_.data()) == index_;
    if (!ours || media::packet::size.of(packet_.data()) <= 0) { // an empty one would tell the decoder of the end
        release();
        return false;
    }
    packetDamaged_ = (media::packet::flags.of(packet_.data()) & media::kPacketCorrupt) != 0;
    if (timestamp == media::kNoTimestamp) timestamp = media::packet::timestamp.of(packet_.data());
    cursor_ = packet_;
    return true;
}

void MediaStream::release()
{
    if (!holdsPacket_) return;
    api_.unrefPacket(packet_.data());
    holdsPacket_ = false;
    if (packetDamaged_) ++damagedPackets;
    damagedInARow_ = packetDamaged_ ? damagedInARow_ + 1 : 0;
    packetDamaged_ = false;
}

/// Moves the cursor behind what the decoder has used. A decoder may take nothing and still give a frame (Monkey's
/// Audio does, up to the last frame of a packet); one that does neither is stuck.
void MediaStream::advance(int used, bool gotFrame)
{
    const int left = media::packet::size.of(cursor_.data());
    if (used < 0 || (used == 0 && !gotFrame)) {
        trace("avcodec_decode_audio4 = %d with %d bytes left", used, left);
        packetDamaged_ = true;
    }
    if (packetDamaged_ || used >= left) return release();
    media::packet::data.set(cursor_.data(), media::packet::data.of(cursor_.data()) + used);
    media::packet::size.set(cursor_.data(), left - used);
}

MediaStream::Step MediaStream::next()
{
    while (!ended_) {
        if (!draining_ && !holdsPacket_ && !fetchPacket()) return Step::failed;
        int got = 0;
        const int used = api_.decodeAudio(codec_, frame_.data(), &got, cursor_.data());
        const bool gotFrame = used >= 0 && got != 0 && media::frame::samples.of(frame_.data()) > 0;
        const bool taken = !gotFrame || takeFrame();
        api_.unrefFrame(frame_.data());
        if (!taken) return Step::failed;
        if (!draining_) advance(used, gotFrame);
        if (gotFrame) return Step::frame;
        if (draining_) {
            trace("end of the delayed frames: avcodec_decode_audio4 = %d", used);
            if (used < 0 && used != media::kEndOfFile) ++damagedPackets;
            ended_ = true;
        }
        ended_ = ended_ || gaveUp();
    }
    return Step::end;
}

/// The first frame settles channels and rate; later ones must agree.
bool MediaStream::takeShape()
{
    if (!plausible()) return refuse(kOddAudioParams);
    const auto channels = static_cast<std::size_t>(field(media::codec::channels));
    const int rate = field(media::codec::sampleRate);
    if (samples.empty()) {
        samples.resize(channels);
        sampleRate = rate;
        trace("first frame: %zu channels, %d Hz, sample format %d, %d frames", channels, rate,
              media::frame::sampleFormat.of(frame_.data()), media::frame::samples.of(frame_.data()));
    }
    if (samples.size() == channels && sampleRate == rate) return true;
    return refuse(format("the recording changes from %zu channels at %d Hz to %zu at %d Hz", samples.size(), sampleRate,
                         channels, rate));
}

bool MediaStream::takeFrame()
{
    if (!takeShape() || !converts(media::frame::sampleFormat.of(frame_.data()))) return false;
    const int count = media::frame::samples.of(frame_.data());
    const void* const planes = media::frame::planes.of(frame_.data());
    if (count > kMostSamplesPerFrame || !followable(planes)) return refuse(kOddAudioParams);
    const std::size_t stride = static_cast<std::size_t>(coding.bytes) * (coding.planar ? 1 : samples.size());
    const int room = media::frame::planeBytes.of(frame_.data()); // 0 when the decoder does not say
    if (room > 0 && static_cast<std::size_t>(count) * stride > static_cast<std::size_t>(room))
        return refuse(kOddAudioParams);
    for (std::size_t c = 0; c < samples.size(); ++c) {
        const void* plane = entry(planes, coding.planar ? c : 0);
        if (!plane) return refuse(kOddAudioParams);
        if (!coding.planar) plane = static_cast<const char*>(plane) + c * static_cast<std::size_t>(coding.bytes);
        samples[c].resize(static_cast<std::size_t>(count));
        convert(plane, coding, stride, samples[c]);
    }
    return true;
}

/// Frames in one unit of the stream's time base, at least 1.
std::int64_t MediaStream::framesPerTick() const
{
    const std::int64_t numerator = std::int64_t{sampleRate} * media::stream::timeBaseNumerator.of(stream_);
    return std::max<std::int64_t>(numerator / media::stream::timeBaseDenominator.of(stream_), 1);
}

std::optional<std::uint64_t> MediaStream::declaredFrames() const
{
    const std::int64_t duration = media::stream::duration.of(stream_);
    if (duration <= 0) return {}; // the unknown one too
    const long double seconds = static_cast<long double>(duration) * media::stream::timeBaseNumerator.of(stream_) /
                                media::stream::timeBaseDenominator.of(stream_);
    const long double frames = std::round(seconds * sampleRate);
    if (frames >= 0x1p62L) return {};
    return static_cast<std::uint64_t>(frames) + static_cast<std::uint64_t>(framesPerTick() - 1);
}

bool MediaStream::timesAreExact() const
{
    const std::int64_t perTick = framesPerTick();
    const bool whole = perTick * media::stream::timeBaseDenominator.of(stream_) ==
                       std::int64_t{sampleRate} * media::stream::timeBaseNumerator.of(stream_);
    return whole && (perTick == 1 || field(media::codec::id) == kMonkeysAudio);
}

bool MediaStream::gaveUp() const { return damagedInARow_ >= kMostDamagedInARow; }

CodecRow MediaStream::codec() const { return codecRow(field(media::codec::id)); }

bool MediaStream::seek(std::uint64_t frame, std::int64_t first)
{
    std::int64_t target = 0;
    if (__builtin_add_overflow(frame / static_cast<std::uint64_t>(framesPerTick()), first, &target)) return false;
    release();
    const int status = api_.seekFrame(context_, index_, target, media::kSeekBackward);
    trace("av_seek_frame(%lld) = %d", static_cast<long long>(target), status);
    if (status < 0) return false;
    api_.flushBuffers(codec_);
    draining_ = ended_ = false;
    timestamp = media::kNoTimestamp;
    return true;
}

std::optional<std::uint64_t> MediaStream::framesSince(std::int64_t first) const
{
    std::int64_t ticks = 0;
    std::uint64_t frames = 0;
    if (timestamp == media::kNoTimestamp || __builtin_sub_overflow(timestamp, first, &ticks) || ticks < 0) return {};
    if (__builtin_mul_overflow(ticks, framesPerTick(), &frames)) return {};
    return frames;
}

} // namespace tesk
