// A preset over the settings, and the settings as a preset.
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/settings.h"
#include "engine/json/json_value.h"
#include "engine/options/option_use.h"

#include <set>
#include <string>
#include <vector>

namespace tesk {

/// The settings as a preset file: all keys, in byte order. What was not given and has no value of its own is 0.
std::string presetText(const ConversionSettings& settings);

/// Puts the keys of a preset over the settings and marks their options as given, as on a command line, or as not given
/// where the value is the default. A number 0 that the option does not take stands for "not given".
///
/// @param typed        long names of the options that stood on the command line: their keys change nothing, and
///                     where one of them chooses a modulator, no key chooses another
/// @param unavailable  gets what the preset switches on and this version cannot do
/// @param report       gets a warning for every key that asks for a setting that does not exist
/// @param error        "line 3: ..." when a key is unknown, or its value of the wrong type or out of range
/// @return             false with `error`; then nothing was changed
bool applyPreset(const JsonValue& preset, const std::set<std::string>& typed, ConversionSettings& settings,
                 std::vector<Unavailable>& unavailable, Reporter& report, std::string& error);

} // namespace tesk
