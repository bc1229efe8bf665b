// JSON texts as trees that remember the order and the line of what they hold (RFC 8259).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tesk {

/// Larger files are refused unread, deeper or longer texts where they pass the limit.
inline constexpr std::uint64_t kLargestJsonFile = 16 << 20; // bytes
inline constexpr std::size_t kDeepestJson = 64;             // lists and objects within each other
inline constexpr std::size_t kMostJsonValues = 1'000'000;

struct JsonMember;

struct JsonValue {
    enum class Kind { null, boolean, integer, number, text, list, object };
    Kind kind = Kind::null;
    bool boolean = false;
    std::int64_t integer = 0;
    double number = 0.0; ///< set for an integer too
    std::string text;    ///< UTF-8 without NUL
    std::vector<JsonValue> items;
    std::vector<JsonMember> members; ///< in the order of the text
    int line = 0;                    ///< where it ends, or a list or object begins; from 1

    /// The member of that name; null when there is none, or when this is no object.
    const JsonValue* find(std::string_view key) const;

    static JsonValue ofBoolean(bool value);
    static JsonValue ofInteger(std::int64_t value);
    static JsonValue ofNumber(double value);
    static JsonValue ofText(std::string value);
};

struct JsonMember {
    std::string key;
    JsonValue value;
};

/// Reads one JSON text in UTF-8, a byte order mark before it or not. Integers beyond 64 bits become numbers. A key that
/// stands twice in an object, a NUL in a text and numbers beyond a double's range are errors, and so is whatever passes
/// the limits above.
///
/// @return  nothing, with `error` as "line 3: ...", when the text is not that
std::optional<JsonValue> parseJson(std::string_view text, std::string& error);

/// The same of a file; `error` begins with its path. Only regular files are read.
std::optional<JsonValue> readJsonFile(const std::string& path, std::string& error);

/// The tree over several lines, indented by four blanks, with a line feed at the end. Numbers have the fewest digits
/// that read back as the same value and kind; one that is not finite becomes null. Lines are not looked at.
std::string jsonText(const JsonValue& value);

} // namespace tesk
