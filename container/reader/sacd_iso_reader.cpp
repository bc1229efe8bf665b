#include "container/reader/sacd_iso_reader.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace tesk {
namespace {

constexpr std::uint32_t kRawRun = 64; // sectors

struct Flavour {
    std::uint32_t sectorBytes, leadBytes;
};
constexpr Flavour kFlavours[] = {{2064, 12}, {2054, 6}, {2048, 0}};

} // namespace

bool sacd_iso_reader::detectFlavour()
{
    for (const std::uint32_t lsn : kSacdMasterLsn)
        for (const Flavour& flavour : kFlavours) {
            char signature[8];
            const std::uint64_t at = std::uint64_t{lsn} * flavour.sectorBytes + flavour.leadBytes;
            if (image_->readAt(at, signature, sizeof signature) != sizeof signature) continue;
            if (std::memcmp(signature, "SACDMTOC", sizeof signature) != 0) continue;
            sectorBytes_ = flavour.sectorBytes;
            leadBytes_ = flavour.leadBytes;
            return true;
        }
    return false;
}

std::uint32_t sacd_iso_reader::sectorCount() const
{
    const std::uint64_t first = leadBytes_ + kSacdSectorBytes, size = image_->size();
    if (size < first) return 0;
    return static_cast<std::uint32_t>(
        std::min<std::uint64_t>((size - first) / sectorBytes_ + 1, std::numeric_limits<std::uint32_t>::max()));
}

std::uint32_t sacd_iso_reader::readSectors(std::uint32_t lsn, std::uint32_t count, std::uint8_t* to)
{
    const std::uint32_t there = sectorCount();
    count = lsn < there ? std::min(count, there - lsn) : 0;
    if (sectorBytes_ == kSacdSectorBytes)
        return static_cast<std::uint32_t>(
            image_->readAt(std::uint64_t{lsn} * kSacdSectorBytes, to, std::size_t{count} * kSacdSectorBytes) /
            kSacdSectorBytes);
    for (std::uint32_t done = 0; done < count;) {
        const std::uint32_t run = std::min(count - done, kRawRun);
        raw_.resize(std::size_t{kRawRun} * sectorBytes_);
        // Without what stands in front of the first and behind the last: an image may be cut there.
        const std::size_t wanted = std::size_t{run - 1} * sectorBytes_ + kSacdSectorBytes;
        const std::size_t got =
            image_->readAt(std::uint64_t{lsn + done} * sectorBytes_ + leadBytes_, raw_.data(), wanted);
        for (std::uint32_t i = 0; i < run; ++i, ++done) {
            if (std::size_t{i} * sectorBytes_ + kSacdSectorBytes > got) return done;
            std::memcpy(to + std::size_t{done} * kSacdSectorBytes, raw_.data() + std::size_t{i} * sectorBytes_,
                        kSacdSectorBytes);
        }
    }
    return count;
}

} // namespace tesk
