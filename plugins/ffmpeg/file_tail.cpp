#include "plugins/ffmpeg/file_tail.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <string_view>
#include <vector>

namespace tesk {
namespace {

constexpr std::size_t kHeaderBytes = 27;
constexpr std::size_t kLongestPage = 65307;
constexpr std::size_t kFlags = 5, kChecksum = 22, kSegments = 26; // places in the header
constexpr std::uint8_t kLastPage = 4;
constexpr std::int64_t kId3Bytes = 128, kApeBytes = 32; // an ID3v1 tag; header or footer of an APE tag

std::uint32_t word(const std::uint8_t* at)
{
    return at[0] | at[1] << 8u | at[2] << 16u | static_cast<std::uint32_t>(at[3]) << 24u;
}

/// Up to `bytes` bytes in front of `end`; empty when they cannot be read.
std::vector<std::uint8_t> bytesBefore(AVIOContext& file, std::int64_t end, std::size_t bytes)
{
    const std::int64_t start = std::max<std::int64_t>(0, end - static_cast<std::int64_t>(bytes));
    std::vector<std::uint8_t> read(static_cast<std::size_t>(std::max<std::int64_t>(0, end - start)));
    const int count = static_cast<int>(read.size());
    if (avio_seek(&file, start, SEEK_SET) < 0 || avio_read(&file, read.data(), count) != count) read.clear();
    return read;
}

/// CRC-32 with the polynomial 0x04C11DB7, high bit first, its own field counted as zero.
std::uint32_t pageChecksum(const std::uint8_t* page, std::size_t bytes)
{
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
        const bool own = i >= kChecksum && i < kChecksum + 4;
        sum ^= own ? 0 : static_cast<std::uint32_t>(page[i]) << 24;
        for (int bit = 0; bit < 8; ++bit) sum = (sum << 1) ^ ((sum >> 31) != 0 ? 0x04C11DB7u : 0u);
    }
    return sum;
}

bool isWholeLastPage(const std::uint8_t* page, std::size_t room)
{
    if (room < kHeaderBytes || room < kHeaderBytes + page[kSegments]) return false;
    const std::uint8_t* body = page + kHeaderBytes + page[kSegments];
    const auto bytes = static_cast<std::size_t>(std::accumulate(page + kHeaderBytes, body, body - page));
    const std::uint8_t* stored = page + kChecksum;
    return bytes <= room && (page[kFlags] & kLastPage) != 0 &&
           pageChecksum(page, bytes) ==
               (stored[0] | stored[1] << 8u | stored[2] << 16u | static_cast<std::uint32_t>(stored[3]) << 24u);
}

} // namespace

bool oggEndsWhole(AVIOContext& file)
{
    const std::vector<std::uint8_t> tail = bytesBefore(file, avio_size(&file), kLongestPage);
    const std::string_view text(reinterpret_cast<const char*>(tail.data()), tail.size());
    const std::size_t page = text.rfind("OggS");
    return page != text.npos && isWholeLastPage(tail.data() + page, tail.size() - page);
}

std::int64_t tagsStart(AVIOContext& file)
{
    const std::int64_t position = avio_tell(&file);
    std::int64_t end = avio_size(&file);
    const auto id3 = bytesBefore(file, end, kId3Bytes);
    if (id3.size() == kId3Bytes && std::memcmp(id3.data(), "TAG", 3) == 0) end -= kId3Bytes;
    const auto apeBytes = [&file](std::int64_t place) { // header and footer look alike
        const auto bytes = bytesBefore(file, place, kApeBytes);
        return bytes.size() == kApeBytes && std::memcmp(bytes.data(), "APETAGEX", 8) == 0 ? word(&bytes[12]) : 0;
    };
    if (const std::uint32_t bytes = apeBytes(end); bytes > 0) {
        end = std::max<std::int64_t>(0, end - bytes);
        if (apeBytes(end) > 0) end -= kApeBytes;
    }
    avio_seek(&file, position, SEEK_SET);
    return end;
}

} // namespace tesk
