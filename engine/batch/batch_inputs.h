// From what stood behind -i to the recordings of a batch: wildcards and folders become files.
#pragma once

#include <string>
#include <vector>

namespace tesk {

struct BatchInput {
    std::string path;
    std::string folder; ///< below the folder that was named, "CD1/Bonus"; empty right in it and for files
    bool operator==(const BatchInput&) const = default;
};

/// Appends the recordings in the order given.
///
/// A name that does not exist and has * ? [ in it is a pattern; what fits comes in byte order. A folder gives its
/// recordings, told by their extensions, without hidden ones, in natural order: 2 in front of 10; with `recursive` its
/// subfolders follow, each once however links lead there. A file that folders and patterns reach twice counts once; one
/// that is named itself counts each time.
///
/// A name without wildcards that does not exist stays in the list, for it is that item's failure and not the batch's.
/// @param outputDirectory  left out of folders that contain it, for what it holds are outputs; empty: none
/// @param notes  receives what was left out and why, worth a warning: subfolders that cannot be read, lossy music
/// @return  false with `error` naming it when a pattern fits nothing, or a folder is not there, cannot be read or
///          has no recording
bool expandInputs(const std::vector<std::string>& given, bool recursive, const std::string& outputDirectory,
                  std::vector<BatchInput>& out, std::vector<std::string>& notes, std::string& error);

/// Whether `a` comes before `b`: runs of digits by their value, all else byte by byte.
bool naturallyBefore(const std::string& a, const std::string& b);

} // namespace tesk
