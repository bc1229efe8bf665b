#include "tools/dsf_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace tesk::measure {
namespace {

constexpr std::uint64_t kHeaderBytes = 92;

std::uint64_t number(const unsigned char* bytes, int width)
{
    std::uint64_t value = 0;
    for (int i = width - 1; i >= 0; --i) value = value << 8 | bytes[i];
    return value;
}

} // namespace

std::string DsfFile::open(const std::string& path)
{
    file_.reset(platform::open_utf8(path.c_str(), "rb"));
    if (!file_) return platform::errorText(errno);
    unsigned char h[kHeaderBytes];
    if (std::fread(h, 1, sizeof h, file_.get()) != sizeof h) return "shorter than a DSF header";
    const bool tags = !std::memcmp(h, "DSD ", 4) && !std::memcmp(h + 28, "fmt ", 4) && !std::memcmp(h + 80, "data", 4);
    if (!tags || number(h + 32, 8) != 52) return "no DSF header of 92 bytes";
    channels_ = static_cast<unsigned>(number(h + 52, 4));
    rate_ = static_cast<unsigned>(number(h + 56, 4));
    const auto bits = number(h + 60, 4);
    blockBytes_ = static_cast<unsigned>(number(h + 72, 4));
    if (number(h + 44, 4) != 0 || channels_ < 1 || channels_ > 8 || rate_ == 0 || blockBytes_ == 0)
        return "not raw DSD, or impossible values in the header";
    if (bits != 1 && bits != 8) return "neither 1 nor 8 bits per sample";
    lowBitFirst_ = bits == 1;

    const std::uint64_t group = std::uint64_t{blockBytes_} * channels_;
    const std::uint64_t present = platform::fileSize(path).value_or(kHeaderBytes) - kHeaderBytes;
    const std::uint64_t announced = std::max<std::uint64_t>(number(h + 84, 8), 12) - 12;
    const std::uint64_t whole = std::min(present, announced) / group * blockBytes_ * 8;
    samples_ = std::min(number(h + 64, 8), whole);
    return {};
}

std::vector<double> DsfFile::read(unsigned channel, std::uint64_t first, std::uint64_t count)
{
    std::vector<double> out;
    const std::uint64_t end = std::min(samples_, first + count);
    if (channel >= channels_ || first >= end) return out;
    out.reserve(end - first);
    const std::uint64_t blockSamples = std::uint64_t{blockBytes_} * 8;
    std::vector<unsigned char> block(blockBytes_);
    while (first < end) {
        const std::uint64_t group = first / blockSamples;
        const auto at = kHeaderBytes + (group * channels_ + channel) * blockBytes_;
        if (!platform::seek64(file_.get(), static_cast<std::int64_t>(at), SEEK_SET)) break;
        if (std::fread(block.data(), 1, block.size(), file_.get()) != block.size()) break;
        for (const std::uint64_t stop = std::min(end, (group + 1) * blockSamples); first < stop; ++first) {
            const std::uint64_t i = first % blockSamples;
            const unsigned bit = lowBitFirst_ ? i % 8 : 7 - i % 8;
            out.push_back(block[i / 8] >> bit & 1 ? 1.0 : -1.0);
        }
    }
    return out;
}

} // namespace tesk::measure
