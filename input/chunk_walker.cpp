#include "input/chunk_walker.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace tesk {
namespace {

/// What follows the four letters in every Wave64 chunk GUID, except that of the outermost one.
constexpr std::array<std::uint8_t, 12> kWave64GuidTail = {0xF3, 0xAC, 0xD3, 0x11, 0x8C, 0xD1,
                                                          0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A};

bool isPrintable(const std::string& id)
{
    return id != "????" && std::all_of(id.begin(), id.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

} // namespace

std::optional<std::uint64_t> numberAt(ByteSource& source, std::uint64_t offset, int width, ByteOrder order)
{
    std::array<std::uint8_t, 8> bytes;
    const auto count = static_cast<std::size_t>(width);
    if (source.readAt(offset, bytes.data(), count) != count) return {};
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < count; ++i) value = value << 8 | bytes[order == ByteOrder::big ? i : count - 1 - i];
    return value;
}

std::optional<Chunk> chunkAt(ByteSource& source, std::uint64_t offset, const ChunkLayout& layout)
{
    std::array<std::uint8_t, 24> head;
    const std::uint64_t headerBytes = layout.headerBytes();
    if (source.readAt(offset, head.data(), headerBytes) != headerBytes) return {};
    Chunk chunk{std::string(reinterpret_cast<const char*>(head.data()), 4), offset + headerBytes, 0};
    if (!layout.wave64) {
        chunk.size = *numberAt(source, offset + 4, 4, layout.order);
        return chunk;
    }
    if (std::memcmp(head.data() + 4, kWave64GuidTail.data(), kWave64GuidTail.size()) != 0) chunk.id = "????";
    const std::uint64_t whole = *numberAt(source, offset + 16, 8, ByteOrder::little);
    chunk.size = whole > headerBytes ? whole - headerBytes : 0;
    return chunk;
}

std::uint64_t nextChunk(const ByteSource& source, const Chunk& chunk, const ChunkLayout& layout)
{
    const std::uint64_t end = source.size();
    if (chunk.dataOffset > end || chunk.size > end - chunk.dataOffset) return end;
    const std::uint64_t alignment = layout.alignment();
    const std::uint64_t dataEnd = chunk.dataOffset + chunk.size;
    return std::min(end, (dataEnd + alignment - 1) / alignment * alignment);
}

bool chunksReachEnd(ByteSource& source, std::uint64_t offset, const ChunkLayout& layout)
{
    for (int i = 0; i < kMaxChunks && offset < source.size(); ++i) {
        const auto chunk = chunkAt(source, offset, layout);
        if (!chunk || !isPrintable(chunk->id)) return false;
        if (chunk->size > source.size() - chunk->dataOffset) return false;
        offset = nextChunk(source, *chunk, layout);
    }
    return offset >= source.size();
}

} // namespace tesk
