// Settings per item of a batch, from the JSON file of --batch-config:
//
//   {"defaults": {"oversampling": 128, "headroom": "auto"},
//    "tracks": [{"input": "song.wav", "title": "So"}, {"track": 3, "dst": true}]}
#pragma once

#include "engine/base/settings.h"
#include "engine/batch/batch_inputs.h"
#include "engine/batch/config_option.h"
#include "engine/json/json_value.h"

#include <optional>
#include <string>
#include <vector>

namespace tesk {

struct BatchConfig {
    /// Options for the items that one entry of "tracks" chooses.
    struct Track {
        std::string input;      ///< path as given, file name, or name without extension; empty: by `number`
        std::size_t number = 0; ///< position in the batch, from 1
        std::size_t line = 0;   ///< of the entry
        std::vector<ConfigOption> options;
    };

    std::vector<ConfigOption> defaults;
    std::vector<Track> tracks;

    /// The item's words for the option parser: the defaults', then the matching tracks'. What a track says of an option
    /// takes the place of what the defaults, or an earlier track, say of it; one that chooses a modulator, that of
    /// every other such option.
    /// @param track  the item's position in the batch, from 1
    std::vector<std::string> wordsFor(const BatchInput& input, std::size_t track) const;

    /// Gives the settings of the options that the file speaks of for this item, and that the common command line may
    /// have, their state in a fresh record, before the words are applied: lists begin anew, and a modulator takes the
    /// place of another.
    void takeBack(const BatchInput& input, std::size_t track, ConversionSettings& settings) const;

    /// A line for every entry of "tracks" that chooses none of these items; worth a warning.
    std::vector<std::string> unmatched(const std::vector<BatchInput>& inputs) const;

private:
    std::vector<const ConfigOption*> optionsFor(const BatchInput& input, std::size_t track) const;
};

/// Reads the file and checks all of it. Nothing, with `error` as "FILE: line N: ...", for JSON that is not well formed,
/// a key, type or value that cannot be, or an option that stands twice.
std::optional<BatchConfig> loadBatchConfig(const std::string& path, std::string& error);

/// The same for JSON that was read already; `error` then begins with "line N: ".
std::optional<BatchConfig> readBatchConfig(const JsonValue& root, std::string& error);

} // namespace tesk
