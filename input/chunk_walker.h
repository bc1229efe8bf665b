// Steps through the chunks of a RIFF, Wave64 or AIFF file, and reads numbers from them.
#pragma once

#include "engine/base/byte_writer.h"
#include "input/byte_source.h"

#include <optional>
#include <string>

namespace tesk {

/// One chunk as its header describes it; the file may end before the chunk does.
struct Chunk {
    std::string id;               ///< four characters; "????" for a GUID that is no four-letter one
    std::uint64_t dataOffset = 0; ///< behind the chunk's header
    std::uint64_t size = 0;       ///< of the data, as declared
};

/// How a container writes its chunk headers.
struct ChunkLayout {
    ByteOrder order;
    bool wave64; ///< 16-byte GUID, 64-bit size that counts the header, 8-byte alignment; else 4, 32 bits, 2-byte

    std::uint64_t headerBytes() const { return wave64 ? 24 : 8; }
    std::uint64_t alignment() const { return wave64 ? 8 : 2; }
};

/// Unsigned number of `width` bytes (at most 8) at `offset`; nothing behind the end of the source.
std::optional<std::uint64_t> numberAt(ByteSource& source, std::uint64_t offset, int width, ByteOrder order);

/// Reads the fields of a record one after the other.
class FieldReader {
public:
    FieldReader(ByteSource& source, std::uint64_t offset, ByteOrder order)
        : source_(source), offset_(offset), order_(order)
    {
    }

    /// The next number of `width` bytes; 0 behind the end of the source.
    std::uint64_t number(int width)
    {
        const auto value = numberAt(source_, offset_, width, order_);
        offset_ += static_cast<std::uint64_t>(width);
        complete_ = complete_ && value.has_value();
        return value.value_or(0);
    }
    std::uint32_t u16() { return static_cast<std::uint32_t>(number(2)); }
    std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }
    void skip(std::uint64_t bytes) { offset_ += bytes; }

    /// Whether every field so far was there.
    bool complete() const { return complete_; }

private:
    ByteSource& source_;
    std::uint64_t offset_;
    ByteOrder order_;
    bool complete_ = true;
};

/// The chunk whose header starts at `offset`; nothing when no whole header is left. A Wave64 size smaller than its
/// own header gives data of size 0.
std::optional<Chunk> chunkAt(ByteSource& source, std::uint64_t offset, const ChunkLayout& layout);

/// Offset of the header behind `chunk`, padding included; the end of the file when the size overflows.
std::uint64_t nextChunk(const ByteSource& source, const Chunk& chunk, const ChunkLayout& layout);

/// Whether well-formed chunks lead from `offset` exactly to the end of the file.
bool chunksReachEnd(ByteSource& source, std::uint64_t offset, const ChunkLayout& layout);

/// Chunks that one walk looks at; a damaged header could otherwise keep it busy for as long as the file is.
inline constexpr int kMaxChunks = 4096;

} // namespace tesk
