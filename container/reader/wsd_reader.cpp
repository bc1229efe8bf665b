#include "container/reader/wsd_reader.h"

#include "container/reader/dsd_limits.h"
#include "container/reader/early_end.h"
#include "input/chunk_walker.h"

#include <algorithm>

namespace tesk {
namespace {

constexpr std::uint64_t kLargestFile = std::uint64_t{1} << 48; // more is no size but a placeholder
constexpr std::uint32_t kLeastOffset = 0x80;                   // the header's fields end there

struct Header {
    bool magic = false, complete = false;
    std::uint32_t version = 0, soundOffset = 0, rate = 0, channels = 0;
    std::uint64_t fileBytes = 0;
};

Header readHeader(ByteSource& file)
{
    Header h;
    FieldReader fields(file, 0, ByteOrder::big);
    h.magic = fields.u32() == 0x31626974; // "1bit"
    fields.skip(4);                       // reserved
    h.version = fields.u32() >> 24;
    h.fileBytes = fields.u32(); // the low half comes first
    h.fileBytes |= std::uint64_t{fields.u32()} << 32;
    fields.skip(4); // offset of the text
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
    if (h.channels < 1 || h.channels > kMostDsdChannels)
        return format("%u channels cannot be read: 1 to %u can", h.channels, kMostDsdChannels);
    if (!isDsdRate(h.rate))
        return format("a sampling frequency of %u Hz cannot be read: %u to %u can", h.rate, kLowestDsdRate,
                      kHighestDsdRate);
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
    source.blockBytes = dsdBlockBytes(h.rate);
    source.samples = fileBytes > h.soundOffset ? (fileBytes - h.soundOffset) / h.channels * 8 : 0;
    if (h.fileBytes > fileBytes && h.fileBytes <= kLargestFile)
        alertEarlyEnd(report, "WsdReader", "the file ends early", (h.fileBytes - fileBytes) / h.channels * 8, h.rate);
    return std::unique_ptr<WsdReader>(new WsdReader(std::move(file), h.soundOffset, source, report));
}

} // namespace tesk
