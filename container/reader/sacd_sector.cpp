#include "container/reader/sacd_sector.h"

#include <algorithm>

namespace tesk {

SacdSectorHeader readSectorHeader(const std::uint8_t* sector, unsigned frameInfoBytes)
{
    SacdSectorHeader header;
    header.packetCount = sector[0] >> 5;
    header.frameCount = sector[0] >> 2 & 7;
    const std::uint8_t* at = sector + 1;
    unsigned end = 1 + 2 * header.packetCount + frameInfoBytes * header.frameCount;
    for (unsigned i = 0; i < header.packetCount; ++i, at += 2) {
        SacdPacket& packet = header.packets[i];
        packet.startsFrame = at[0] >> 7 != 0;
        packet.type = at[0] >> 3 & 7;
        packet.length = static_cast<std::uint16_t>((at[0] & 7) << 8 | at[1]);
        packet.offset = static_cast<std::uint16_t>(end);
        end += packet.length;
    }
    for (unsigned i = 0; i < header.frameCount; ++i, at += frameInfoBytes) {
        const int sectors = frameInfoBytes > 3 ? at[3] >> 2 & 0x1F : 0;
        header.frames[i] = {at[0], at[1], at[2], static_cast<std::uint8_t>(sectors)};
    }
    header.end = end;
    if (end <= kSacdSectorBytes) {
        const bool silent = std::all_of(sector + end, sector + kSacdSectorBytes, [](std::uint8_t b) { return b == 0; });
        header.fit = end == kSacdSectorBytes ? SacdFit::exact : silent ? SacdFit::partial : SacdFit::none;
    }
    return header;
}

} // namespace tesk
