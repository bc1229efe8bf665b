// Names of a batch's outputs, made from a pattern such as "{track:2} {input}".
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tesk {

/// What the variables of a pattern stand for.
struct NameParts {
    std::string input;     ///< {input}: the input's file name without folder and extension
    std::string extension; ///< {ext}: of the output, without its point
    std::size_t track = 1; ///< {track} and {track:N}: position in the batch, from 1
};

/// What is wrong with the pattern whatever it is filled with, and what to do about it; empty when nothing is.
/// A pattern may name folders below the output directory ("{input}/{track}") and none outside.
std::string checkPattern(std::string_view pattern);

/// The path below the output directory. {track:N} is padded with zeros to N digits; all that is no variable is copied.
/// ".EXTENSION" comes behind it unless the pattern has an {ext}.
/// @param pattern  one that checkPattern passes
std::string expandPattern(std::string_view pattern, const NameParts& parts);

/// What is wrong with an expanded path: an odd input can put "..", an empty name or one that is too long for the
/// system into a proper pattern. Empty when nothing is.
std::string checkExpanded(std::string_view path);

/// The texts in braces that are no variable, "{title}" and the like, and a brace that nothing closes: copied as they
/// stand, but worth a warning.
std::vector<std::string> unknownVariables(std::string_view pattern);

} // namespace tesk
