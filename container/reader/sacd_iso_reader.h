// Logical sectors of a disc image, whatever stands around them in the file.
#pragma once

#include "input/byte_source.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace tesk {

inline constexpr std::uint32_t kSacdSectorBytes = 2048;

/// Where the copies of the master table of contents begin.
inline constexpr std::uint32_t kSacdMasterLsn[3] = {510, 520, 530};

/// An image holds 2048 bytes a sector, or these within 2054 (6 in front) or 2064 (12 in front, 4 behind).
class sacd_iso_reader {
public:
    explicit sacd_iso_reader(std::unique_ptr<ByteSource> image) : image_(std::move(image)) {}

    /// Tells the flavour by the signature of the master table of contents, any copy of it.
    /// False when the file has none.
    bool detectFlavour();

    /// 2048, 2054 or 2064 bytes
    std::uint32_t flavour() const { return sectorBytes_; }

    /// Sectors whose 2048 bytes are all there.
    std::uint32_t sectorCount() const;

    bool readSector(std::uint32_t lsn, std::uint8_t* to2048) { return readSectors(lsn, 1, to2048) == 1; }

    /// Reads a run, in one go as far as the flavour lets it.
    /// @param to  [count · 2048]
    /// @return    how many came: fewer at the end of the image, or when the medium fails
    std::uint32_t readSectors(std::uint32_t lsn, std::uint32_t count, std::uint8_t* to);

private:
    std::unique_ptr<ByteSource> image_;
    std::uint32_t sectorBytes_ = kSacdSectorBytes, leadBytes_ = 0;
    std::vector<std::uint8_t> raw_; // a run of sectors as the file has them
};

} // namespace tesk
