#include "input/open_pcm.h"

#include "input/header_probe.h"
#include "input/open_reader.h"

#include <memory>

namespace tesk {
namespace {

/// Decodes to the end and keeps nothing.
Status countFrames(PcmReader& reader, const LoadContext& context, std::uint64_t& frames, std::string& error)
{
    FrameScratch scratch(reader.info().channels);
    for (;;) {
        if (context.stop.pending()) {
            error = "stopped";
            return kHostStopped;
        }
        const auto got = reader.read(scratch.planar(), kLoadChunkFrames);
        if (!got.ok()) {
            error = reader.errorText();
            return got.status();
        }
        if (*got == 0) return {};
        frames += *got;
    }
}

} // namespace

Status open_pcm(const std::string& path, const LoadContext& context, PcmRecording& recording, std::string& error,
                FrameRange range)
{
    recording = {};
    const auto reader = openReader(path, context, error);
    if (!reader) return DSD_ERROR_INPUT;
    return loadSignal(*reader, context, recording, error, range);
}

Status measurePcm(const std::string& path, const LoadContext& context, PcmLength& length, std::string& error)
{
    length = {};
    const auto reader = openReader(path, context, error);
    if (!reader) return DSD_ERROR_INPUT;
    const PcmInfo& info = length.info = reader->info();
    if (!plausibleFormat(info.channels, info.sampleRate, error)) return DSD_ERROR_INPUT;
    const auto told = info.storedFrames ? info.storedFrames : info.declaredFrames;
    if (told && !info.lengthIsHint) {
        length.frames = *told;
        return {};
    }
    return countFrames(*reader, context, length.frames, error);
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
