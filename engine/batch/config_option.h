// One option as the configuration of a batch writes it: "oversampling": 128.
#pragma once

#include "engine/json/json_value.h"
#include "engine/options/option_table.h"

#include <string>
#include <vector>

namespace tesk {

/// An option of the table with its values.
struct ConfigOption {
    const Option* option = nullptr;
    std::vector<std::string> words; ///< as on a command line, spelling first; none: the option is not to stand
};

/// Reads one member of a "defaults" or "tracks" object and has the option table's parser check its values.
///
/// The key is a spelling with or without its dashes. Where both "-KEY" and "--KEY" exist, a list belongs to the former.
/// true gives the option without a value, false takes it away, a number or a text is a word, a list several; a list of
/// lists gives the option once for each.
/// @return  why not, without the line: an unknown key with the nearest one, an option that belongs to the whole batch,
///          a value that the option refuses; empty when all is well
std::string readConfigOption(const std::string& key, const JsonValue& value, ConfigOption& out);

} // namespace tesk
