#include "input/tta_reader.h"

#include "engine/base/reporter.h"
#include "input/audio_kind.h"
#include "input/crc32.h"

#include <algorithm>
#include <array>

namespace tesk {
namespace {

constexpr std::size_t kHeaderBytes = 22; // the last four are the checksum
constexpr std::size_t kCrcBytes = 4;

/// The "format" field of the header.
enum Format : std::uint32_t { kInteger = 1, kEncrypted = 2, kFloat = 3 };

std::uint32_t littleEndian(const std::uint8_t* bytes, int width)
{
    std::uint32_t value = 0;
    for (int i = width; i-- > 0;) value = value << 8 | bytes[i];
    return value;
}

/// Whether the last four bytes are the checksum of those before them.
bool crcHolds(std::span<const std::uint8_t> bytes)
{
    const std::size_t body = bytes.size() - kCrcBytes;
    return crc32(bytes.first(body)) == littleEndian(bytes.data() + body, 4);
}

/// Why this version cannot decode what the header describes; empty when it can.
std::string whyUnsupported(std::uint32_t format, std::uint32_t channels, std::uint32_t bits, std::uint32_t rate)
{
    if (format == kEncrypted) return "the TTA file is encrypted with a password";
    if (format == kFloat) return "the TTA file holds floating-point samples; only integers can be read";
    if (format != kInteger) return tesk::format("TTA format %u is unknown", format);
    if (channels < 1 || channels > kTtaMaxChannels)
        return tesk::format("TTA with %u channels cannot be read: 1 to %u can", channels, kTtaMaxChannels);
    if (bits != 8 && bits != 16 && bits != 24)
        return tesk::format("TTA with %u bits per sample cannot be read: 8, 16 and 24 can", bits);
    if (rate == 0) return "the TTA header gives a sample rate of 0";
    return {};
}

} // namespace

Status TtaReader::open(const std::string& path)
{
    auto source = FileSource::open(path, error_);
    if (!source) return DSD_ERROR_INPUT;
    return open(std::move(source));
}

Status TtaReader::open(std::unique_ptr<ByteSource> source)
{
    source_ = std::move(source);
    if (audioKind(*source_) != AudioKind::tta) return fail("not TTA");
    const std::uint64_t at = skipId3v2(*source_);
    if (Status status = readHeader(at); !status) return status;
    if (Status status = readSeekTable(at + kHeaderBytes); !status) return status;
    countStoredFrames();
    block_ = std::make_unique<TtaBlock>(info_.channels, info_.bitsPerSample, ttaFilterFor(platform::cpuFeatures()));
    return {};
}

/// "TTA1", format, channels, bits per sample (16 bits each), rate, frames (32 bits each), checksum; little-endian.
Status TtaReader::readHeader(std::uint64_t at)
{
    std::array<std::uint8_t, kHeaderBytes> header;
    if (source_->readAt(at, header.data(), header.size()) < header.size()) return fail("the TTA header is cut short");
    if (header[3] != '1') return fail("only the first version of TTA can be read");
    if (!crcHolds(header)) return fail("the TTA header is damaged: checksum mismatch");
    const std::uint32_t format = littleEndian(&header[4], 2);
    info_.format = audioKindName(AudioKind::tta);
    info_.channels = littleEndian(&header[6], 2);
    info_.bitsPerSample = static_cast<int>(littleEndian(&header[8], 2));
    info_.sampleRate = littleEndian(&header[10], 4);
    info_.declaredFrames = total_ = littleEndian(&header[14], 4);
    blockFrames_ = std::uint64_t{256} * info_.sampleRate / 245;
    const std::string why =
        whyUnsupported(format, info_.channels, static_cast<std::uint32_t>(info_.bitsPerSample), info_.sampleRate);
    return why.empty() ? Status() : fail(why);
}

/// Bytes of each block, its checksum included, 32 bits each; then the checksum of the table.
Status TtaReader::readSeekTable(std::uint64_t at)
{
    const std::uint64_t blocks = (total_ + blockFrames_ - 1) / blockFrames_;
    if (blocks == 0) return {};
    const std::uint64_t bytes = blocks * 4 + kCrcBytes;
    if (bytes > source_->size() - at) return fail("the TTA seek table is cut short");
    std::vector<std::uint8_t> table(static_cast<std::size_t>(bytes));
    if (source_->readAt(at, table.data(), table.size()) < table.size()) return fail("the TTA seek table is cut short");
    blockStart_.assign(1, at + bytes);
    blockStart_.reserve(static_cast<std::size_t>(blocks) + 1);
    for (std::uint64_t b = 0; b < blocks; ++b)
        blockStart_.push_back(blockStart_.back() + littleEndian(&table[static_cast<std::size_t>(b) * 4], 4));
    if (crcHolds(table)) return {};
    for (std::uint64_t b = 0; b < blocks; ++b)
        if (!isPossible(b)) return fail("the TTA seek table is damaged: checksum mismatch");
    warnings_.push_back("the checksum of the TTA seek table does not match; its sizes were used");
    return {};
}

/// What can be decoded before the first block that the file has no room for, and the largest of those blocks.
void TtaReader::countStoredFrames()
{
    std::uint64_t stored = 0, largest = 0;
    for (std::uint64_t b = 0; b < blockCount() && isPossible(b); ++b) {
        stored += framesIn(b);
        largest = std::max(largest, blockStart_[b + 1] - blockStart_[b]);
    }
    info_.storedFrames = stored;
    bytes_.reserve(static_cast<std::size_t>(largest) + kTtaPadding);
}

std::uint64_t TtaReader::framesIn(std::uint64_t block) const
{
    return std::min(blockFrames_, total_ - block * blockFrames_);
}

/// No sample takes less than one bit.
std::uint64_t TtaReader::leastBytes(std::uint64_t block) const
{
    return (framesIn(block) * info_.channels + 7) / 8 + kCrcBytes;
}

bool TtaReader::isPossible(std::uint64_t block) const
{
    return blockStart_[block + 1] <= source_->size() &&
           blockStart_[block + 1] - blockStart_[block] >= leastBytes(block);
}

Result<std::size_t, PDM_ENCODING_STATUS> TtaReader::read(double* const* planar, std::size_t frames)
{
    if (lost_) return DSD_ERROR_INPUT;
    std::size_t done = 0;
    while (done < frames && position_ < total_) {
        if (left_ == 0 && !beginBlock(position_ / blockFrames_)) return DSD_ERROR_INPUT;
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(frames - done, left_));
        if (!decode(planar, done, count)) return DSD_ERROR_INPUT;
        done += count;
    }
    return done;
}

Status TtaReader::seek(std::uint64_t frame)
{
    lost_ = false;
    left_ = 0;
    if (frame <= total_) {
        const std::uint64_t block = frame / blockFrames_;
        position_ = std::min(block * blockFrames_, total_);
        const auto inside = static_cast<std::size_t>(frame - position_);
        if (inside == 0 || (beginBlock(block) && decode(nullptr, 0, inside))) return {};
    }
    lost_ = true;
    return fail("TTA set_position failed");
}

/// Reads and checks the block that starts at the position. False with `error_` set when it is not to be trusted.
bool TtaReader::beginBlock(std::uint64_t block)
{
    const std::uint64_t at = blockStart_[block];
    if (blockStart_[block + 1] > source_->size()) return lose(block, "the file is cut short");
    if (!isPossible(block)) return lose(block, "its size in the seek table is too small");
    const auto size = static_cast<std::size_t>(blockStart_[block + 1] - at);
    bytes_.resize(size + kTtaPadding);
    if (source_->readAt(at, bytes_.data(), size) < size) return lose(block, "the file cannot be read");
    const std::span<const std::uint8_t> bytes(bytes_.data(), size);
    if (!crcHolds(bytes)) return lose(block, "checksum mismatch");
    std::fill(bytes_.begin() + static_cast<std::ptrdiff_t>(size - kCrcBytes), bytes_.end(), std::uint8_t{0});
    block_->begin(bytes.first(size - kCrcBytes));
    left_ = framesIn(block);
    return true;
}

/// The next `frames` frames of the current block.
bool TtaReader::decode(double* const* planar, std::size_t from, std::size_t frames)
{
    const std::uint64_t block = position_ / blockFrames_;
    if (const auto why = block_->decode(planar, from, frames); !why.empty()) return lose(block, why);
    position_ += frames;
    left_ -= frames;
    if (left_ == 0 && block_->unusedBytes() > 0 && !toldSurplus_) {
        toldSurplus_ = true;
        warnings_.push_back(format("TTA frame %llu is %zu bytes longer than its samples need",
                                   static_cast<unsigned long long>(block), block_->unusedBytes()));
    }
    return true;
}

bool TtaReader::lose(std::uint64_t block, std::string_view why)
{
    lost_ = true;
    left_ = 0;
    fail(format("TTA decoding failed at frame %llu (sample %llu of %llu): %.*s", static_cast<unsigned long long>(block),
                static_cast<unsigned long long>(block) * blockFrames_, static_cast<unsigned long long>(total_),
                static_cast<int>(why.size()), why.data()));
    return false;
}

} // namespace tesk
