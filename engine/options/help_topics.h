// Which part of the help a command line asks for.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tesk {

/// Sections behind the groups of options, headed like them.
inline constexpr const char* kExitStatusHeading = "Exit status :";
inline constexpr const char* kStagesHeading = "Stages :";

/// The line without the words that a host puts there (-inproc-...): what the user typed.
std::vector<std::string> typedWords(const std::vector<std::string>& arguments);

/// The word behind a help option that opens the line, as in "--help metadata"; empty: all of the help. Elsewhere on a
/// line the word may be the output's name.
std::string helpTopic(const std::vector<std::string>& arguments);

/// Whether the heading contains the topic, in capitals or small letters (ASCII).
bool isAbout(std::string_view heading, std::string_view topic);

/// A heading without the colon behind it.
std::string plainHeading(std::string_view heading);

/// All plain headings in the order of the help.
std::vector<std::string> helpHeadings();

} // namespace tesk
