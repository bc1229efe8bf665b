#include "container/id3_tag.h"

#include "container/dsf_layout.h"
#include "engine/base/byte_writer.h"
#include "platform/files.h"

#include <optional>
#include <string>

namespace tesk {
namespace {

constexpr std::uint8_t kUtf8 = 3;
constexpr std::uint8_t kFrontCover = 3;

/// 28 bits in four bytes of seven, most significant first.
void synchsafe(ByteWriter& out, std::size_t size)
{
    for (int shift = 21; shift >= 0; shift -= 7) out.u8(static_cast<std::uint8_t>((size >> shift) & 0x7F));
}

class Frames {
public:
    explicit Frames(Id3FrameSizes sizes) : sizes_(sizes) {}
    void text(const char* id, const std::optional<std::string>& value)
    {
        if (!value || value->empty()) return;
        ByteWriter body(ByteOrder::big);
        body.u8(kUtf8).tag(*value);
        frame(id, body.take());
    }
    void comment(const std::optional<std::string>& value)
    {
        if (!value || value->empty()) return;
        ByteWriter body(ByteOrder::big);
        body.u8(kUtf8).tag("eng").u8(0).tag(*value);
        frame("COMM", body.take());
    }
    void picture(const std::vector<std::uint8_t>& image)
    {
        if (image.empty()) return;
        const bool png = image.size() >= 8 && image[0] == 0x89 && image[1] == 'P' && image[2] == 'N';
        ByteWriter body(ByteOrder::big);
        body.u8(kUtf8).tag(png ? "image/png" : "image/jpeg").u8(0).u8(kFrontCover).u8(0).raw(image);
        frame("APIC", body.take());
    }
    std::vector<std::uint8_t> take() { return out_.take(); }

private:
    void frame(const char* id, const std::vector<std::uint8_t>& body)
    {
        out_.tag(id);
        if (sizes_ == Id3FrameSizes::plain)
            out_.u32(static_cast<std::uint32_t>(body.size()));
        else
            synchsafe(out_, body.size());
        out_.u16(0).raw(body);
    }
    Id3FrameSizes sizes_;
    ByteWriter out_{ByteOrder::big};
};

std::vector<std::uint8_t> readCover(const std::string& path, Reporter& report)
{
    if (path.empty()) return {}; // the user wants none
    const platform::FilePtr file(platform::open_utf8(path.c_str(), "rb"));
    if (!file) {
        report.alert("the cover '%s' cannot be opened; the file gets no picture\n", path.c_str());
        return {};
    }
    std::vector<std::uint8_t> image(kLargestCover + 1);
    image.resize(std::fread(image.data(), 1, image.size(), file.get()));
    if (image.empty() || image.size() > kLargestCover) {
        report.alert("the cover '%s' %s; the file gets no picture\n", path.c_str(),
                     image.empty() ? "is empty" : "is larger than 16 MiB");
        return {};
    }
    return image;
}

void warnOfUnknownKind(const MetadataRecord& metadata, const std::vector<std::uint8_t>& image, Reporter& report)
{
    if (!metadata.coverPath || image.empty()) return;
    const bool jpeg = image[0] == 0xFF, png = image[0] == 0x89; // first bytes of their signatures
    if (!jpeg && !png)
        report.alert("the cover '%s' is neither JPEG nor PNG; players may not show it\n", metadata.coverPath->c_str());
}

} // namespace

std::vector<std::uint8_t> coverOf(const MetadataRecord& metadata, Reporter& report)
{
    if (metadata.coverPath) return readCover(*metadata.coverPath, report);
    return metadata.coverImage ? *metadata.coverImage : std::vector<std::uint8_t>{};
}

std::vector<std::uint8_t> id3Tag(const MetadataRecord& metadata, Reporter& report, Id3FrameSizes sizes)
{
    if (!metadata.hasUserField()) return {};
    Frames frames(sizes);
    frames.text("TIT2", metadata.title);
    frames.text("TPE1", metadata.artist);
    frames.text("TALB", metadata.album);
    if (metadata.track) frames.text("TRCK", std::to_string(*metadata.track));
    frames.text("TSRC", metadata.isrc);
    frames.text("TDRC", metadata.date);
    frames.text("TCON", metadata.genre);
    frames.comment(metadata.comment);
    const std::vector<std::uint8_t> cover = coverOf(metadata, report);
    warnOfUnknownKind(metadata, cover, report);
    frames.picture(cover);
    frames.text("TSSE", kEncoderText);
    frames.text("TENC", kEncoderText);
    const std::vector<std::uint8_t> body = frames.take();

    ByteWriter tag(ByteOrder::big);
    tag.tag("ID3").u8(4).u8(0).u8(0); // version 2.4.0, no flags
    synchsafe(tag, body.size());
    tag.raw(body);
    return tag.take();
}

Status writeId3TagDSF(ByteSink& sink, const MetadataRecord& metadata, Reporter& report, std::uint64_t& position)
{
    position = 0;
    const std::vector<std::uint8_t> tag = id3Tag(metadata, report);
    if (tag.empty()) return {};
    const auto end = sink.tell();
    if (!end) { // a tag that no pointer leads to would be garbage behind the music
        report.error("Error: ftello failed in writeId3TagDSF\n"
                     "       (the output cannot seek, so the tag is left out)\n");
        return {};
    }
    if (Status status = sink.write(tag); !status) return status;
    ByteWriter pointer(ByteOrder::little);
    pointer.u64(*end);
    const auto patched = sink.patch(kDsfMetadataPointer, pointer.take());
    if (!patched) return patched.status();
    if (*patched == Patched::notAtEnd) report.err("Warning: TESK_FSEEK64(end) failed in writeId3TagDSF\n");
    if (*patched == Patched::outOfReach)
        report.err("Warning: TESK_FSEEK64(20) failed in writeId3TagDSF\n");
    else
        position = *end;
    return {};
}

} // namespace tesk
