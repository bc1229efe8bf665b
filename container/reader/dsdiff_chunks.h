// The chunks of a DSDIFF file as a reader meets them. Source: DSDIFF 1.5 (Philips).
#pragma once

#include "input/byte_source.h"

#include <optional>
#include <vector>

namespace tesk {

struct DsdiffChunk {
    std::string id;               ///< four characters
    std::uint64_t dataOffset = 0; ///< behind ID and size
    std::uint64_t size = 0;       ///< of the data, as declared

    /// Behind the data; the largest number when that overflows.
    std::uint64_t end() const { return size > ~dataOffset ? ~std::uint64_t{0} : dataOffset + size; }
    /// Behind the pad byte that follows an odd size.
    std::uint64_t next() const { return size % 2 == 0 || end() == ~std::uint64_t{0} ? end() : end() + 1; }
};

/// The chunk whose ID stands at `offset`; nothing when ID and size do not fit in front of `end`.
std::optional<DsdiffChunk> dsdiffChunkAt(ByteSource& file, std::uint64_t offset, std::uint64_t end);

/// What "PROP" says of the sound.
struct DsdiffProperties {
    std::uint32_t sampleRate = 0, channels = 0; ///< Hz; 0 where the file has none
    std::vector<std::string> channelIds;        ///< at most `channels`; a file may leave them out
    std::string compression;                    ///< "DSD ", "DST ", or empty
};

/// Reads a "PROP" chunk of type "SND ", as far as it stands in front of `end`.
void readDsdiffProperties(ByteSource& file, const DsdiffChunk& prop, std::uint64_t end, DsdiffProperties& properties);

/// Steps through the frames of a "DST " chunk. Where the head of a chunk is damaged, it goes on at the next "DSTF"
/// whose size leads to another head.
class DstFrameWalk {
public:
    /// @param begin  behind "FRTE"
    /// @param end    of the chunk, within the file
    DstFrameWalk(ByteSource& file, std::uint64_t begin, std::uint64_t end) : file_(&file), at_(begin), end_(end) {}

    /// The next "DSTF" chunk; one without a size for a frame that was lost with its head. Nothing at the end.
    std::optional<DsdiffChunk> next();

    /// What the "DSTC" chunk behind that frame says; nothing when there is none.
    std::optional<std::uint32_t> crc();

    /// Frames from here on. Reads every chunk's head.
    std::uint64_t count() const;

private:
    bool isHead(std::uint64_t offset);
    bool wasFrame(const DsdiffChunk& chunk);
    std::optional<std::uint64_t> nextFrameHead(std::uint64_t from);

    ByteSource* file_;
    std::uint64_t at_, end_;
    std::uint64_t lastData_ = 0; // of the last frame; 0: none yet
};

} // namespace tesk
