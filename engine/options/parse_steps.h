// What both parsers of the command line do alike: help on a topic, a word that is no option, and the end
// of the line.
#pragma once

#include "engine/options/option_use.h"
#include "engine/options/options.h"

#include <string>
#include <string_view>
#include <vector>

namespace tesk {

/// The help, all of it for an empty topic. When no heading is about the topic, the headings and
/// kCommandLineRejected.
ParseOutcome printHelpTopic(std::string_view topic, Reporter& report);

/// Puts further options over settings that are there. False after a message.
bool applyWords(const std::vector<std::string>& words, ConversionSettings& settings, Reporter& report,
                std::vector<Unavailable>& unavailable);

/// Takes a word that is no option's spelling as the output, or as an input of a batch. False after a message: it begins
/// like an option, or the output is known already.
bool takePlainWord(const std::string& word, ConversionSettings& settings, Reporter& report);

/// The presets, the checks of the whole line, then the refusal of what it asks for and this version cannot do.
ParseOutcome finishParse(ConversionSettings& settings, Reporter& report, std::vector<Unavailable>& unavailable);

} // namespace tesk
