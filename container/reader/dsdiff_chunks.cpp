#include "container/reader/dsdiff_chunks.h"

#include "input/chunk_walker.h"

#include <algorithm>
#include <array>

namespace tesk {
namespace {

constexpr std::uint64_t kChunkHead = 12;

std::string lettersAt(ByteSource& file, std::uint64_t offset)
{
    std::string letters(4, '\0');
    letters.resize(file.readAt(offset, letters.data(), letters.size()));
    return letters;
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
        if (chunk->id == "LSCO" && chunk->size >= 2) properties.loudspeakers = number(*chunk, 2);
        at = chunk->next();
    }
}

std::optional<DsdiffChunk> DstFrameWalk::next()
{
    while (auto chunk = dsdiffChunkAt(*file_, at_, end_)) {
        if (chunk->end() > end_) return {};
        at_ = chunk->next();
        if (chunk->id == "DSTF") return chunk;
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
