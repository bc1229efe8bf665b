// A preset file: read, applied and, when it is good, saved and loaded again as the same settings.
#include "engine/json/json_text.h"
#include "engine/options/preset_use.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string error;
    const auto preset = tesk::parseJson({reinterpret_cast<const char*>(data), size}, error);
    if (!preset) {
        if (!error.starts_with("line ")) std::abort();
        return 0;
    }
    tesk::ConversionSettings settings, again;
    std::vector<tesk::Unavailable> unavailable;
    tesk::CollectingReporter report;
    if (!tesk::applyPreset(*preset, {}, settings, unavailable, report, error)) {
        if (!error.starts_with("line ") || !(settings == again)) std::abort();
        return 0;
    }
    const std::string text = tesk::presetText(settings);
    const auto saved = tesk::parseJson(text, error);
    if (!saved || !tesk::applyPreset(*saved, {}, again, unavailable, report, error)) std::abort();
    if (tesk::presetText(again) != text) std::abort();
    return 0;
}
