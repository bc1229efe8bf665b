#include "container/pcm/flac_blocks.h"

#include "container/id3_tag.h"
#include "container/pcm/image_facts.h"
#include "engine/base/utf8.h"

#include <algorithm>
#include <span>
#include <string>

namespace tesk {
namespace {

constexpr unsigned kPaddingBytes = 8192;
constexpr unsigned kSecondsPerPoint = 10;
constexpr std::uint64_t kMostPoints = 4096, kPointsWhenUnknown = 720;
constexpr std::size_t kPictureHead = 64; // fields and MIME type, at most, in a block of 24-bit length

void addComment(FLAC__StreamMetadata& block, const char* name, const std::optional<std::string>& value)
{
    if (!value || value->empty()) return;
    const std::string text = repairUtf8(value->substr(0, value->find('\0')));
    FLAC__StreamMetadata_VorbisComment_Entry entry{};
    if (FLAC__metadata_object_vorbiscomment_entry_from_name_value_pair(&entry, name, text.c_str()))
        FLAC__metadata_object_vorbiscomment_append_comment(&block, entry, /*copy=*/false);
}

FlacBlock comments(const MetadataRecord& m)
{
    FlacBlock block(FLAC__metadata_object_new(FLAC__METADATA_TYPE_VORBIS_COMMENT));
    if (!block) return block;
    addComment(*block, "TITLE", m.title);
    addComment(*block, "ARTIST", m.artist);
    addComment(*block, "ALBUM", m.album);
    addComment(*block, "GENRE", m.genre);
    addComment(*block, "DATE", m.date);
    addComment(*block, "WORK", m.work);
    addComment(*block, "COMMENT", m.comment);
    if (m.track) addComment(*block, "TRACKNUMBER", std::to_string(*m.track));
    addComment(*block, "ISRC", m.isrc);
    addComment(*block, "ENCODER", kEncoderText);
    return block;
}

FlacBlock picture(std::vector<std::uint8_t> image, const ImageFacts& facts)
{
    FlacBlock block(FLAC__metadata_object_new(FLAC__METADATA_TYPE_PICTURE));
    if (!block) return block;
    FLAC__StreamMetadata_Picture& p = block->data.picture;
    p.type = FLAC__STREAM_METADATA_PICTURE_TYPE_FRONT_COVER;
    p.width = facts.width;
    p.height = facts.height;
    p.depth = facts.depth;
    p.colors = facts.colors;
    std::string mime = facts.mime; // libFLAC takes it writable, and copies it
    if (!FLAC__metadata_object_picture_set_mime_type(block.get(), mime.data(), /*copy=*/true) ||
        !FLAC__metadata_object_picture_set_data(block.get(), image.data(), static_cast<FLAC__uint32>(image.size()),
                                                /*copy=*/true))
        return nullptr;
    return block;
}

void addCover(std::vector<FlacBlock>& blocks, const MetadataRecord& metadata, Reporter& report)
{
    std::vector<std::uint8_t> image = coverOf(metadata, report);
    if (image.empty()) return;
    const auto facts = imageFacts(image);
    if (!facts || image.size() + kPictureHead > kLargestCover) {
        report.alert("the cover %s; the FLAC file gets no picture\n",
                     facts ? "is larger than 16 MiB" : "is neither JPEG nor PNG");
        return;
    }
    blocks.push_back(picture(std::move(image), *facts));
}

} // namespace

std::vector<FlacBlock> flacBlocks(const MetadataRecord& metadata, Reporter& report)
{
    std::vector<FlacBlock> blocks;
    blocks.push_back(comments(metadata));
    addCover(blocks, metadata, report);
    blocks.emplace_back(FLAC__metadata_object_new(FLAC__METADATA_TYPE_PADDING));
    if (blocks.back()) blocks.back()->length = kPaddingBytes;
    return blocks;
}

FlacBlock seekTable(std::uint32_t sampleRate, std::uint64_t expectedFrames)
{
    FlacBlock block(FLAC__metadata_object_new(FLAC__METADATA_TYPE_SEEKTABLE));
    const std::uint64_t step = std::uint64_t{kSecondsPerPoint} * sampleRate;
    const std::uint64_t frames =
        std::min(expectedFrames ? expectedFrames : kPointsWhenUnknown * step, kMostPoints * step);
    if (!block || !FLAC__metadata_object_seektable_template_append_spaced_points_by_samples(
                      block.get(), static_cast<std::uint32_t>(step), frames))
        return nullptr;
    return block;
}

void dropPointsBehind(FLAC__StreamMetadata& seekTable, std::uint64_t frames)
{
    FLAC__StreamMetadata_SeekTable& table = seekTable.data.seek_table;
    for (FLAC__StreamMetadata_SeekPoint& point : std::span(table.points, table.num_points))
        if (point.sample_number >= frames) point = {FLAC__STREAM_METADATA_SEEKPOINT_PLACEHOLDER, 0, 0};
}

} // namespace tesk
