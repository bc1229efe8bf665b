// Preset files: where they are looked for, and how the options of the command line list, load and save them.
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/settings.h"
#include "engine/options/option_use.h"

#include <set>
#include <string>
#include <vector>

namespace tesk {

/// The folders that hold presets, first come first served, each with a final slash: the current folder's, those beside
/// the program, the user's and the system's (XDG Base Directory).
std::vector<std::string> presetFolders();

/// Prints the presets of the folders. Of several with one name only the first counts.
void listPresets(Reporter& report, const std::vector<std::string>& folders = presetFolders());

/// Loads a preset file as applyPreset() does; false after a message, with the settings as they were.
bool loadPresetFile(const std::string& path, const std::set<std::string>& typed, ConversionSettings& settings,
                    std::vector<Unavailable>& unavailable, Reporter& report);

/// The same of the preset `name` of the folders.
bool loadMasteringPreset(const std::string& name, const std::set<std::string>& typed, ConversionSettings& settings,
                         std::vector<Unavailable>& unavailable, Reporter& report,
                         const std::vector<std::string>& folders = presetFolders());

/// Loads what the settings name: the mastering preset, then the preset file over it.
bool loadChosenPresets(ConversionSettings& settings, std::vector<Unavailable>& unavailable, Reporter& report);

/// Saves the settings. A preset that stood there is replaced only by a whole one. False after a message, which is also
/// the answer to the name of a file that the run reads or writes.
bool savePresetFile(const std::string& path, const ConversionSettings& settings, Reporter& report);

} // namespace tesk
