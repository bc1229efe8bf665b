// The keys of preset files: which setting each stands for, and how a preset and the settings become one another.
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/settings.h"
#include "engine/json/json_text.h"
#include "engine/options/option_table.h"
#include "engine/options/option_use.h"

#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tesk {

/// A key. Its range and choices are those of its option's row.
struct PresetKey {
    const char* name;
    const char* option;   ///< long name; null: there is no such setting, and only 0 or false is taken silently
    JsonValue::Kind kind; ///< boolean, integer, number or text
    JsonValue (*get)(const ConversionSettings&) = nullptr;
    void (*set)(ConversionSettings&, const JsonValue&) = nullptr; ///< of a value of that kind
    bool marks = true;                 ///< whether a value other than the default means that the option is used
    std::span<const Choice> choices{}; ///< the values of a key whose option has no row of choices
};

/// All keys, in the order in which they are applied.
std::span<const PresetKey> presetKeys();

/// Null when there is none of that name.
const PresetKey* findPresetKey(std::string_view name);

/// What the key takes, in words: "an integer (even, at least 512; 0: not given)".
std::string presetValueText(const PresetKey& key);

/// The settings as a preset file: all keys, in byte order. What was not given and has no value of its own is 0.
std::string presetText(const ConversionSettings& settings);

/// Puts the keys of a preset over the settings and marks their options as given, as on a command line, or as not given
/// where the value is the default. A number 0 that the option does not take stands for "not given".
///
/// @param typed        long names of the options that stood on the command line: their keys change nothing, and where
/// one
///                     of them chooses a modulator, no key chooses another
/// @param unavailable  gets what the preset switches on and this version cannot do
/// @param report       gets a warning for every key that asks for a setting that does not exist
/// @param error        "line 3: ..." when a key is unknown, or its value of the wrong type or out of range
/// @return             false with `error`; then nothing was changed
bool applyPreset(const JsonValue& preset, const std::set<std::string>& typed, ConversionSettings& settings,
                 std::vector<Unavailable>& unavailable, Reporter& report, std::string& error);

} // namespace tesk
