#include "input/chunk_walker.h"
#include "input/header_parsers.h"

#include <array>
#include <cmath>
#include <string_view>

namespace tesk {
namespace {

constexpr ChunkLayout kLayout{ByteOrder::big, false};

/// An AIFC compression type that stores plain samples.
struct PlainType {
    std::string_view id;
    SampleCoding coding;
    ByteOrder order;
    std::uint32_t bits; // 0: as COMM says
};

constexpr std::array kPlainTypes = {
    PlainType{"NONE", SampleCoding::signedInt, ByteOrder::big, 0},
    PlainType{"twos", SampleCoding::signedInt, ByteOrder::big, 0},
    PlainType{"sowt", SampleCoding::signedInt, ByteOrder::little, 0},
    PlainType{"in24", SampleCoding::signedInt, ByteOrder::big, 24},
    PlainType{"in32", SampleCoding::signedInt, ByteOrder::big, 32},
    PlainType{"42ni", SampleCoding::signedInt, ByteOrder::little, 24},
    PlainType{"23ni", SampleCoding::signedInt, ByteOrder::little, 32},
    PlainType{"raw ", SampleCoding::unsignedInt, ByteOrder::big, 8},
    PlainType{"fl32", SampleCoding::floating, ByteOrder::big, 32},
    PlainType{"FL32", SampleCoding::floating, ByteOrder::big, 32},
    PlainType{"fl64", SampleCoding::floating, ByteOrder::big, 64},
    PlainType{"FL64", SampleCoding::floating, ByteOrder::big, 64},
    PlainType{"alaw", SampleCoding::aLaw, ByteOrder::big, 8},
    PlainType{"ALAW", SampleCoding::aLaw, ByteOrder::big, 8},
    PlainType{"ulaw", SampleCoding::muLaw, ByteOrder::big, 8},
    PlainType{"ULAW", SampleCoding::muLaw, ByteOrder::big, 8},
};

/// An 80-bit extended number (IEEE 754, explicit leading bit) as whole Hz; 0 for what is no rate at all.
std::uint64_t rateFromExtended(std::uint32_t signAndExponent, std::uint64_t mantissa)
{
    const int exponent = static_cast<int>(signAndExponent & 0x7FFF) - 16383 - 63;
    const double hz = std::round(std::ldexp(static_cast<double>(mantissa), exponent));
    const bool negative = (signAndExponent & 0x8000) != 0;
    return negative || !(hz < 1e15) ? 0 : static_cast<std::uint64_t>(hz);
}

void applyType(std::string_view id, PcmHeader& header)
{
    for (const PlainType& type : kPlainTypes) {
        if (type.id != id) continue;
        header.coding = type.coding;
        header.order = type.order;
        if (type.bits > 0) header.validBits = static_cast<int>(type.bits);
        header.sampleBytes = (static_cast<std::uint32_t>(header.validBits) + 7) / 8;
        return;
    }
}

/// The "COMM" chunk. `frames` is what it declares.
bool readCommon(ByteSource& source, const Chunk& chunk, PcmHeader& header, std::uint64_t& frames, std::string& error)
{
    FieldReader fields(source, chunk.dataOffset, ByteOrder::big);
    header.channels = fields.u16();
    frames = fields.u32();
    header.validBits = static_cast<int>(fields.u16());
    const std::uint32_t exponent = fields.u16();
    const std::uint64_t rate = rateFromExtended(exponent, fields.number(8));
    std::string type = "NONE";
    if (header.kind == AudioKind::aifc && chunk.size >= 22)
        for (char& c : type) c = static_cast<char>(fields.number(1));
    if (!fields.complete() || chunk.size < 18) {
        error = "the header is cut short";
        return false;
    }
    if (!plausibleFormat(header.channels, rate, error)) return false;
    header.sampleRate = static_cast<std::uint32_t>(rate);
    applyType(type, header);
    return true;
}

/// Whether a program wrote the chunk to a stream and nobody came back for its size: sox leaves as many whole frames as
/// go into 0x7F000000 bytes.
bool isStreamed(const ByteSource& source, const Chunk& chunk)
{
    constexpr std::uint64_t kStreamedSize = 0x7F000000 + 8, kLargestFrame = 512;
    return chunk.size <= kStreamedSize && chunk.size + kLargestFrame > kStreamedSize &&
           chunk.dataOffset + chunk.size > source.size();
}

/// The "SSND" chunk: offset and block size come before the samples. Size 0 is what a stream leaves behind.
void readSound(ByteSource& source, const Chunk& chunk, PcmHeader& header)
{
    const std::uint64_t offset = numberAt(source, chunk.dataOffset, 4, ByteOrder::big).value_or(0);
    header.dataOffset = chunk.dataOffset + 8 + offset;
    if (chunk.size > 0) header.declaredBytes = chunk.size > 8 + offset ? chunk.size - 8 - offset : 0;
}

} // namespace

std::optional<PcmHeader> parseAiffHeader(ByteSource& source, AudioKind kind, std::string& error)
{
    std::optional<Chunk> common, sound;
    std::uint64_t at = 12;
    for (int i = 0; i < kMaxChunks && !(common && sound); ++i) {
        const auto chunk = chunkAt(source, at, kLayout);
        if (!chunk) break;
        if (chunk->id == "COMM" && !common) common = chunk;
        if (chunk->id == "SSND" && !sound) sound = chunk;
        at = nextChunk(source, *chunk, kLayout);
    }
    if (!common || !sound) {
        error = common ? "the file has no sound data" : "the file has no format description";
        return {};
    }
    PcmHeader header;
    header.kind = kind;
    header.order = ByteOrder::big;
    std::uint64_t frames = 0;
    if (!readCommon(source, *common, header, frames, error)) return {};
    const bool streamed = isStreamed(source, *sound);
    if (streamed) sound->size = 0;
    readSound(source, *sound, header);
    if (frames > 0 && !streamed) header.declaredFrames = frames; // otherwise the sound chunk's size tells
    return header;
}

} // namespace tesk
