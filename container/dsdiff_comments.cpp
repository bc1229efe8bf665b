#include "container/dsdiff_comments.h"

#include "container/dsdiff_layout.h"
#include "engine/base/byte_writer.h"

#include <optional>
#include <string>

namespace tesk {
namespace {

enum CommentType : std::uint16_t { general = 0, fileHistory = 3 };
enum HistoryReference : std::uint16_t { creatingMachine = 2, revision = 4 };

class Comments {
public:
    explicit Comments(const platform::LocalTime& writtenAt) : writtenAt_(writtenAt) {}

    void add(CommentType type, std::uint16_t reference, const std::string& text)
    {
        out_.u16(writtenAt_.year).u8(writtenAt_.month).u8(writtenAt_.day).u8(writtenAt_.hour).u8(writtenAt_.minute);
        out_.u16(type).u16(reference).u32(static_cast<std::uint32_t>(text.size())).tag(text);
        if (text.size() % 2 != 0) out_.u8(0);
        ++count_;
    }
    void field(const char* label, const std::optional<std::string>& value)
    {
        if (value && !value->empty()) add(general, 0, label + *value);
    }
    std::vector<std::uint8_t> chunk()
    {
        ByteWriter out(ByteOrder::big);
        out.tag("COMT").u64(2 + out_.size()).u16(count_).raw(out_.take());
        return out.take();
    }

private:
    platform::LocalTime writtenAt_;
    std::uint16_t count_ = 0;
    ByteWriter out_{ByteOrder::big};
};

void appendName(ByteWriter& out, const char* id, const std::optional<std::string>& name)
{
    if (!name || name->empty()) return;
    out.tag(id).u64(4 + name->size()).u32(static_cast<std::uint32_t>(name->size())).tag(*name);
    if (name->size() % 2 != 0) out.u8(0);
}

} // namespace

std::vector<std::uint8_t> commentChunk(const MetadataRecord& metadata, const platform::LocalTime& writtenAt)
{
    Comments comments(writtenAt);
    comments.field("Title: ", metadata.title);
    comments.field("Artist: ", metadata.artist);
    comments.field("Album: ", metadata.album);
    comments.field("Genre: ", metadata.genre);
    comments.field("Year: ", metadata.date);
    comments.field("Comment: ", metadata.comment);
    if (metadata.track && *metadata.track > 0) comments.add(general, 0, format("Track: %d", *metadata.track));
    comments.add(fileHistory, creatingMachine, "teskengine");
    comments.add(fileHistory, revision, kEncoderText);
    return comments.chunk();
}

std::vector<std::uint8_t> masterInformationChunk(const MetadataRecord& metadata)
{
    ByteWriter names(ByteOrder::big), out(ByteOrder::big);
    appendName(names, "DIAR", metadata.artist);
    appendName(names, "DITI", metadata.title);
    if (names.size() > 0) out.tag("DIIN").u64(names.size()).raw(names.take());
    return out.take();
}

Status writeDffComtTag(ByteSink& stream, const MetadataRecord& metadata, const platform::LocalTime& writtenAt,
                       Reporter& report)
{
    // A sink stands at its end at all times; only the system's own seek would fail. Behind a form that cannot be made
    // to contain them, comments would be garbage.
    if (!stream.tell()) {
        report.err("Warning: TESK_FSEEK64(end) failed in writeDffComtTag\n");
        report.error("Error: ftello failed in writeDffComtTag\n"
                     "       (the output cannot seek, so its comments are left out)\n");
        return {};
    }
    if (Status status = stream.write(commentChunk(metadata, writtenAt)); !status) return status;
    if (const auto names = masterInformationChunk(metadata); !names.empty())
        if (Status status = stream.write(names); !status) return status;
    ByteWriter size(ByteOrder::big);
    size.u64(stream.position() - kDsdiffChunkHead);
    const auto patched = stream.patch(kDsdiffFormSize, size.take());
    if (!patched) return patched.status();
    if (*patched == Patched::outOfReach) report.err("Warning: TESK_FSEEK64(4) failed in writeDffComtTag\n");
    return {};
}

} // namespace tesk
