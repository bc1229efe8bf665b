#include "input/chunk_walker.h"
#include "input/header_parsers.h"

namespace tesk {
namespace {

constexpr std::uint32_t kTagPcm = 0x0001, kTagFloat = 0x0003, kTagALaw = 0x0006, kTagMuLaw = 0x0007,
                        kTagExtensible = 0xFFFE;

/// Data sizes that stand for "written to a stream, nobody came back". The second is what sox leaves in a pipe.
constexpr std::uint64_t kStreamedSize = 0xFFFFFFFF, kStreamedSizeSox = 0x7FFFF000;

/// Wave64 sizes above this are marks of a stream as well: ffmpeg leaves 2^63 − 1.
constexpr std::uint64_t kLargestWave64Size = std::uint64_t{1} << 62;

struct WaveChunks {
    std::optional<Chunk> format, data;
    std::optional<std::uint64_t> dataSize64; // from ds64
    std::uint64_t frames = 0;                // from fact or ds64; 0: none
};

WaveChunks collectChunks(ByteSource& source, const ChunkLayout& layout)
{
    WaveChunks found;
    std::uint64_t at = layout.wave64 ? 40 : 12;
    for (int i = 0; i < kMaxChunks && !(found.format && found.data); ++i) {
        auto chunk = chunkAt(source, at, layout);
        if (!chunk) break;
        if (chunk->id == "fmt " && !found.format) found.format = chunk;
        if (chunk->id == "ds64") {
            found.dataSize64 = numberAt(source, chunk->dataOffset + 8, 8, layout.order);
            found.frames = numberAt(source, chunk->dataOffset + 16, 8, layout.order).value_or(0);
        }
        if (chunk->id == "fact" && found.frames == 0)
            found.frames = numberAt(source, chunk->dataOffset, 4, layout.order).value_or(0);
        if (chunk->id == "data" && !found.data) {
            if (!layout.wave64 && chunk->size == kStreamedSize && found.dataSize64) chunk->size = *found.dataSize64;
            found.data = chunk;
        }
        at = nextChunk(source, *chunk, layout);
    }
    return found;
}

/// The size of the data chunk, or nothing when its writer never came to know it.
std::optional<std::uint64_t> declaredSize(ByteSource& source, const Chunk& data, const ChunkLayout& layout)
{
    const std::uint64_t rest = source.size() - data.dataOffset;
    if (data.size == 0) {
        // An empty recording may be followed by its tags; anything else that follows is sound.
        if (chunksReachEnd(source, data.dataOffset, layout)) return 0;
        return {};
    }
    if (layout.wave64) return data.size > kLargestWave64Size ? std::nullopt : std::optional(data.size);
    if (data.size == kStreamedSize || (data.size == kStreamedSizeSox && rest < data.size)) return {};
    return data.size;
}

/// Bytes of one sample. The block alignment decides; the bits only where it cannot be true.
std::uint32_t sampleBytes(std::uint32_t blockAlign, std::uint32_t channels, std::uint32_t bits)
{
    const std::uint32_t aligned = blockAlign / channels;
    if (blockAlign % channels == 0 && aligned >= 1 && aligned <= 8 && aligned * 8 >= bits) return aligned;
    return (bits + 7) / 8;
}

SampleCoding codingOf(std::uint32_t tag, std::uint32_t bytes)
{
    switch (tag) {
    case kTagPcm: return bytes == 1 ? SampleCoding::unsignedInt : SampleCoding::signedInt;
    case kTagFloat: return SampleCoding::floating;
    case kTagALaw: return SampleCoding::aLaw;
    case kTagMuLaw: return SampleCoding::muLaw;
    default: return SampleCoding::compressed;
    }
}

/// The "fmt " chunk: WAVEFORMATEX, or WAVEFORMATEXTENSIBLE whose sub-format GUID begins with the real tag.
bool readFormat(ByteSource& source, const Chunk& chunk, ByteOrder order, PcmHeader& header, std::string& error)
{
    FieldReader fields(source, chunk.dataOffset, order);
    std::uint32_t tag = fields.u16();
    const std::uint32_t channels = fields.u16();
    const std::uint32_t rate = fields.u32();
    fields.skip(4); // bytes per second
    const std::uint32_t blockAlign = fields.u16();
    const std::uint32_t bits = fields.u16();
    std::uint32_t validBits = bits;
    if (tag == kTagExtensible && chunk.size >= 26) {
        fields.skip(2); // size of the extension
        validBits = fields.u16();
        fields.skip(4); // speaker positions
        tag = fields.u16();
    }
    if (!fields.complete() || chunk.size < 16) {
        error = "the header is cut short";
        return false;
    }
    if (!plausibleFormat(channels, rate, error)) return false;
    header.channels = channels;
    header.sampleRate = rate;
    const std::uint32_t bytes = sampleBytes(blockAlign, channels, bits);
    header.coding = codingOf(tag, bytes);
    header.sampleBytes = header.coding == SampleCoding::compressed ? 0 : bytes;
    header.validBits = static_cast<int>(validBits > 0 && validBits <= bits ? validBits : bits);
    if (header.coding == SampleCoding::floating || header.validBits == 0)
        header.validBits = static_cast<int>(header.sampleBytes * 8);
    return true;
}

/// Uses a separate count of frames: for compressed sound it is the only one; for plain samples it takes away the
/// padding that ffmpeg counts as data. Otherwise the size of the data is the better witness.
void applyFrameCount(std::uint64_t frames, const ChunkLayout& layout, PcmHeader& header)
{
    if (frames == 0) return;
    if (header.coding == SampleCoding::compressed) {
        header.declaredFrames = frames;
        return;
    }
    const std::uint64_t bytes = header.declaredBytes.value_or(0), frameBytes = header.frameBytes();
    if (frameBytes == 0 || frames > bytes / frameBytes) return;
    if (bytes - frames * frameBytes < layout.alignment()) header.declaredBytes = frames * frameBytes;
}

} // namespace

std::optional<PcmHeader> parseWaveHeader(ByteSource& source, AudioKind kind, std::string& error)
{
    const bool bigEndian = numberAt(source, 0, 4, ByteOrder::big) == 0x52494658; // "RIFX"
    const ChunkLayout layout{bigEndian ? ByteOrder::big : ByteOrder::little, kind == AudioKind::wave64};
    const WaveChunks chunks = collectChunks(source, layout);
    if (!chunks.format || !chunks.data) {
        error = chunks.format ? "the file has no sound data" : "the file has no format description";
        return {};
    }
    PcmHeader header;
    header.kind = kind;
    header.order = layout.order;
    if (!readFormat(source, *chunks.format, layout.order, header, error)) return {};
    header.dataOffset = chunks.data->dataOffset;
    header.declaredBytes = declaredSize(source, *chunks.data, layout);
    applyFrameCount(chunks.frames, layout, header);
    return header;
}

} // namespace tesk
