// tesk-preset(5) and tesk-batch(5): the files that settings come from.
#include "engine/json/json_text.h"
#include "engine/options/option_table.h"
#include "engine/options/preset_keys.h"
#include "engine/options/preset_values.h"
#include "tools/option_docs/documents.h"
#include "tools/option_docs/roff.h"

namespace tesk::docs {
namespace {

/// "--taps; an integer (even, at least 512; 0: not given). At first 0."
std::string keyText(const PresetKey& key)
{
    if (!key.option) return "No setting of this program; 0 or false.";
    const ConversionSettings fresh;
    std::string value = jsonText(key.get(fresh));
    value.erase(value.find_last_not_of(" \n") + 1);
    return std::string(key.option) + "; " + presetValueText(key) + ". Default " + value + ".";
}

void appendNoteOn(RoffPage& page, const char* option)
{
    if (const char* reason = findOption(option)->unavailable)
        page.paragraph(std::string("Not in this version: ") + reason + ".");
}

} // namespace

std::string presetExample()
{
    return R"({
    "oversampling": 128,
    "order": 7,
    "applyMinPhase": true
}
)";
}

std::string presetPage()
{
    RoffPage page("tesk-preset", "5", "settings of tesk in a file");
    page.heading("Description")
        .paragraph("A preset is one JSON object (RFC 8259). --preset-load reads a file, --mastering-preset one of the "
                   "installed presets, and --preset-save writes the settings of a command line. A preset file counts "
                   "more than a mastering preset, and options of the command line count more than both, wherever "
                   "they stand.")
        .paragraph("A key that is missing changes nothing. A key that is not known, a value of another type and one "
                   "that its option does not take are refused with the line, and nothing is converted (status 198). "
                   "0 stands for \"not given\" where the option does not take a 0.");
    appendNoteOn(page, "--preset-load");
    page.heading("Keys");
    for (const PresetKey& key : presetKeys()) page.item(bold(key.name), keyText(key));
    page.heading("Files").paragraph("--mastering-preset NAME takes the first NAME.json of these folders:");
    for (const char* folder : {"./presets/", "PROGRAM/presets/", "PROGRAM/../share/TeskEngine/presets/",
                               "$XDG_DATA_HOME/TeskEngine/presets/", "$XDG_DATA_DIRS/TeskEngine/presets/"})
        page.source(".br").source(italic(folder));
    page.paragraph("PROGRAM is the program's own folder. XDG_DATA_HOME is ~/.local/share when it is not set, "
                   "XDG_DATA_DIRS /usr/local/share:/usr/share.");
    page.heading("Examples").example(presetExample());
    page.heading("See also").source(".BR tesk (1),").source(".BR tesk\\-batch (5)");
    return page.text();
}

std::string batchExample()
{
    return R"({
    "defaults": {"oversampling": 128, "headroom": "auto"},
    "tracks": [
        {"input": "song.wav", "title": "So", "eq": [1000, 3, 200]},
        {"track": 3, "dst": true, "zeros": [18000, 21000]}
    ]
}
)";
}

std::string batchPage()
{
    RoffPage page("tesk-batch", "5", "settings of each recording of a batch");
    page.heading("Description")
        .paragraph("--batch converts every recording behind -i into the folder of --outdir, all with the options of "
                   "the command line. --batch-config FILE reads a JSON file (RFC 8259) with further options, for all "
                   "of them or for some.");
    appendNoteOn(page, "--batch");
    page.heading("Layout")
        .paragraph("One object with two members, both of which may be missing:")
        .item(bold("defaults"), "an object of options for every item")
        .item(bold("tracks"), "a list of objects, each with the options of the items it chooses");
    page.paragraph("An object of the list chooses by one of two members:")
        .item(bold("input"), "the item's path as given, its file name, or its name without extension")
        .item(bold("track"), "its position in the batch, from 1");
    page.subheading("Options").paragraph(
        "All other members are options of tesk(1) in any spelling, with their dashes or without. What a track says "
        "of an option takes the place of what the defaults say of it.");
    page.item(bold("true"), "the option without a value: \"dst\": true is --dst")
        .item(bold("false"), "the option taken away again, even from the command line; for options that work "
                             "without a value")
        .item(bold("a number or a text"), "its value: \"headroom\": \"auto\" is --headroom auto")
        .item(bold("a list"), "its values: \"eq\": [1000, 3, 200] is -eq 1000 3 200")
        .item(bold("a list of lists"), "the option once for each");
    page.paragraph("\"eq\" with a list is -eq, with a text --eq. In a track, the tag of that name is \"--track\".")
        .paragraph("Options of the whole batch are refused: inputs, the names and formats of outputs, --pipe, "
                   "--preset-save and --preset-list, recording, --reverse, the log, --quiet, --gui and --cli-v2. "
                   "The file is checked as a whole when it is loaded; a fault is named with its line.");
    page.heading("Examples").example(batchExample());
    page.heading("See also").source(".BR tesk (1),").source(".BR tesk\\-preset (5)");
    return page.text();
}

} // namespace tesk::docs
