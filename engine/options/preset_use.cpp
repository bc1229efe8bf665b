#include "engine/options/preset_use.h"

#include "engine/json/json_text.h"
#include "engine/options/preset_values.h"

#include <algorithm>

namespace tesk {
namespace {

using S = ConversionSettings;
using Kind = JsonValue::Kind;

bool equalValues(const JsonValue& a, const JsonValue& b)
{
    return a.boolean == b.boolean && a.number == b.number && a.text == b.text;
}

bool isNothing(const JsonValue& value)
{
    return equalValues(value, JsonValue{}) && value.items.empty() && value.members.empty();
}

/// Applies one preset to a copy of the settings.
class PresetUse {
public:
    PresetUse(const JsonValue& preset, const std::set<std::string>& typed, const S& before)
        : settings(before), preset_(preset), typed_(typed),
          modulatorTyped_(std::any_of(typed.begin(), typed.end(), choosesModulator))
    {
    }

    S settings;
    std::vector<Unavailable> unavailable;
    std::string error;

    bool apply(Reporter& report)
    {
        if (preset_.kind != Kind::object) return fail(preset_, "a preset is an object: { \"taps\": 4096, ... }");
        if (!knowsEveryKey() || !choosesOneWindow()) return false;
        for (const PresetKey& key : presetKeys())
            if (const JsonValue* value = preset_.find(key.name); value && !applyKey(key, *value)) return false;
        for (const PresetKey& key : presetKeys())
            if (const JsonValue* value = preset_.find(key.name)) markOrWarn(key, *value, report);
        return true;
    }

private:
    bool fail(const JsonValue& where, const std::string& what)
    {
        error = format("line %d: %s", where.line, what.c_str());
        return false;
    }

    bool knowsEveryKey()
    {
        std::vector<std::string_view> names;
        for (const PresetKey& key : presetKeys()) names.emplace_back(key.name);
        for (const auto& [key, value] : preset_.members) {
            if (findPresetKey(key)) continue;
            const std::string nearest = nearestWord(key, names);
            return fail(value, "the key '" + key + "' is not known" +
                                   (nearest.empty() ? std::string() : "; did you mean '" + nearest + "'?"));
        }
        return true;
    }

    bool choosesOneWindow()
    {
        const char* chosen = nullptr;
        for (const PresetKey& key : presetKeys()) {
            if (!key.option || std::string_view(key.option) != "--window-type") continue;
            const JsonValue* value = preset_.find(key.name);
            if (!value || !value->boolean) continue;
            if (chosen)
                return fail(*value, format("the keys '%s' and '%s' are both true; keep one window", chosen, key.name));
            chosen = key.name;
        }
        return true;
    }

    bool isTyped(const PresetKey& key) const
    {
        return typed_.count(key.option) > 0 || (modulatorTyped_ && choosesModulator(key.option));
    }

    bool applyKey(const PresetKey& key, const JsonValue& value)
    {
        if (!key.option) return true;
        const std::string takes = "the key '" + std::string(key.name) + "' takes " + presetValueText(key);
        if (!hasKind(value, key.kind)) return fail(value, takes + ", not " + kindText(value.kind));
        const bool allowed = isAllowed(key, value);
        if (!allowed && !isNotGiven(key, value)) return fail(value, takes);
        if (isTyped(key)) return true;
        const JsonValue& meant = allowed ? value : key.get(S{});
        key.set(settings, meant);
        if (!meant.boolean || key.get(settings).boolean) return true;
        unavailable.push_back(
            {format("%s in a preset", key.name), format("a preset does not hold its values; use %s", key.option)});
        return true;
    }

    void markOrWarn(const PresetKey& key, const JsonValue& value, Reporter& report)
    {
        if (!key.option) {
            if (!isNothing(value)) report.err("Warning: the key '%s' of the preset is not used.\n", key.name);
            return;
        }
        if (isTyped(key)) return;
        const PresetKey* use = keyInUse(key.option);
        if (!use) {
            settings.given.erase(key.option);
            return;
        }
        settings.given.insert(key.option);
        if (const char* reason = findOption(key.option)->unavailable)
            unavailable.push_back({format("%s (%s in the preset)", key.option, use->name), reason});
    }

    /// The key by which the settings use the option; null when they do not.
    const PresetKey* keyInUse(std::string_view option) const
    {
        for (const PresetKey& key : presetKeys())
            if (key.marks && key.option && option == key.option && !equalValues(key.get(settings), key.get(S{})))
                return &key;
        return nullptr;
    }

    const JsonValue& preset_;
    const std::set<std::string>& typed_;
    bool modulatorTyped_;
};

} // namespace

std::string presetText(const ConversionSettings& settings)
{
    JsonValue preset;
    preset.kind = Kind::object;
    for (const PresetKey& key : presetKeys()) {
        JsonValue value;
        value.kind = key.kind; // of what does not exist: 0 or false
        preset.members.push_back({key.name, key.get ? key.get(settings) : value});
    }
    std::sort(preset.members.begin(), preset.members.end(),
              [](const JsonMember& a, const JsonMember& b) { return a.key < b.key; });
    return jsonText(preset);
}

bool applyPreset(const JsonValue& preset, const std::set<std::string>& typed, ConversionSettings& settings,
                 std::vector<Unavailable>& unavailable, Reporter& report, std::string& error)
{
    PresetUse use(preset, typed, settings);
    if (!use.apply(report)) {
        error = use.error;
        return false;
    }
    settings = std::move(use.settings);
    unavailable.insert(unavailable.end(), use.unavailable.begin(), use.unavailable.end());
    return true;
}

} // namespace tesk
