// Any damage to a small disc image: a reader that refuses says why, and one that plays never gives more than it
// promised.
#include "container/reader/sacd_reader.h"
#include "tests/reader/sacd_image.h"

#include <cstdlib>

namespace {

void demand(bool condition)
{
    if (!condition) std::abort();
}

/// @param kind  bit 0 DST-coded, bit 1 three frames in 16 sectors, bits 2 and 3 the padding, bit 4 2064-byte sectors
tesk::disc::Image makeImage(unsigned kind)
{
    tesk::disc::Area area;
    area.format = kind & 1 ? 0 : kind & 2 ? 3 : 2;
    area.rest = static_cast<tesk::disc::Area::Rest>((kind >> 2 & 3) % 3);
    for (unsigned f = 0; f < 6; ++f) {
        area.frames.emplace_back(9408 + (kind & 1), std::uint8_t(0x69 + f));
        if (kind & 1) area.frames.back()[0] = 0; // stored
    }
    area.tracks = {{.start = 0, .frames = 3, .title = "a", .performer = "b"}, {.start = 4, .frames = 2, .title = "c"}};
    tesk::disc::Image image{.areas = {area}, .discTitle = "d", .sectorBytes = kind & 16 ? 2064 : 2048};
    tesk::disc::build(image);
    return image;
}

void readTrack(tesk::SACDReader& reader, unsigned track)
{
    if (!reader.selectTrack(track)) return;
    const std::uint32_t channels = reader.source().channels;
    std::vector<std::uint8_t> sound(std::size_t{channels} * 10000);
    std::vector<std::uint8_t*> planar;
    for (std::uint32_t c = 0; c < channels; ++c) planar.push_back(sound.data() + std::size_t{c} * 10000);
    std::uint64_t total = 0;
    for (std::size_t got = 1; got > 0; total += got) got = reader.read(planar.data(), 10000);
    demand(total <= reader.source().samples / 8);
}

} // namespace

/// The first byte chooses the image, the next one how many sectors are cut off; then patches of five bytes: sector
/// behind 510 and offset, two bytes each, and a value.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2) return 0;
    tesk::disc::Image image = makeImage(data[0]);
    for (std::size_t at = 2; at + 5 <= size; at += 5) {
        const std::size_t sector = 510 + (data[at] << 8 | data[at + 1]) % (image.sectors.size() - 510);
        image.sectors[sector][std::size_t(data[at + 2] << 8 | data[at + 3]) % 2048] = data[at + 4];
    }
    image.sectors.resize(image.sectors.size() - data[1] % 128);
    const tesk::disc::Bytes file = tesk::disc::fileOf(image);
    tesk::CollectingReporter report;
    const auto reader = tesk::SACDReader::open(std::make_unique<tesk::MemorySource>(file), {}, report);
    demand(reader || !report.text.empty());
    for (unsigned track = 0; reader && track < 3; ++track) readTrack(*reader, track);
    if (reader) reader->reportProblems("fuzz");
    return 0;
}
