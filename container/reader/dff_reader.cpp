#include "container/reader/dff_reader.h"

#include "container/reader/dsd_limits.h"
#include "container/reader/early_end.h"
#include "input/chunk_walker.h"

#include <algorithm>

namespace tesk {
namespace {

constexpr std::uint64_t kChunkHead = 12;
constexpr std::uint64_t kFormType = 4;
constexpr std::uint64_t kLargestSound = std::uint64_t{1} << 48; // more is no size but a placeholder

// A frame in its chunk: at least a byte behind the head; at most plain, with its flag byte, a pad and a checksum.
constexpr std::uint64_t kSmallestFrameChunk = kChunkHead + 1;
constexpr std::uint64_t kLargestFrameExtra = kChunkHead + 2 + kChunkHead + 4;

/// Where the sound's chunk ends in the file.
std::uint64_t endInFile(const DsdiffChunk& sound, const ByteSource& file)
{
    return sound.size == 0 ? file.size() : std::min(sound.end(), file.size());
}

} // namespace

std::unique_ptr<DFFReader> DFFReader::open(std::unique_ptr<ByteSource> file, DstSimdLevel dstLevel, Reporter& report)
{
    std::unique_ptr<DFFReader> reader(new DFFReader(std::move(file), report));
    return reader->findSound(dstLevel) ? std::move(reader) : nullptr;
}

bool DFFReader::refuse(const char* why)
{
    report_.error("DFFReader: %s\n", why);
    return false;
}

bool DFFReader::findSound(DstSimdLevel dstLevel)
{
    const auto form = dsdiffChunkAt(*file_, 0, file_->size());
    const auto type = numberAt(*file_, kChunkHead, 4, ByteOrder::big);
    if (!form || form->id != "FRM8" || type != 0x44534420u) return refuse("not an FRM8 file with form type \"DSD \"");
    const std::uint64_t end = std::min(form->end(), file_->size());
    std::uint64_t at = kChunkHead + kFormType;
    for (int i = 0; i < kMaxChunks; ++i) {
        auto chunk = dsdiffChunkAt(*file_, at, end);
        if (!chunk) break;
        if (chunk->id == "PROP") readDsdiffProperties(*file_, *chunk, end, properties_);
        if (chunk->id == "DSD " || chunk->id == "DST ") {
            if (chunk->size > kLargestSound) chunk->size = 0;
            if (!takeProperties()) return false;
            if (chunk->id == "DST ") return openDst(*chunk, dstLevel);
            openPlain(*chunk);
            return true;
        }
        at = chunk->next();
    }
    return refuse("incomplete data");
}

bool DFFReader::takeProperties()
{
    const DsdiffProperties& p = properties_;
    if (!isDsdRate(p.sampleRate))
        return refuse(
            format("a sample rate of %u Hz cannot be read: %u to %u can", p.sampleRate, kLowestDsdRate, kHighestDsdRate)
                .c_str());
    if (p.channels < 1 || p.channels > kMostDsdChannels)
        return refuse(format("%u channels cannot be read: 1 to %u can", p.channels, kMostDsdChannels).c_str());
    if (!p.compression.empty() && p.compression != "DSD " && p.compression != "DST ")
        return refuse(format("compression \"%s\" is unknown", p.compression.c_str()).c_str());
    source_.channels = p.channels;
    source_.dsdRate = p.sampleRate;
    source_.blockBytes = dsdBlockBytes(p.sampleRate);
    return true;
}

/// Whether a size of 0 is meant: another chunk follows, or nothing does.
bool DFFReader::isEmpty(const DsdiffChunk& sound) const
{
    if (sound.dataOffset == file_->size()) return true;
    const auto next = dsdiffChunkAt(*file_, sound.dataOffset, file_->size());
    return next && next->end() <= file_->size() &&
           std::all_of(next->id.begin(), next->id.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

void DFFReader::openPlain(const DsdiffChunk& sound)
{
    const std::uint32_t channels = source_.channels;
    const bool empty = sound.size == 0 && isEmpty(sound);
    const std::uint64_t bytes = empty ? 0 : endInFile(sound, *file_) - sound.dataOffset;
    source_.samples = bytes / channels * 8;
    if (sound.size > bytes)
        alertEarlyEnd(report_, "DFFReader", "the file ends early", (sound.size / channels - bytes / channels) * 8,
                      source_.dsdRate);
    if (sound.size == 0 && !empty)
        report_.alert("DFFReader: the size of the sound is not given; all up to the end of the file is taken\n");
    plain_ = std::make_unique<InterleavedSound>(*file_, sound.dataOffset, source_, report_, "DFFReader");
    const std::vector<std::string>& ids = properties_.channelIds;
    sidesFirst_ = ids.size() == 8 && ids[4] == "LS  " && ids[5] == "RS  " && ids[6] == "LB  " && ids[7] == "RB  ";
}

bool DFFReader::openDst(const DsdiffChunk& sound, DstSimdLevel dstLevel)
{
    const std::uint64_t end = endInFile(sound, *file_);
    const auto head = dsdiffChunkAt(*file_, sound.dataOffset, end);
    if (!head || head->id != "FRTE" || head->size < 4 || head->end() > end) return refuse("DST chunk missing FRTE");
    source_.dst = true;
    playback_ = std::make_unique<DstPlayback>([this](CodedFrame& frame) { return nextCoded(frame); },
                                              DstPlayback::Damaged::silence, report_, dstLevel);
    if (!playback_->init(source_.channels, source_.dsdRate)) return false;
    walk_.emplace(*file_, head->next(), end);
    measureDst(sound, numberAt(*file_, head->dataOffset, 4, ByteOrder::big).value_or(0));
    source_.samples = frames_ * source_.blockBytes * 8;
    return true;
}

/// How many frames there are: as announced where the chunk has room for as many and not for far more.
void DFFReader::measureDst(const DsdiffChunk& sound, std::uint64_t announced)
{
    const std::uint64_t bytes = endInFile(sound, *file_) - sound.dataOffset;
    const bool whole = sound.size != 0 && sound.end() <= file_->size();
    const std::uint64_t largest = playback_->frameBytes() + kLargestFrameExtra;
    const bool plausible = announced > 0 && announced <= bytes / kSmallestFrameChunk && announced >= bytes / largest;
    frames_ = whole && plausible ? announced : walk_->count();
    if (frames_ == announced) return;
    if (!whole && announced > frames_ && announced <= sound.size / kSmallestFrameChunk)
        alertEarlyEnd(report_, "DFFReader", "the file ends early", (announced - frames_) * source_.blockBytes * 8,
                      source_.dsdRate);
    else
        report_.alert("DFFReader: %llu DST frames are announced, %llu are there\n",
                      static_cast<unsigned long long>(announced), static_cast<unsigned long long>(frames_));
}

/// The next frame for the decoder; one that is too large to be one comes without bytes.
bool DFFReader::nextCoded(CodedFrame& frame)
{
    const std::uint64_t most = 2 * playback_->frameBytes() + 64;
    const auto chunk = walk_->next();
    if (walked_ == frames_) {
        if (chunk) report_.alert("DFFReader: there is sound behind the announced frames; it is left out\n");
        return false;
    }
    if (!chunk) return endOfFrames("frames are missing");
    frame.bytes.resize(chunk->size <= most ? static_cast<std::size_t>(chunk->size) : 0);
    if (file_->readAt(chunk->dataOffset, frame.bytes.data(), frame.bytes.size()) < frame.bytes.size())
        return endOfFrames("the file cannot be read to its end");
    frame.crc = walk_->crc();
    frame.place = walked_++;
    return true;
}

bool DFFReader::endOfFrames(const char* why)
{
    alertEarlyEnd(report_, "DFFReader", why, (frames_ - walked_) * source_.blockBytes * 8, source_.dsdRate);
    return false;
}

std::size_t DFFReader::read(std::uint8_t* const* planar, std::size_t bytes)
{
    if (plain_) {
        channels_.assign(planar, planar + source_.channels);
        if (sidesFirst_) std::swap_ranges(channels_.begin() + 4, channels_.begin() + 6, channels_.begin() + 6);
        return plain_->read(channels_.data(), bytes);
    }
    std::size_t done = 0;
    while (done < bytes) {
        if (frame_.empty()) frame_ = playback_->nextFrame();
        if (frame_.empty()) break;
        const std::size_t count = std::min(bytes - done, frame_.size() / source_.channels);
        deinterleave(frame_.data(), source_.channels, count, planar, done);
        frame_ = frame_.subspan(count * source_.channels);
        done += count;
    }
    return done;
}

void DFFReader::reportProblems(const char* name)
{
    if (playback_) playback_->reportProblems(name);
}

} // namespace tesk
