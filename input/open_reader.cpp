#include "input/open_reader.h"

#include "engine/base/paths.h"
#include "input/audio_kind.h"
#include "input/flac_reader.h"
#include "input/trace_path.h"
#include "input/tta_reader.h"
#include "input/wave_reader.h"
#include "input/wavpack_reader.h"

#include <array>
#include <string_view>

namespace tesk {
namespace {

enum class Decoder { wave, flac, tta, wavPack, streamLoader, unknown };

struct ExtensionRow {
    std::string_view extension;
    Decoder decoder;
};

constexpr std::array kExtensions = {
    ExtensionRow{"wav", Decoder::wave},         ExtensionRow{"wave", Decoder::wave},
    ExtensionRow{"w64", Decoder::wave},         ExtensionRow{"aiff", Decoder::wave},
    ExtensionRow{"aif", Decoder::wave},         ExtensionRow{"aifc", Decoder::wave},
    ExtensionRow{"flac", Decoder::flac},        ExtensionRow{"fla", Decoder::flac},
    ExtensionRow{"tta", Decoder::tta},          ExtensionRow{"wv", Decoder::wavPack},
    ExtensionRow{"wvc", Decoder::wavPack},      ExtensionRow{"alac", Decoder::streamLoader},
    ExtensionRow{"m4a", Decoder::streamLoader}, ExtensionRow{"mp4", Decoder::streamLoader},
    ExtensionRow{"caf", Decoder::streamLoader}, ExtensionRow{"ape", Decoder::streamLoader},
    ExtensionRow{"mac", Decoder::streamLoader},
};

/// What is tried where the extension says nothing, in this order; the stream loader comes last.
constexpr std::array kTrials = {Decoder::wave, Decoder::flac, Decoder::tta, Decoder::wavPack};

constexpr const char* kNobodyReadsIt = "cannot open or decode the source (unsupported container or damaged file)";

Decoder decoderFor(const std::string& path)
{
    const std::string extension = fileExtension(path);
    for (const ExtensionRow& row : kExtensions)
        if (row.extension == extension) return row.decoder;
    return Decoder::unknown;
}

std::unique_ptr<PcmReader> makeReader(Decoder decoder)
{
    switch (decoder) {
    case Decoder::wave: return std::make_unique<WaveReader>();
    case Decoder::flac: return std::make_unique<FlacReader>();
    case Decoder::tta: return std::make_unique<TtaReader>();
    default: return std::make_unique<WavPackReader>();
    }
}

bool isKindOf(AudioKind kind, Decoder decoder)
{
    switch (decoder) {
    case Decoder::wave: return isWaveFamily(kind);
    case Decoder::flac: return kind == AudioKind::flac;
    case Decoder::tta: return kind == AudioKind::tta;
    default: return kind == AudioKind::wavpack;
    }
}

const char* decoderName(Decoder decoder)
{
    switch (decoder) {
    case Decoder::wave: return "WAV, Wave64 or AIFF";
    case Decoder::flac: return "FLAC";
    case Decoder::tta: return "TTA";
    default: return "WavPack";
    }
}

bool openTraced(PcmReader& reader, Decoder decoder, const std::string& path, Reporter& report)
{
    const bool opened = reader.open(path).ok();
    if (decoder == Decoder::wave) tracePath(path, opened, report);
    return opened;
}

/// A reader that failed on a file of its own kind knows best why; else the file is something other than it is called.
std::string whyUnreadable(const std::string& path, Decoder decoder, AudioKind kind, const std::string& readersWords)
{
    if (isKindOf(kind, decoder)) return "cannot read '" + path + "': " + readersWords;
    if (kind == AudioKind::unknown) return kNobodyReadsIt;
    return "cannot read '" + path + "' as " + decoderName(decoder) + ": it looks like " + audioKindName(kind);
}

std::unique_ptr<PcmReader> openByExtension(const std::string& path, Decoder decoder, AudioKind kind,
                                           const LoadContext& context, std::string& error)
{
    auto reader = makeReader(decoder);
    if (openTraced(*reader, decoder, path, context.report)) return reader;
    error = whyUnreadable(path, decoder, kind, reader->errorText());
    return nullptr;
}

std::unique_ptr<PcmReader> openByTrial(const std::string& path, AudioKind kind, const LoadContext& context,
                                       std::string& error)
{
    error = kNobodyReadsIt;
    for (const Decoder trial : kTrials) {
        auto reader = makeReader(trial);
        if (openTraced(*reader, trial, path, context.report)) return reader;
        if (!isKindOf(kind, trial)) continue;
        error = whyUnreadable(path, trial, kind, reader->errorText()); // nobody knows this kind better
        return nullptr;
    }
    std::string loadersWords;
    if (context.streamLoader)
        if (auto reader = context.streamLoader(path, loadersWords)) return reader;
    if (!loadersWords.empty()) error += "\n  " + loadersWords;
    return nullptr;
}

} // namespace

std::unique_ptr<PcmReader> openReader(const std::string& path, const LoadContext& context, std::string& error)
{
    if (path.empty()) {
        error = "no input path";
        return nullptr;
    }
    const Decoder decoder = decoderFor(path);
    AudioKind kind = AudioKind::unknown;
    if (const auto source = FileSource::open(path, error)) {
        kind = audioKind(*source);
    } else {
        if (decoder == Decoder::wave || decoder == Decoder::unknown) tracePath(path, false, context.report);
        return nullptr;
    }
    if (decoder == Decoder::unknown) return openByTrial(path, kind, context, error);
    if (decoder != Decoder::streamLoader) return openByExtension(path, decoder, kind, context, error);
    error = kNobodyReadsIt;
    return context.streamLoader ? context.streamLoader(path, error) : nullptr;
}

} // namespace tesk
