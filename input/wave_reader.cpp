#include "input/wave_reader.h"

#include "engine/base/reporter.h"

#include <algorithm>

namespace tesk {
namespace {

/// Small enough that the interleaved copy stays in the processor's cache.
constexpr std::size_t kChunkFrames = 4096;

SourceWindow& window(void* user) { return *static_cast<SourceWindow*>(user); }

sf_count_t windowLength(void* user) { return static_cast<sf_count_t>(window(user).bytes); }

sf_count_t windowSeek(sf_count_t offset, int whence, void* user)
{
    SourceWindow& w = window(user);
    const auto length = static_cast<sf_count_t>(w.bytes), position = static_cast<sf_count_t>(w.position);
    const sf_count_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? position : length;
    if (offset < -base || offset > length - base) return -1;
    w.position = static_cast<std::uint64_t>(base + offset);
    return base + offset;
}

sf_count_t windowRead(void* to, sf_count_t count, void* user)
{
    SourceWindow& w = window(user);
    const std::uint64_t wanted =
        std::min(static_cast<std::uint64_t>(std::max<sf_count_t>(count, 0)), w.bytes - w.position);
    const std::size_t got = w.source->readAt(w.begin + w.position, to, static_cast<std::size_t>(wanted));
    w.position += got;
    return static_cast<sf_count_t>(got);
}

sf_count_t windowWrite(const void*, sf_count_t, void*) { return 0; }

sf_count_t windowTell(void* user) { return static_cast<sf_count_t>(window(user).position); }

/// libsndfile's code for plain samples; probeHeader has refused every width that has none.
int rawFormat(const PcmHeader& header)
{
    static constexpr int signedInt[] = {SF_FORMAT_PCM_S8, SF_FORMAT_PCM_16, SF_FORMAT_PCM_24, SF_FORMAT_PCM_32};
    int coding = 0;
    switch (header.coding) {
    case SampleCoding::signedInt: coding = signedInt[header.sampleBytes - 1]; break;
    case SampleCoding::unsignedInt: coding = SF_FORMAT_PCM_U8; break;
    case SampleCoding::floating: coding = header.sampleBytes == 4 ? SF_FORMAT_FLOAT : SF_FORMAT_DOUBLE; break;
    case SampleCoding::aLaw: coding = SF_FORMAT_ALAW; break;
    case SampleCoding::muLaw: coding = SF_FORMAT_ULAW; break;
    case SampleCoding::compressed: break;
    }
    return SF_FORMAT_RAW | coding | (header.order == ByteOrder::big ? SF_ENDIAN_BIG : SF_ENDIAN_LITTLE);
}

} // namespace

Status WaveReader::open(const std::string& path)
{
    auto source = FileSource::open(path, error_);
    if (!source) return DSD_ERROR_INPUT;
    return open(std::move(source));
}

Status WaveReader::open(std::unique_ptr<ByteSource> source)
{
    source_ = std::move(source);
    const auto header = probeHeader(*source_, error_);
    if (!header) return DSD_ERROR_INPUT;
    info_.format = audioKindName(header->kind);
    info_.channels = header->channels;
    info_.sampleRate = header->sampleRate;
    info_.bitsPerSample = header->validBits;
    info_.isFloat = header->coding == SampleCoding::floating;
    info_.declaredFrames = header->declaredFrames;
    compressed_ = header->coding == SampleCoding::compressed;
    interleaved_.resize(kChunkFrames * info_.channels);
    return compressed_ ? openCompressed() : openPlain(*header);
}

Status WaveReader::openPlain(const PcmHeader& header)
{
    const std::uint64_t frames = header.storedBytes / header.frameBytes();
    info_.storedFrames = frames;
    if (frames == 0) return {};
    window_ = {source_.get(), header.dataOffset, frames * header.frameBytes(), 0};
    SF_INFO format{};
    format.samplerate = static_cast<int>(header.sampleRate);
    format.channels = static_cast<int>(header.channels);
    format.format = rawFormat(header);
    if (!openWindow(format)) return DSD_ERROR_INPUT;
    return {};
}

Status WaveReader::openCompressed()
{
    window_ = {source_.get(), 0, source_->size(), 0};
    SF_INFO format{};
    if (!openWindow(format)) return DSD_ERROR_INPUT;
    if (format.channels != static_cast<int>(info_.channels) || format.frames < 0)
        return fail("the header contradicts itself");
    info_.storedFrames = static_cast<std::uint64_t>(format.frames);
    seekable_ = format.seekable != 0;
    return {};
}

bool WaveReader::openWindow(SF_INFO& format)
{
    SF_VIRTUAL_IO calls{windowLength, windowSeek, windowRead, windowWrite, windowTell};
    file_.reset(sf_open_virtual(&calls, SFM_READ, &format, &window_));
    if (!file_) error_ = std::string("the sample format cannot be read: ") + sf_strerror(nullptr);
    return file_ != nullptr;
}

std::size_t WaveReader::readChunk(double* const* planar, std::size_t offset, std::size_t frames)
{
    const sf_count_t got = sf_readf_double(file_.get(), interleaved_.data(), static_cast<sf_count_t>(frames));
    const std::size_t count = got > 0 ? static_cast<std::size_t>(got) : 0;
    const std::size_t channels = info_.channels;
    for (std::size_t c = 0; c < channels; ++c) {
        double* to = planar[c] + offset;
        const double* from = interleaved_.data() + c;
        for (std::size_t i = 0; i < count; ++i) to[i] = from[i * channels];
    }
    return count;
}

Result<std::size_t, PDM_ENCODING_STATUS> WaveReader::read(double* const* planar, std::size_t frames)
{
    if (!error_.empty()) return DSD_ERROR_INPUT; // a seek has failed
    std::size_t done = 0;
    const std::uint64_t left = *info_.storedFrames - position_;
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(frames, left));
    while (done < wanted) {
        const std::size_t got = readChunk(planar, done, std::min(kChunkFrames, wanted - done));
        if (got == 0) break;
        done += got;
    }
    position_ += done;
    // A compressed stream may end a little before its estimate; plain samples are there or the medium failed.
    const bool early = done < frames && position_ < *info_.storedFrames;
    if (early && (!compressed_ || sf_error(file_.get()) != SF_ERR_NO_ERROR))
        return fail(format("reading failed at frame %llu of %llu", static_cast<unsigned long long>(position_),
                           static_cast<unsigned long long>(*info_.storedFrames)));
    return done;
}

Status WaveReader::seek(std::uint64_t frame)
{
    if (!error_.empty()) return DSD_ERROR_INPUT;
    if (!seekable_) return DSD_ERROR_UNSUPPORTED;
    if (frame > *info_.storedFrames) return fail("the position is behind the end of the file");
    // Reading stops at the end by itself; an empty recording has no file_ to seek in.
    if (frame < *info_.storedFrames &&
        sf_seek(file_.get(), static_cast<sf_count_t>(frame), SEEK_SET) != static_cast<sf_count_t>(frame))
        return fail(std::string("seeking failed: ") + sf_strerror(file_.get()));
    position_ = frame;
    return {};
}

} // namespace tesk
