// A JSON value: a tree that remembers the order and the line of what it holds (RFC 8259).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tesk {

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

} // namespace tesk
