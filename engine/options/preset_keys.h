// The keys of preset files: which setting each stands for.
#pragma once

#include "engine/base/settings.h"
#include "engine/json/json_value.h"
#include "engine/options/option_table.h"

#include <span>
#include <string_view>

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

} // namespace tesk
