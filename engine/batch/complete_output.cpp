#include "engine/batch/complete_output.h"

#include "container/reader/open_dsd.h"
#include "input/chunk_walker.h"
#include "input/flac_reader.h"
#include "input/header_probe.h"

#include <optional>

namespace tesk {
namespace {

constexpr double kToleranceSeconds = 0.05; // what a container's blocks and a cut at a frame's border may cost

/// Whether the size in the header ends the file, but for the padding behind a last chunk.
bool endsFile(std::optional<std::uint64_t> declared, std::uint64_t added, std::uint64_t fileBytes,
              std::uint64_t alignment)
{
    if (!declared || *declared > fileBytes || added > fileBytes - *declared) return false;
    return fileBytes - *declared - added < alignment;
}

/// The size in a DSF header counts the tag (DSF File Format 1.01) or, in files that carry the tag behind all that is
/// counted, does not; that tag must then be whole.
bool isWholeDsf(ByteSource& file)
{
    const auto declared = numberAt(file, 12, 8, ByteOrder::little), tag = numberAt(file, 20, 8, ByteOrder::little);
    if (!declared || !tag || *declared > file.size() || (*tag != 0 && *tag >= file.size())) return false;
    if (*declared == file.size()) return true;
    const std::uint64_t tagHead = 10;
    const auto id = numberAt(file, *declared, 3, ByteOrder::big);
    const auto size = numberAt(file, *declared + 6, 4, ByteOrder::big);
    if (!size || id != 0x494433) return false; // "ID3"
    std::uint64_t bytes = 0;                   // seven bits per byte
    for (int shift = 24; shift >= 0; shift -= 8) bytes = bytes << 7 | (*size >> shift & 0x7F);
    return *declared + tagHead + bytes == file.size();
}

/// How long the sound is; nothing when the header and the file disagree. The offsets are those of the size of the
/// whole file: DSDIFF 1.5; WSD file format 1.1, whose low half comes first.
std::optional<double> dsdSeconds(const std::string& path, AudioKind kind, ByteSource& file)
{
    const std::uint64_t bytes = file.size();
    bool whole = false;
    if (kind == AudioKind::dsf) {
        whole = isWholeDsf(file);
    } else if (kind == AudioKind::dsdiff) {
        whole = endsFile(numberAt(file, 4, 8, ByteOrder::big), 12, bytes, 2);
    } else {
        const auto low = numberAt(file, 12, 4, ByteOrder::big), high = numberAt(file, 16, 4, ByteOrder::big);
        whole = low && high && endsFile(*low | *high << 32, 0, bytes, 1);
    }
    if (!whole) return {};
    CollectingReporter complaints;
    const DsdInput input = openDsd(path, {}, complaints);
    if (!input.reader || !complaints.text.empty()) return {};
    const DsdSource& source = input.reader->source();
    return static_cast<double>(source.samples) / source.dsdRate;
}

/// The same for RIFF, RF64 and Wave64. Sources as for probeHeader.
std::optional<double> waveSeconds(AudioKind kind, ByteSource& file)
{
    std::string error;
    const auto header = probeHeader(file, error);
    if (!header || header->frameBytes() == 0 || header->declaredBytes != header->storedBytes) return {};
    bool whole = false;
    switch (kind) {
    case AudioKind::wav: whole = endsFile(numberAt(file, 4, 4, header->order), 8, file.size(), 2); break;
    case AudioKind::wave64: whole = endsFile(numberAt(file, 16, 8, ByteOrder::little), 0, file.size(), 8); break;
    default: whole = endsFile(numberAt(file, 20, 8, ByteOrder::little), 8, file.size(), 2); break; // in "ds64"
    }
    if (!whole) return {};
    const std::uint64_t frames = header->storedBytes / header->frameBytes();
    return static_cast<double>(frames) / header->sampleRate;
}

std::optional<double> flacSeconds(const std::string& path)
{
    FlacReader reader;
    if (!reader.open(path)) return {};
    const PcmInfo& info = reader.info();
    const std::uint64_t frames = info.declaredFrames.value_or(0);
    if (frames == 0 || !reader.seek(frames - 1)) return {};
    std::vector<double> last(info.channels);
    std::vector<double*> planar;
    planar.reserve(last.size());
    for (double& sample : last) planar.push_back(&sample);
    const auto got = reader.read(planar.data(), 1);
    if (!got || *got != 1) return {};
    return static_cast<double>(frames) / info.sampleRate;
}

std::optional<double> wholeSeconds(const std::string& path)
{
    std::string error;
    const auto file = FileSource::open(path, error);
    if (!file) return {};
    const AudioKind kind = audioKind(*file);
    switch (kind) {
    case AudioKind::dsf:
    case AudioKind::dsdiff:
    case AudioKind::wsd: return dsdSeconds(path, kind, *file);
    case AudioKind::wav:
    case AudioKind::rf64:
    case AudioKind::wave64: return waveSeconds(kind, *file);
    case AudioKind::flac: return flacSeconds(path);
    default: return {};
    }
}

} // namespace

bool outputIsComplete(const std::string& path, double expectedSeconds)
{
    const auto seconds = wholeSeconds(path);
    return seconds && *seconds >= expectedSeconds - kToleranceSeconds;
}

} // namespace tesk
