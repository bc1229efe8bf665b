#include "engine/options/option_table.h"

#include "engine/base/reporter.h"
#include "engine/options/option_rows.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace tesk {
namespace {

/// Insertions, deletions and substitutions that turn `a` into `b`.
std::size_t editDistance(std::string_view a, std::string_view b)
{
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t substituted = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({row[j] + 1, diagonal + 1, substituted});
        }
    }
    return row.back();
}

/// How many edits still count as a slip; a spelling of two letters is near to everything.
std::size_t slipsAllowed(std::size_t length)
{
    if (length < 4) return 0;
    if (length < 6) return 1;
    return length < 12 ? 2 : 3;
}

template <class Visit>
void forEachSpelling(Visit visit)
{
    for (const OptionGroup& group : optionGroups())
        for (const Option& option : group.options)
            for (const char* name : option.names)
                if (name) visit(option, std::string_view(name));
}

std::string numberText(double value) { return format("%.12g", value); }

std::string choiceWord(const Option& option, double value)
{
    for (const Choice& choice : option.choices)
        if (choice.value == value) return choice.word;
    return {};
}

std::string numericDefault(const Option& option, double value)
{
    if (std::string word = choiceWord(option, value); !word.empty()) return word;
    const bool possible = option.range.contains(value) && (!option.accepts || option.accepts(value));
    return option.kind != ValueKind::word && possible ? numberText(value) : std::string();
}

} // namespace

const char* Option::longName() const
{
    for (const char* name : names)
        if (name && std::string_view(name).starts_with("--")) return name;
    return names[0];
}

std::span<const OptionGroup> optionGroups()
{
    static const std::array groups = {
        OptionGroup{"Mandatory :", rows::mandatory()},
        OptionGroup{"PDM output :", rows::pdmOutput()},
        OptionGroup{"Auto panning :", rows::panning()},
        OptionGroup{"IIR / modulator :", rows::modulator()},
        OptionGroup{"FIR filtering :", rows::filter()},
        OptionGroup{"Process, system :", rows::process()},
        OptionGroup{"Equalisation :", rows::equalizer()},
        OptionGroup{"Psychoacoustic :", rows::psychoacoustic()},
        OptionGroup{"Apodizing :", rows::apodizing()},
        OptionGroup{"Adaptive :", rows::adaptive()},
        OptionGroup{"Look-ahead limiter :", rows::lookaheadLimiter()},
        OptionGroup{"Harmonics :", rows::harmonics()},
        OptionGroup{"Dither, quantisation, level :", rows::quantization()},
        OptionGroup{"Mastering / Restoration (always accepted; help used to omit them) :", rows::restoration()},
        OptionGroup{"DXD output :", rows::dxd()},
        OptionGroup{"HRTF :", rows::hrtf()},
        OptionGroup{"Stereo expander :", rows::stereoExpander()},
        OptionGroup{"DSP :", rows::dsp()},
        OptionGroup{"DSP toolkit :", rows::dspToolkit()},
        OptionGroup{"Spectral enhancement :", rows::spectral()},
        OptionGroup{"Metadata :", rows::metadata()},
        OptionGroup{"Presets, batch :", rows::presets()},
        OptionGroup{"Channels :", rows::channels()},
        OptionGroup{"Diagnostics :", rows::diagnostics()},
        OptionGroup{"Information :", rows::information()},
        OptionGroup{"Recording :", rows::recording()},
        OptionGroup{"In-process host (injected by TESK GUIs, not for command line) :", rows::inProcess()},
    };
    return groups;
}

const Option* findOption(std::string_view spelling)
{
    const Option* found = nullptr;
    forEachSpelling([&](const Option& option, std::string_view name) {
        if (name == spelling) found = &option;
    });
    return found;
}

bool choosesModulator(std::string_view longName)
{
    return longName == "--order" || longName == "--mash" || longName == "--cifb" || longName == "--sos-ef";
}

std::string nearestSpelling(std::string_view typed)
{
    std::vector<std::string_view> names;
    forEachSpelling([&](const Option&, std::string_view name) { names.push_back(name); });
    return nearestWord(typed, names);
}

std::string nearestWord(std::string_view typed, std::span<const std::string_view> words)
{
    std::size_t best = slipsAllowed(typed.size()) + 1;
    std::string_view nearest;
    for (const std::string_view word : words)
        if (const std::size_t distance = editDistance(typed, word); distance < best) {
            best = distance;
            nearest = word;
        }
    return std::string(nearest);
}

std::string defaultText(const Option& option)
{
    if (option.defaultNote) return option.defaultNote;
    const ConversionSettings fresh;
    if (const auto* member = std::get_if<int ConversionSettings::*>(&option.destination))
        return numericDefault(option, fresh.**member);
    if (const auto* member = std::get_if<double ConversionSettings::*>(&option.destination))
        return numericDefault(option, fresh.**member);
    if (const auto* member = std::get_if<std::string ConversionSettings::*>(&option.destination)) return fresh.**member;
    if (const auto* member = std::get_if<bool ConversionSettings::*>(&option.destination))
        return option.kind == ValueKind::word ? choiceWord(option, fresh.**member) : std::string();
    return {};
}

std::string rangeText(const Option& option)
{
    if (option.rangeNote) return option.rangeNote;
    const Range& range = option.range;
    const bool low = std::isfinite(range.minimum), high = std::isfinite(range.maximum);
    const std::string minimum = numberText(range.minimum), maximum = numberText(range.maximum);
    if (low && high && !range.aboveMinimum && !range.belowMaximum) return minimum + " to " + maximum;
    std::string text;
    if (low) text = (range.aboveMinimum ? "above " : "at least ") + minimum;
    if (low && high) text += ", ";
    if (high) text += (range.belowMaximum ? "below " : "at most ") + maximum;
    return text;
}

std::string descriptionText(const Option& option)
{
    std::string text = option.help;
    std::string facts = rangeText(option);
    if (const std::string usual = defaultText(option); !usual.empty())
        facts.append(facts.empty() ? "default " : "; default ").append(usual);
    if (!facts.empty()) text += " (" + facts + ")";
    if (option.unavailable) text.append(text.ends_with('\n') ? "" : " ").append("[not in this version]");
    std::string waiting;
    for (const Choice& choice : option.choices)
        if (choice.unavailable) waiting.append(waiting.empty() ? " [" : ", ").append(choice.word);
    return waiting.empty() ? text : text + waiting + ": not in this version]";
}

} // namespace tesk
