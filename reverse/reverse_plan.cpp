#include "reverse/reverse_plan.h"

#include "input/tags/input_tags.h"

namespace tesk {
namespace {

using DiscTracks = ReverseSettings::DiscTracks;
using Pieces = std::vector<ReversePiece>;

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
    if (named && settings.format == PcmContainer::wave)
        report.alert("the output is named .flac: FLAC is written in spite of --format wav\n");
    if (!named && settings.format != PcmContainer::flac) {
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
