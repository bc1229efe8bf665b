// Asks a person for the tags that a DFF file cannot do without.
#pragma once

#include "engine/base/metadata.h"
#include "engine/base/reporter.h"
#include "engine/base/result.h"

#include <cstdio>
#include <functional>
#include <optional>
#include <string>

namespace tesk {

/// Where the answers come from.
struct PromptTerminal {
    bool canAsk = false;                                  ///< whether a person sits there
    std::function<std::optional<std::string>()> readLine; ///< the next line; nothing at the end of the input
};

/// Standard input, when it is a terminal and no graphical interface (`gui`) runs the engine.
PromptTerminal standardTerminal(bool gui);

/// Brings what was printed to the screen, then reads one line, without its end: well-formed UTF-8 of at most 1,023
/// bytes of the stream; the rest of a longer line is skipped. Nothing at the end of the input.
std::optional<std::string> readAnswer(std::FILE* stream);

/// Asks for the artist and the title where the record has no value for them; an empty value is one, and an empty artist
/// does without a title. DSD_ERROR_METADATA_REQUIRED, with the record untouched, when nobody can be asked or the input
/// ends before the last answer.
Status prompt_dff_metadata(MetadataRecord& record, const PromptTerminal& terminal, Reporter& report);

} // namespace tesk
