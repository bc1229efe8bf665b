#include "container/reader/dsf_reader.h"

#include "container/reader/dsd_limits.h"
#include "container/reader/early_end.h"
#include "input/chunk_walker.h"

#include <algorithm>
#include <cstring>

namespace tesk {
namespace {

constexpr std::uint64_t kChunkHead = 12; // ID and size; the size counts them
constexpr std::uint64_t kFmtBytes = 52;
constexpr std::uint32_t kLargestBlock = 1 << 20;
constexpr std::uint32_t kConversionBytes = 4096; // per channel

struct Head {
    std::string id;
    std::uint64_t size = 0;
};

std::optional<Head> headAt(ByteSource& file, std::uint64_t offset)
{
    char id[4];
    const auto size = numberAt(file, offset + 4, 8, ByteOrder::little);
    if (!size || file.readAt(offset, id, sizeof id) < sizeof id) return {};
    return Head{std::string(id, sizeof id), *size};
}

/// Whole blocks of every channel, and of a group that breaks off what its last channel still has.
std::uint64_t bytesPerChannel(std::uint64_t dataBytes, std::uint32_t channels, std::uint64_t block)
{
    const std::uint64_t group = channels * block, before = group - block;
    const std::uint64_t rest = dataBytes % group;
    return dataBytes / group * block + (rest > before ? rest - before : 0);
}

} // namespace

std::unique_ptr<DsfReader> DsfReader::open(std::unique_ptr<ByteSource> file, Reporter& report)
{
    std::unique_ptr<DsfReader> reader(new DsfReader(std::move(file), report));
    return reader->findData() ? std::move(reader) : nullptr;
}

bool DsfReader::refuse(const char* why)
{
    report_.error("DsfReader: %s\n", why);
    return false;
}

/// Chunks are taken by their sizes, wherever they stand. The tag's position means nothing here.
bool DsfReader::findData()
{
    std::uint64_t at = 0;
    for (int i = 0; i < kMaxChunks; ++i) {
        const auto head = headAt(*file_, at);
        if (i == 0 && (!head || head->id != "DSD ")) return refuse("not a DSF file");
        if (!head) break;
        if (head->id == "data") {
            if (source_.channels == 0) return refuse("the file has no \"fmt \" chunk before its sound");
            dataOffset_ = at + kChunkHead;
            measure(head->size);
            return true;
        }
        if (head->size < kChunkHead || head->size > file_->size() - at) break;
        if (head->id == "fmt " && !readFormat(at + kChunkHead, head->size)) return false;
        at += head->size;
    }
    return refuse("the file is damaged: it has no \"data\" chunk");
}

bool DsfReader::readFormat(std::uint64_t offset, std::uint64_t size)
{
    FieldReader fields(*file_, offset, ByteOrder::little);
    fields.skip(4); // format version
    const std::uint32_t formatId = fields.u32();
    fields.skip(4); // channel type
    const std::uint32_t channels = fields.u32(), rate = fields.u32(), bits = fields.u32();
    sampleCount_ = fields.number(8);
    const std::uint32_t block = fields.u32();
    if (size < kFmtBytes || !fields.complete()) return refuse("the \"fmt \" chunk is cut short");
    if (formatId != 0) return refuse("only raw DSD can be read");
    if (channels < 1 || channels > kMostDsdChannels)
        return refuse(format("%u channels cannot be read: 1 to %u can", channels, kMostDsdChannels).c_str());
    if (!isDsdRate(rate))
        return refuse(
            format("a sampling frequency of %u Hz cannot be read: %u to %u can", rate, kLowestDsdRate, kHighestDsdRate)
                .c_str());
    if (bits != 1 && bits != 8)
        return refuse(format("%u bits per sample mean nothing: 1 and 8 name the two bit orders", bits).c_str());
    if (block < 1 || block > kLargestBlock)
        return refuse(format("blocks of %u bytes cannot be read: 1 to %u can", block, kLargestBlock).c_str());
    source_.channels = channels;
    source_.dsdRate = rate;
    source_.blockBytes = kConversionBytes;
    source_.firstSampleInLowBit = bits == 1;
    blockBytes_ = block;
    return true;
}

/// How much sound there is, by the sample count, the chunk's size and the file's.
void DsfReader::measure(std::uint64_t dataSize)
{
    dataEnd_ = file_->size();
    if (dataSize >= kChunkHead) // else the writer never knew
        dataEnd_ = dataOffset_ + std::min(dataSize - kChunkHead, dataEnd_ - dataOffset_);
    const std::uint64_t there = 8 * bytesPerChannel(dataEnd_ - dataOffset_, source_.channels, blockBytes_);
    source_.samples = std::min(sampleCount_, there);
    if (sampleCount_ > there)
        alertEarlyEnd(report_, "DsfReader", "the file ends early", sampleCount_ - there, source_.dsdRate);
    if (sampleCount_ == 0 && there > 0) {
        report_.alert("DsfReader: the header counts no samples; all that is there is taken, with the padding\n");
        source_.samples = there;
    }
    bytes_ = source_.samples / 8 + (source_.samples % 8 != 0 ? 1 : 0);
}

std::size_t DsfReader::read(std::uint8_t* const* planar, std::size_t bytes)
{
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(bytes, bytes_ - at_));
    std::size_t done = 0;
    while (done < wanted) {
        const auto from = static_cast<std::size_t>(at_ % blockBytes_);
        if (from == 0) inGroup_ = loadGroup();
        if (inGroup_ <= from) { // the medium failed
            alertEarlyEnd(report_, "DsfReader", "the file cannot be read to its end", source_.samples - at_ * 8,
                          source_.dsdRate);
            bytes_ = at_;
            break;
        }
        const std::size_t count = std::min(wanted - done, inGroup_ - from);
        for (std::uint32_t c = 0; c < source_.channels; ++c)
            std::memcpy(planar[c] + done, group_.data() + c * blockBytes_ + from, count);
        at_ += count;
        done += count;
    }
    return done;
}

/// Reads the block group at the position. Returns how many bytes of every channel there are.
std::size_t DsfReader::loadGroup()
{
    const std::uint64_t groupBytes = std::uint64_t{source_.channels} * blockBytes_;
    const std::uint64_t offset = dataOffset_ + at_ / blockBytes_ * groupBytes;
    const auto wanted = static_cast<std::size_t>(std::min(groupBytes, dataEnd_ - offset));
    group_.resize(static_cast<std::size_t>(groupBytes));
    const std::size_t got = file_->readAt(offset, group_.data(), wanted);
    return static_cast<std::size_t>(bytesPerChannel(got, source_.channels, blockBytes_));
}

} // namespace tesk
