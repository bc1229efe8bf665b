#include "input/open_pcm.h"

#include "input/audio_kind.h"
#include "input/flac_reader.h"
#include "input/trace_path.h"
#include "input/wave_reader.h"

#include <array>
#include <memory>
#include <string_view>

namespace tesk {
namespace {

enum class Decoder { wave, flac, tta, wavPack, runTime, tryAll };

struct ExtensionRow {
    std::string_view extension;
    Decoder decoder;
};

constexpr std::array kExtensions = {
    ExtensionRow{".wav", Decoder::wave},    ExtensionRow{".wave", Decoder::wave},
    ExtensionRow{".w64", Decoder::wave},    ExtensionRow{".aiff", Decoder::wave},
    ExtensionRow{".aif", Decoder::wave},    ExtensionRow{".aifc", Decoder::wave},
    ExtensionRow{".flac", Decoder::flac},   ExtensionRow{".fla", Decoder::flac},
    ExtensionRow{".tta", Decoder::tta},     ExtensionRow{".wv", Decoder::wavPack},
    ExtensionRow{".wvc", Decoder::wavPack}, ExtensionRow{".alac", Decoder::runTime},
    ExtensionRow{".m4a", Decoder::runTime}, ExtensionRow{".mp4", Decoder::runTime},
    ExtensionRow{".caf", Decoder::runTime}, ExtensionRow{".ape", Decoder::runTime},
    ExtensionRow{".mac", Decoder::runTime},
};

/// What is tried where the extension says nothing, in this order.
constexpr std::array kTrials = {Decoder::wave, Decoder::flac};

constexpr const char* kNobodyReadsIt = "cannot open or decode the source (unsupported container or damaged file)";

/// The text from the last point on, in lower case whatever the locale says.
std::string extensionOf(const std::string& path)
{
    const auto point = path.rfind('.');
    if (point == std::string::npos) return {};
    std::string extension = path.substr(point);
    for (char& c : extension)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return extension;
}

Decoder decoderFor(const std::string& path)
{
    const std::string extension = extensionOf(path);
    for (const ExtensionRow& row : kExtensions)
        if (row.extension == extension) return row.decoder;
    return Decoder::tryAll;
}

std::unique_ptr<PcmReader> makeReader(Decoder decoder)
{
    if (decoder == Decoder::wave) return std::make_unique<WaveReader>();
    return std::make_unique<FlacReader>();
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
    const bool rightKind = decoder == Decoder::wave ? isWaveFamily(kind) : kind == AudioKind::flac;
    if (rightKind) return "cannot read '" + path + "': " + readersWords;
    if (kind == AudioKind::unknown) return kNobodyReadsIt;
    const char* expected = decoder == Decoder::wave ? "WAV, Wave64 or AIFF" : "FLAC";
    return "cannot read '" + path + "' as " + expected + ": it looks like " + audioKindName(kind);
}

std::string unsupportedText(const std::string& path, Decoder decoder)
{
    if (decoder == Decoder::tta) return "this version cannot read TTA files";
    if (decoder == Decoder::wavPack) return "this version cannot read WavPack files";
    return "this version cannot read " + extensionOf(path) + " files: they need a decoder loaded at run time";
}

/// The first reader that opens the file; null with `error` set.
std::unique_ptr<PcmReader> openReader(const std::string& path, Decoder decoder, AudioKind kind, Reporter& report,
                                      std::string& error)
{
    if (decoder != Decoder::tryAll) {
        auto reader = makeReader(decoder);
        if (openTraced(*reader, decoder, path, report)) return reader;
        error = whyUnreadable(path, decoder, kind, reader->errorText());
        return nullptr;
    }
    for (const Decoder trial : kTrials) {
        auto reader = makeReader(trial);
        if (openTraced(*reader, trial, path, report)) return reader;
    }
    error = kNobodyReadsIt;
    return nullptr;
}

} // namespace

Status open_pcm(const std::string& path, const LoadContext& context, PcmRecording& recording, std::string& error)
{
    recording = {};
    if (path.empty()) {
        error = "no input path";
        return DSD_ERROR_INPUT;
    }
    const Decoder decoder = decoderFor(path);
    AudioKind kind = AudioKind::unknown;
    if (const auto source = FileSource::open(path, error)) {
        kind = audioKind(*source);
    } else {
        if (decoder == Decoder::wave || decoder == Decoder::tryAll) tracePath(path, false, context.report);
        return DSD_ERROR_INPUT;
    }
    if (decoder == Decoder::tta || decoder == Decoder::wavPack || decoder == Decoder::runTime) {
        error = unsupportedText(path, decoder);
        return DSD_ERROR_UNSUPPORTED;
    }
    const auto reader = openReader(path, decoder, kind, context.report, error);
    if (!reader) return DSD_ERROR_INPUT;
    return loadSignal(*reader, context, recording, error);
}

void reportLoaded(const std::string& path, const PcmRecording& recording, Reporter& report)
{
    report.line("Loaded audio file:", "%s\n", path.c_str());
    report.line("\tFormat:", "%s\n", recording.info.format.c_str());
    report.line("\tChannels:", "%u\n", recording.info.channels);
    report.line("\tSample Rate:", "%d Hz\n", static_cast<int>(recording.info.sampleRate));
    report.line("\tTotal Frames:", "%llu\n", static_cast<unsigned long long>(recording.signal.frames()));
}

} // namespace tesk
