#include "container/reader/dsdiff_chunks.h"

#include "input/chunk_walker.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace tesk {
namespace {

constexpr std::uint64_t kChunkHead = 12;

std::string lettersAt(ByteSource& file, std::uint64_t offset)
{
    std::string letters(4, '\0');
    letters.resize(file.readAt(offset, letters.data(), letters.size()));
    return letters;
}

/// Whether at least half of the letters are those of a frame.
bool resemblesFrame(std::string_view id)
{
    constexpr std::string_view kLetters = "DSTF";
    int same = 0;
    for (std::size_t i = 0; i < kLetters.size(); ++i) same += id[i] == kLetters[i] ? 1 : 0;
    return same >= 2;
}

void readChannels(ByteSource& file, const DsdiffChunk& chunk, DsdiffProperties& properties)
{
    properties.channels = static_cast<std::uint32_t>(numberAt(file, chunk.dataOffset, 2, ByteOrder::big).value_or(0));
    properties.channelIds.clear();
    for (std::uint64_t at = 2; at + 4 <= chunk.size && properties.channelIds.size() < properties.channels; at += 4)
        properties.channelIds.push_back(lettersAt(file, chunk.dataOffset + at));
}

} // namespace

std::optional<DsdiffChunk> dsdiffChunkAt(ByteSource& file, std::uint64_t offset, std::uint64_t end)
{
    std::array<std::uint8_t, kChunkHead> head;
    if (offset > end || end - offset < kChunkHead) return {};
    if (file.readAt(offset, head.data(), head.size()) < head.size()) return {};
    DsdiffChunk chunk{std::string(head.begin(), head.begin() + 4), offset + kChunkHead, 0};
    for (std::size_t i = 4; i < kChunkHead; ++i) chunk.size = chunk.size << 8 | head[i];
    return chunk;
}

void readDsdiffProperties(ByteSource& file, const DsdiffChunk& prop, std::uint64_t end, DsdiffProperties& properties)
{
    if (prop.size < 4 || lettersAt(file, prop.dataOffset) != "SND ") return;
    const auto number = [&](const DsdiffChunk& chunk, int width) {
        return static_cast<std::uint32_t>(numberAt(file, chunk.dataOffset, width, ByteOrder::big).value_or(0));
    };
    end = std::min(end, prop.end());
    std::uint64_t at = prop.dataOffset + 4;
    for (int i = 0; i < kMaxChunks; ++i) {
        const auto chunk = dsdiffChunkAt(file, at, end);
        if (!chunk || chunk->end() > end) return;
        if (chunk->id == "FS  " && chunk->size >= 4) properties.sampleRate = number(*chunk, 4);
        if (chunk->id == "CHNL" && chunk->size >= 2) readChannels(file, *chunk, properties);
        if (chunk->id == "CMPR" && chunk->size >= 4) properties.compression = lettersAt(file, chunk->dataOffset);
        at = chunk->next();
    }
}

/// Whether a chunk of the frame list stands there, whole, or the list ends there.
bool DstFrameWalk::isHead(std::uint64_t offset)
{
    const auto chunk = dsdiffChunkAt(*file_, offset, end_);
    if (!chunk) return offset + 1 >= end_; // a pad byte may be missing
    return (chunk->id == "DSTF" || chunk->id == "DSTC") && chunk->end() <= end_;
}

/// Whether a chunk of unknown letters is a frame with damaged ones.
bool DstFrameWalk::wasFrame(const DsdiffChunk& chunk)
{
    const auto behind = dsdiffChunkAt(*file_, chunk.next(), end_);
    return resemblesFrame(chunk.id) || (behind && behind->id == "DSTC");
}

/// Where the next credible frame begins.
std::optional<std::uint64_t> DstFrameWalk::nextFrameHead(std::uint64_t from)
{
    constexpr std::size_t kRun = 65536, kLetters = 4;
    std::vector<char> run(kRun);
    for (std::uint64_t at = from; at < end_;) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(kRun, end_ - at));
        const std::string_view text(run.data(), file_->readAt(at, run.data(), wanted));
        for (std::size_t i = text.find("DSTF"); i != text.npos; i = text.find("DSTF", i + 1))
            if (isHead(at + i) && isHead(dsdiffChunkAt(*file_, at + i, end_)->next())) return at + i;
        if (text.size() < kRun) return {};
        at += kRun - (kLetters - 1);
    }
    return {};
}

std::optional<DsdiffChunk> DstFrameWalk::next()
{
    while (auto chunk = dsdiffChunkAt(*file_, at_, end_)) {
        if (!isHead(at_) && chunk->end() <= end_ && isHead(chunk->next())) {
            at_ = chunk->next(); // only the letters are wrong, or it is no part of the sound
            if (wasFrame(*chunk)) return DsdiffChunk{"DSTF", at_, 0};
            continue;
        }
        if (!isHead(at_)) {
            // The size of the frame before may be what led here.
            at_ = nextFrameHead(lastData_ > 0 ? lastData_ : at_).value_or(end_);
            if (resemblesFrame(chunk->id) && at_ < end_) return DsdiffChunk{"DSTF", at_, 0};
            continue;
        }
        at_ = chunk->next();
        if (chunk->id != "DSTF") continue;
        lastData_ = chunk->dataOffset;
        return chunk;
    }
    return {};
}

std::optional<std::uint32_t> DstFrameWalk::crc()
{
    const auto chunk = dsdiffChunkAt(*file_, at_, end_);
    if (!chunk || chunk->id != "DSTC" || chunk->size < 4 || chunk->end() > end_) return {};
    at_ = chunk->next();
    const auto value = numberAt(*file_, chunk->dataOffset, 4, ByteOrder::big);
    if (!value) return {};
    return static_cast<std::uint32_t>(*value);
}

std::uint64_t DstFrameWalk::count() const
{
    DstFrameWalk rest = *this;
    std::uint64_t frames = 0;
    while (rest.next()) ++frames;
    return frames;
}

} // namespace tesk
