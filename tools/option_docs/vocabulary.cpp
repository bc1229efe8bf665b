#include "tools/option_docs/vocabulary.h"

#include "engine/options/help_topics.h"
#include "engine/options/option_table.h"
#include "engine/options/reverse_options.h"

#include <algorithm>
#include <cmath>

namespace tesk::docs {
namespace {

using Words = std::vector<std::string>;

/// A longer list of numbers helps nobody who types.
constexpr std::size_t kMostNumbers = 16;

struct FileKind {
    std::string_view option;
    FileUse use;
    Words extensions;
};

Words recordings()
{
    return {"flac", "fla", "wav",  "wave", "w64", "rf64", "bw64", "aiff", "aif", "aifc", "wv",
            "tta",  "ape", "alac", "m4a",  "caf", "mac",  "aac",  "opus", "mp3", "ogg",  "cue"};
}

/// What the path behind an option leads to; options that are not here take any file.
std::vector<FileKind> fileKinds()
{
    return {
        {"--input", FileUse::file, recordings()},   {"--cover", FileUse::file, {"jpg", "jpeg", "png"}},
        {"--cue", FileUse::file, {"cue"}},          {"--preset-load", FileUse::file, {"json"}},
        {"--preset-save", FileUse::file, {"json"}}, {"--batch-config", FileUse::file, {"json"}},
        {"--outdir", FileUse::folder, {}},          {"--ext-decoder", FileUse::file, {"so"}},
        {"--hrtf-load", FileUse::file, {"sofa"}},   {"--convolve", FileUse::file, {"wav", "flac"}},
        {"--spectrogram", FileUse::file, {"png"}},
    };
}

bool mayBeInAlternatives(char c) { return c == '|' || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'); }

/// The words of every "one|other" in the text; a placeholder in capitals is none.
Words alternatives(std::string_view text)
{
    Words words;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at;
        while (end < text.size() && mayBeInAlternatives(text[end])) ++end;
        const std::string_view run = text.substr(at, end - at);
        if (run.find('|') != std::string_view::npos)
            for (std::size_t begin = 0; begin <= run.size();) {
                const std::size_t stop = std::min(run.find('|', begin), run.size());
                if (stop > begin) words.emplace_back(run.substr(begin, stop - begin));
                begin = stop + 1;
            }
        at = end + 1;
    }
    return words;
}

/// The integers that the option takes, when they are few.
Words numbersOf(const Option& option)
{
    const Range& range = option.range;
    if (option.kind != ValueKind::integer || (!option.accepts && !std::isfinite(range.maximum))) return {};
    Words numbers;
    const int last = static_cast<int>(std::min(range.maximum, 4096.0));
    for (int value = static_cast<int>(std::max(range.minimum, 0.0)); value <= last; ++value) {
        if (!range.contains(value) || (option.accepts && !option.accepts(value))) continue;
        numbers.push_back(std::to_string(value));
        if (numbers.size() > kMostNumbers) return {};
    }
    return numbers;
}

Words wordsOf(const Option& option)
{
    Words words;
    for (const Choice& choice : option.choices) words.emplace_back(choice.word);
    if (words.empty()) words = alternatives(option.argument);
    const bool tellsInItsText = option.kind == ValueKind::word || option.kind == ValueKind::text;
    if (words.empty() && tellsInItsText) words = alternatives(option.help);
    return words.empty() ? numbersOf(option) : words;
}

/// A word for each heading of the help: its first, small.
Words topics()
{
    Words words;
    for (const std::string& heading : helpHeadings()) {
        std::string word;
        for (const char c : heading.substr(0, heading.find_first_of(" ,")))
            word += static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
        if (std::find(words.begin(), words.end(), word) == words.end()) words.push_back(word);
    }
    return words;
}

Entry entryOf(const Option& option)
{
    Entry entry;
    for (const char* name : option.names)
        if (name) entry.names.emplace_back(name);
    entry.argument = option.argument;
    entry.text = descriptionText(option);
    entry.valueIsOptional = option.valueIsOptional();
    if (option.kind == ValueKind::file) {
        entry.files = FileUse::file;
        for (FileKind& kind : fileKinds())
            if (kind.option == option.longName()) {
                entry.files = kind.use;
                entry.extensions = std::move(kind.extensions);
            }
    } else if (option.takesValue()) {
        entry.words = wordsOf(option);
    } else if (option.longName() == std::string_view("--help")) {
        entry.argument = "[GROUP]";
        entry.valueIsOptional = true;
        entry.words = topics();
    }
    return entry;
}

} // namespace

std::vector<Group> forwardGroups()
{
    std::vector<Group> groups;
    for (const OptionGroup& rows : optionGroups()) {
        Group& group = groups.emplace_back(Group{plainHeading(rows.heading), {}});
        for (const Option& option : rows.options) group.entries.push_back(entryOf(option));
    }
    return groups;
}

Group reverseGroup()
{
    Group group{"Options of --reverse", {}};
    for (const ReverseOptionText& option : reverseOptionTexts()) {
        Entry& entry = group.entries.emplace_back();
        for (const char* name : option.names)
            if (name) entry.names.emplace_back(name);
        entry.argument = option.argument;
        entry.text = option.help;
        entry.words = alternatives(option.argument);
        if (entry.argument == "INPUT" || entry.argument == "PATH") entry.files = FileUse::file;
        if (entry.argument == "INPUT") entry.extensions = {"dsf", "dff", "wsd", "iso"};
    }
    group.entries.push_back(entryOf(*findOption("--reverse"))); // stands on every such line
    group.entries.back().text = "Chooses this mode";
    return group;
}

std::vector<std::string> forwardOutputs() { return {"dsf", "dff", "dst", "wsd", "wav", "w64", "flac"}; }

std::vector<std::string> reverseFiles() { return {"wav", "w64", "flac", "dsf", "dff", "wsd", "iso"}; }

std::string joined(const std::vector<std::string>& parts, const std::string& between)
{
    std::string text;
    for (const std::string& part : parts) text += (text.empty() ? "" : between) + part;
    return text;
}

} // namespace tesk::docs
