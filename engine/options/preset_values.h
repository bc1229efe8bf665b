// What the keys of a preset take: types, ranges and choices, as the rows of their options have them.
#pragma once

#include "engine/options/preset_keys.h"

#include <string>

namespace tesk {

/// Whether the value is of the kind, or a number that means the same.
bool hasKind(const JsonValue& value, JsonValue::Kind kind);

/// "an integer", "true or false".
const char* kindText(JsonValue::Kind kind);

/// Whether the key's option takes the value, which has the key's kind.
bool isAllowed(const PresetKey& key, const JsonValue& value);

/// Whether the value is a number that stands for "not given", allowed or not.
bool isNotGiven(const PresetKey& key, const JsonValue& value);

/// What the key takes, in words: "an integer (even, at least 512; 0: not given)".
std::string presetValueText(const PresetKey& key);

} // namespace tesk
