#include "reverse/reverse_plan.h"

#include "engine/base/paths.h"
#include "input/tags/input_tags.h"
#include "platform/files.h"

namespace tesk {
namespace {

using DiscTracks = ReverseSettings::DiscTracks;
using Pieces = std::vector<ReversePiece>;

/// A name that lets a player expect something else than what is written.
void tellOddName(const ReverseSettings& settings, Reporter& report)
{
    const std::string extension = fileExtension(settings.outputPath);
    if (settings.outputPath.empty() || extension == (settings.wave64 ? "w64" : "wav")) return;
    if (extension == "w64")
        report.alert("the output is named .w64, but RIFF WAVE is written; --wave64 makes Wave64\n");
    else if (extension == "flac")
        report.alert("RIFF WAVE is written; name the output .flac, in lower case, or add --format flac for FLAC\n");
    else if (platform::fileKind(settings.outputPath) != platform::FileKind::other)
        report.alert("%s is written, whatever '%s' is named\n", settings.wave64 ? "Wave64" : "RIFF WAVE",
                     settings.outputPath.c_str());
}

Pieces wholeFile(const ReverseSettings& settings, Reporter& report)
{
    ReversePiece piece{0, settings.outputPath, {}};
    fillFromTags(readTagSet(settings.inputPath), piece.metadata, report);
    return {piece};
}

Pieces everyTrack(const ReverseSettings& settings, const std::vector<SacdTrack>& tracks)
{
    Pieces pieces;
    for (unsigned t = 1; t <= tracks.size(); ++t) {
        const MetadataRecord& tags = tracks[t - 1].metadata;
        pieces.push_back({t, discTrackPath(settings.outputPath, t, tags.title.value_or("")), tags});
    }
    return pieces;
}

} // namespace

PcmContainer settleFormat(ReverseSettings& settings, Reporter& report)
{
    const bool named = settings.outputPath.ends_with(".flac");
    const bool wave = !named && settings.format != PcmContainer::flac;
    if (!wave && settings.wave64) report.alert("--wave64 is ignored: the output is FLAC\n");
    if (wave) tellOddName(settings, report);
    if (settings.floatOutput) settings.bitDepth = 32;
    if (named && settings.format == PcmContainer::wave)
        report.alert("the output is named .flac: FLAC is written in spite of --format wav\n");
    if (wave) {
        if (!settings.floatOutput && settings.bitDepth == 64) settings.noiseShaping = false;
        return PcmContainer::wave;
    }
    if (settings.floatOutput)
        report.notice("FLAC does not support float; falling back to 24-bit\n");
    else if (settings.bitDepth != 16 && settings.bitDepth != 24)
        report.notice("FLAC bits_per_sample limited to 16/24 (libFLAC 1.3.x); using 24\n");
    if (settings.floatOutput || settings.bitDepth != 16) settings.bitDepth = 24;
    settings.floatOutput = false;
    return PcmContainer::flac;
}

Result<Pieces, PDM_ENCODING_STATUS> planPieces(const ReverseSettings& settings, const DsdInput& source,
                                               Reporter& report)
{
    if (!source.disc) {
        if (settings.discTracks == DiscTracks::whole) return wholeFile(settings, report);
        report.error("Error: '%s' is no disc image; --disc-track is for discs\n", settings.inputPath.c_str());
        return DSD_ERROR;
    }
    const auto& tracks = source.disc->area().tracks;
    switch (settings.discTracks) {
    case DiscTracks::whole: return Pieces{{0, settings.outputPath, discMetadata(source.disc->disc())}};
    case DiscTracks::all: return everyTrack(settings, tracks);
    case DiscTracks::list: return Pieces{};
    case DiscTracks::one: break;
    }
    if (settings.discTrack <= tracks.size())
        return Pieces{{settings.discTrack, settings.outputPath, tracks[settings.discTrack - 1].metadata}};
    report.error("Error: the disc has no track %u; it has %zu (--disc-track list shows them)\n", settings.discTrack,
                 tracks.size());
    return DSD_ERROR;
}

} // namespace tesk
