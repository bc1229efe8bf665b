#include "input/loaded/media_library_reader.h"

#include "input/loaded/media_stream.h"

#include <algorithm>

namespace tesk {
namespace {

constexpr std::uint64_t kLengthSlack = 8192; // frames by which lossless headers deviate: a CAF counts whole packets

} // namespace

MediaLibraryReader::MediaLibraryReader(const MediaLibraryApi& api, Reporter& report) : api_(api), report_(report) {}
MediaLibraryReader::~MediaLibraryReader() = default;

Status MediaLibraryReader::open(const std::string& path)
{
    path_ = path;
    position_ = 0;
    pending_ = 0;
    warnings_.clear();
    stream_ = std::make_unique<MediaStream>(api_, report_);
    if (!stream_->open(path)) return fail(stream_->error);
    // Only a decoded frame tells the true rate and channel count: AAC may double both.
    const auto first = nextFrame();
    if (!first.ok()) return first.status();
    if (!*first) return fail("no samples in the audio stream");
    firstTimestamp_ = stream_->timestamp;
    describe();
    return {};
}

void MediaLibraryReader::describe()
{
    const CodecRow codec = stream_->codec();
    const int raw = stream_->field(media::codec::rawBits);
    info_ = {};
    info_.format = codec.name;
    info_.channels = static_cast<std::uint32_t>(stream_->samples.size());
    info_.sampleRate = static_cast<std::uint32_t>(stream_->sampleRate);
    info_.isFloat = stream_->coding.isFloat && codec.lossless; // a lossy source has no word length of its own
    info_.unchecked = stream_->coding.isFloat;
    if (stream_->coding.isFloat)
        info_.bitsPerSample = codec.lossless ? 32 : 24;
    else if (raw >= 1 && raw <= 8 * stream_->coding.bytes)
        info_.bitsPerSample = raw;
    else
        info_.bitsPerSample = stream_->coding.bytes == 2 ? 16 : 24;
    info_.declaredFrames = stream_->declaredFrames();
    info_.lengthIsHint = true;
}

/// Whether the stream holds another frame now; false at the end.
Result<bool, PDM_ENCODING_STATUS> MediaLibraryReader::nextFrame()
{
    const MediaStream::Step step = stream_->next();
    const bool isDamaged = stream_->damagedPackets > 0;
    if (isDamaged && stream_->codec().lossless) return damaged();
    if (isDamaged && step != MediaStream::Step::frame)
        warnings_.assign(1, format("%u packets could not be decoded", stream_->damagedPackets));
    if (step == MediaStream::Step::failed) return fail(stream_->error);
    if (step == MediaStream::Step::frame) pending_ = 0;
    return step == MediaStream::Step::frame;
}

/// Nothing that follows can save the load: it is decoded only to count.
PDM_ENCODING_STATUS MediaLibraryReader::damaged()
{
    while (stream_->next() == MediaStream::Step::frame) {
    }
    const char* rest = stream_->gaveUp() ? "; the rest was not tried" : "";
    return fail(format("%u packets could not be decoded%s", stream_->damagedPackets, rest));
}

/// A cut file ends as quietly as a whole one. Lossy headers estimate, so only lossless ones are held to their word.
void MediaLibraryReader::checkLength()
{
    const auto& declared = info_.declaredFrames;
    if (!stream_->codec().lossless || !declared || position_ + kLengthSlack >= *declared || !warnings_.empty()) return;
    warnings_.push_back(format("the header declares %llu frames, the file holds %llu; the latter are used",
                               static_cast<unsigned long long>(*declared), static_cast<unsigned long long>(position_)));
}

Result<std::size_t, PDM_ENCODING_STATUS> MediaLibraryReader::read(double* const* planar, std::size_t frames)
{
    std::size_t done = 0;
    while (done < frames) {
        if (pending_ == stream_->frames()) {
            const auto more = nextFrame();
            if (!more.ok()) return more.status();
            if (!*more) {
                checkLength();
                break;
            }
        }
        const std::size_t count = std::min(frames - done, stream_->frames() - pending_);
        for (std::size_t c = 0; c < stream_->samples.size(); ++c)
            std::copy_n(stream_->samples[c].data() + pending_, count, planar[c] + done);
        pending_ += count;
        position_ += count;
        done += count;
    }
    return done;
}

/// False at the end of the recording and on every failure.
bool MediaLibraryReader::skip(std::uint64_t frames)
{
    while (frames > 0) {
        if (pending_ == stream_->frames()) {
            const auto more = nextFrame();
            if (!more.ok() || !*more) return false;
        }
        const std::size_t count = std::min<std::uint64_t>(frames, stream_->frames() - pending_);
        pending_ += count;
        position_ += count;
        frames -= count;
    }
    return true;
}

/// False when the place is missed; the position is then lost.
bool MediaLibraryReader::jump(std::uint64_t frame)
{
    if (!stream_->seek(frame, firstTimestamp_)) return false;
    const auto more = nextFrame();
    if (!more.ok() || !*more) return false;
    const auto landed = stream_->framesSince(firstTimestamp_);
    if (!landed || *landed > frame) return false;
    position_ = *landed;
    return skip(frame - *landed);
}

Status MediaLibraryReader::seek(std::uint64_t frame)
{
    if (frame == position_) return {};
    if (!stream_->codec().lossless || !stream_->timesAreExact() || firstTimestamp_ == media::kNoTimestamp)
        return DSD_ERROR_UNSUPPORTED;
    const std::uint64_t before = position_;
    if (jump(frame)) return {};
    // A library that fails to seek may have thrown away packets it had read ahead.
    stream_->trace("back to frame %llu in the file opened anew", static_cast<unsigned long long>(before));
    if (Status again = open(path_); !again) return again;
    if (skip(before)) return DSD_ERROR_UNSUPPORTED;
    return fail("cannot go back to where reading was");
}

} // namespace tesk
