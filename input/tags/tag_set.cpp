#include "input/tags/tag_set.h"

#include "input/audio_kind.h"
#include "input/tags/ape_tag.h"
#include "input/tags/caf_info.h"
#include "input/tags/chunk_tags.h"
#include "input/tags/dsd_tags.h"
#include "input/tags/id3v2_tag.h"
#include "input/tags/mp4_tags.h"
#include "input/tags/vorbis_tags.h"

namespace tesk {
namespace {

const char* formatName(AudioKind kind)
{
    if (kind == AudioKind::aiff || kind == AudioKind::aifc) return "AIFF";
    if (isWaveFamily(kind)) return "WAV";
    switch (kind) {
    case AudioKind::flac: return "FLAC";
    case AudioKind::ape: return "APE";
    case AudioKind::wavpack: return "WavPack";
    case AudioKind::tta: return "TTA";
    case AudioKind::ogg: return "OGG";
    case AudioKind::mp4: return "M4A";
    case AudioKind::dsf: return "DSF";
    case AudioKind::dsdiff: return "DFF";
    case AudioKind::mp3: return "MP3";
    default: return "Unknown";
    }
}

/// The tags of the format itself. What comes first wins: every reader fills only what is still open.
void readOwnTags(ByteSource& source, AudioKind kind, std::uint64_t start, TagSet& tags)
{
    if (isWaveFamily(kind)) return readChunkTags(source, kind, tags);
    switch (kind) {
    case AudioKind::flac: return readFlacTags(source, start, tags);
    case AudioKind::ogg: return readOggTags(source, start, tags);
    case AudioKind::mp4: return readMp4Tags(source, start, tags);
    case AudioKind::ape:
    case AudioKind::wavpack: return readApeTag(source, tags);
    case AudioKind::caf: return readCafInfo(source, tags);
    case AudioKind::dsf: return readDsfTags(source, tags);
    case AudioKind::dsdiff: return readDsdiffTags(source, tags);
    default: return;
    }
}

/// Formats of plain frames, which people hang tags of all kinds on.
bool takesTagsAround(AudioKind kind)
{
    return kind == AudioKind::mp3 || kind == AudioKind::tta || kind == AudioKind::ape || kind == AudioKind::wavpack;
}

} // namespace

TagSet readTagSet(ByteSource& source)
{
    TagSet tags;
    const AudioKind kind = audioKind(source);
    tags.format = formatName(kind);
    readOwnTags(source, kind, skipId3v2(source), tags);
    readId3v2At(source, 0, source.size(), tags);
    if (takesTagsAround(kind)) {
        readApeTag(source, tags);
        readId3v1(source, tags);
    }
    settleNames(tags);
    return tags;
}

TagSet readTagSet(const std::string& path)
{
    std::string error;
    const auto source = FileSource::open(path, error);
    return source ? readTagSet(*source) : TagSet{};
}

} // namespace tesk
