#include "engine/json/json_value.h"

#include <utility>

namespace tesk {

const JsonValue* JsonValue::find(std::string_view key) const
{
    for (const auto& [name, value] : members)
        if (name == key) return &value;
    return nullptr;
}

JsonValue JsonValue::ofBoolean(bool value)
{
    JsonValue made;
    made.kind = Kind::boolean;
    made.boolean = value;
    return made;
}

JsonValue JsonValue::ofInteger(std::int64_t value)
{
    JsonValue made;
    made.kind = Kind::integer;
    made.integer = value;
    made.number = static_cast<double>(value);
    return made;
}

JsonValue JsonValue::ofNumber(double value)
{
    JsonValue made;
    made.kind = Kind::number;
    made.number = value;
    return made;
}

JsonValue JsonValue::ofText(std::string value)
{
    JsonValue made;
    made.kind = Kind::text;
    made.text = std::move(value);
    return made;
}

} // namespace tesk
