// The tracks of a disc as files and as a list.
#pragma once

#include "container/reader/sacd_reader.h"

#include <string>
#include <vector>

namespace tesk {

/// A part of the source and the file it goes to.
struct ReversePiece {
    unsigned discTrack = 0; ///< 0: everything
    std::string outputPath;
    MetadataRecord metadata;
};

/// "OUT - 07 - Title.wav" for the output "OUT.wav": what a file name cannot hold becomes "_", and a name that would be
/// too long is cut between two characters.
std::string discTrackPath(const std::string& output, unsigned number, const std::string& title);

/// The whole area as one recording.
MetadataRecord discMetadata(const SacdDisc& disc);

/// A line for the disc, one for the area, and one per track with its start, time, performer and title.
std::string discListing(const SacdDisc& disc, const SacdArea& area);

} // namespace tesk
