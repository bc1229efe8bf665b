// The command line of a conversion back to PCM.
#pragma once

#include "engine/base/reporter.h"
#include "reverse/reverse_settings.h"

#include <string>
#include <vector>

namespace tesk {

/// Fills the settings from a command line without the program's name. The words that chose this mode and the host's
/// channel ("--reverse", "-inproc-...") are passed over with their values. Input by -i or, without it, as the first
/// word that is no option.
///
/// @return  0, or DSD_ERROR with the reason printed. With `settings.help` set the help was asked for, and nothing
///          behind it was looked at.
int parseReverse(const std::vector<std::string>& arguments, ReverseSettings& settings, Reporter& report);

void printReverseHelp(Reporter& report);

/// An option as completion and manual page speak of it; the second name may be null.
struct ReverseOptionText {
    const char* names[2];
    const char* argument; ///< "" for a flag
    const char* help;
};

/// All options of this mode, in the order of the help.
std::vector<ReverseOptionText> reverseOptionTexts();

} // namespace tesk
