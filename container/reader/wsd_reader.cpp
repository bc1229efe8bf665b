#include "container/reader/wsd_reader.h"

#include "input/chunk_walker.h"

#include <algorithm>

namespace tesk {
namespace {

constexpr std::uint32_t kLeastOffset = 0x80; // the header's fields end there
constexpr std::uint32_t kMostChannels = 8;
constexpr std::uint32_t kHighestRate = 49152000; // Hz
constexpr std::uint32_t kBlocksPerSecond = 75;

struct Header {
    bool magic = false, complete = false;
    std::uint32_t version = 0, soundOffset = 0, rate = 0, channels = 0;
};

Header readHeader(ByteSource& file)
{
    Header h;
    FieldReader fields(file, 0, ByteOrder::big);
    h.magic = fields.u32() == 0x31626974; // "1bit"
    fields.skip(4);                       // reserved
    h.version = fields.u32() >> 24;
    fields.skip(8 + 4); // size of the file, offset of the text
    h.soundOffset = fields.u32();
    fields.skip(4 + 4); // reserved, playback time
    h.rate = fields.u32();
    fields.skip(4);
    h.channels = fields.u32() >> 24 & 15;
    h.complete = fields.complete();
    return h;
}

std::string whyUnreadable(const Header& h, std::uint64_t fileBytes)
{
    if (!h.magic) return "not a WSD file";
    if (!h.complete || fileBytes < kLeastOffset) return "the header is cut short";
    if (h.version != 0x10 && h.version != 0x11)
        return format("version 0x%02X cannot be read: 1.0 and 1.1 can", h.version);
    if (h.channels < 1 || h.channels > kMostChannels)
        return format("%u channels cannot be read: 1 to %u can", h.channels, kMostChannels);
    if (h.rate < 1 || h.rate > kHighestRate)
        return format("a sampling frequency of %u Hz cannot be read: 1 to %u can", h.rate, kHighestRate);
    if (h.soundOffset < kLeastOffset) return "the header is damaged: the sound cannot begin within it";
    return {};
}

} // namespace

std::unique_ptr<WsdReader> WsdReader::open(std::unique_ptr<ByteSource> file, Reporter& report)
{
    const Header h = readHeader(*file);
    const std::uint64_t fileBytes = file->size();
    if (const std::string why = whyUnreadable(h, fileBytes); !why.empty()) {
        report.error("WsdReader: %s\n", why.c_str());
        return nullptr;
    }
    DsdSource source;
    source.channels = h.channels;
    source.dsdRate = h.rate;
    source.blockBytes = std::max(h.rate / 8 / kBlocksPerSecond, 1U);
    source.samples = fileBytes > h.soundOffset ? (fileBytes - h.soundOffset) / h.channels * 8 : 0;
    return std::unique_ptr<WsdReader>(new WsdReader(std::move(file), h.soundOffset, source, report));
}

} // namespace tesk
