#include "tools/pcm_file.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstring>

namespace tesk::measure {
namespace {

std::uint64_t little(const unsigned char* bytes, unsigned width)
{
    std::uint64_t value = 0;
    for (unsigned i = 0; i < width; ++i) value |= std::uint64_t{bytes[i]} << (8 * i);
    return value;
}

} // namespace

std::string PcmFile::open(const std::string& path)
{
    file_.reset(platform::open_utf8(path.c_str(), "rb"));
    if (!file_) return platform::errorText(errno);
    unsigned char head[40];
    if (std::fread(head, 1, 12, file_.get()) != 12 || std::memcmp(head + 8, "WAVE", 4) != 0) return "no WAV file";
    std::int64_t at = 12;
    for (;;) {
        if (!platform::seek64(file_.get(), at, SEEK_SET) || std::fread(head, 1, 8, file_.get()) != 8)
            return "no samples in it";
        const std::uint64_t size = little(head + 4, 4);
        if (std::memcmp(head, "data", 4) == 0) break;
        if (std::memcmp(head, "fmt ", 4) == 0) {
            if (std::fread(head, 1, 16, file_.get()) != 16) return "its format is cut off";
            isFloat_ = little(head, 2) == 3;
            channels_ = static_cast<unsigned>(little(head + 2, 2));
            rate_ = static_cast<unsigned>(little(head + 4, 4));
            sampleBytes_ = static_cast<unsigned>(little(head + 14, 2)) / 8;
        }
        at += 8 + static_cast<std::int64_t>(size + size % 2);
    }
    const bool known = isFloat_ ? sampleBytes_ == 4 || sampleBytes_ == 8 : sampleBytes_ >= 2 && sampleBytes_ <= 4;
    if (!known || channels_ == 0 || rate_ == 0) return "a format that this tool does not read";
    data_ = at + 8;
    const std::uint64_t declared = little(head + 4, 4); // all ones where "ds64" has the size
    const auto there = platform::fileSize(path).value_or(0) - static_cast<std::uint64_t>(data_);
    samples_ = (declared == 0xFFFFFFFF ? there : std::min(declared, there)) / (channels_ * sampleBytes_);
    return {};
}

double PcmFile::decode(const unsigned char* bytes) const
{
    const std::uint64_t bits = little(bytes, sampleBytes_);
    if (isFloat_)
        return sampleBytes_ == 4 ? static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)))
                                 : std::bit_cast<double>(bits);
    if (sampleBytes_ == 0) return 0.0;
    const unsigned shift = 64 - 8 * sampleBytes_;
    const auto value = static_cast<std::int64_t>(bits << shift) >> shift;
    return static_cast<double>(value) / (std::ldexp(1.0, static_cast<int>(8 * sampleBytes_) - 1) - 1);
}

std::vector<double> PcmFile::read(unsigned channel, std::uint64_t first, std::uint64_t count)
{
    std::vector<double> samples;
    const std::size_t frame = std::size_t{channels_} * sampleBytes_;
    if (!platform::seek64(file_.get(), data_ + static_cast<std::int64_t>(first * frame), SEEK_SET)) return samples;
    std::vector<unsigned char> bytes(frame);
    samples.reserve(count);
    while (samples.size() < count && std::fread(bytes.data(), 1, frame, file_.get()) == frame)
        samples.push_back(decode(bytes.data() + std::size_t{channel} * sampleBytes_));
    return samples;
}

} // namespace tesk::measure
