// JSON texts and the values in them, both ways.
#pragma once

#include "engine/json/json_value.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tesk {

/// Deeper or longer texts are refused where they pass the limit.
inline constexpr std::size_t kDeepestJson = 64; // lists and objects within each other
inline constexpr std::size_t kMostJsonValues = 1'000'000;

/// Reads one JSON text in UTF-8, a byte order mark before it or not. Integers beyond 64 bits become numbers. A key that
/// stands twice in an object, a NUL in a text and numbers beyond a double's range are errors, and so is whatever passes
/// the limits above.
///
/// @return  nothing, with `error` as "line 3: ...", when the text is not that
std::optional<JsonValue> parseJson(std::string_view text, std::string& error);

/// The tree over several lines, indented by four blanks, with a line feed at the end. Numbers have digits
/// that read back as the same value and kind; one that is not finite becomes null, bytes that are no UTF-8 U+FFFD.
/// Lines are not looked at.
std::string jsonText(const JsonValue& value);

} // namespace tesk
