#include "engine/batch/batch_config.h"

#include "engine/base/paths.h"
#include "engine/base/reporter.h"
#include "engine/json/json_file.h"

#include <algorithm>
#include <type_traits>
#include <variant>

namespace tesk {
namespace {

using Kind = JsonValue::Kind;

bool chooses(const BatchConfig::Track& entry, const BatchInput& input, std::size_t track)
{
    if (entry.input.empty()) return entry.number == track;
    const std::string_view path = input.path, name = path.substr(folderOf(path).size());
    return entry.input == path || entry.input == name || entry.input == withoutExtension(name);
}

/// The option's destinations as in a fresh record.
void makeFresh(const Option& option, ConversionSettings& settings)
{
    const ConversionSettings fresh;
    std::visit(
        [&](auto member) {
            using Member = decltype(member);
            if constexpr (std::is_same_v<Member, std::optional<std::string> MetadataRecord::*> ||
                          std::is_same_v<Member, std::optional<int> MetadataRecord::*>)
                settings.metadata.*member = fresh.metadata.*member;
            else if constexpr (!std::is_same_v<Member, std::monostate>)
                settings.*member = fresh.*member;
        },
        option.destination);
    if (option.alsoSets) settings.*option.alsoSets = fresh.*option.alsoSets;
    settings.given.erase(option.longName());
}

/// Turns the file's objects into a BatchConfig until the first fault.
class ConfigReader {
public:
    explicit ConfigReader(std::string& error) : error_(error) {}

    bool read(const JsonValue& root, BatchConfig& config)
    {
        if (root.kind != Kind::object)
            return fail(root, "the file must be an object: {\"defaults\": ..., \"tracks\": ...}");
        for (const auto& [key, value] : root.members) {
            if (key == "defaults" && value.kind == Kind::object) {
                if (!readOptions(value, config.defaults)) return false;
            } else if (key == "tracks" && value.kind == Kind::list) {
                for (const JsonValue& entry : value.items)
                    if (!readTrack(entry, config.tracks.emplace_back())) return false;
            } else {
                return fail(value, whyNotHere(key));
            }
        }
        return true;
    }

private:
    static std::string whyNotHere(const std::string& key)
    {
        if (key == "defaults") return "\"defaults\" must be an object of options";
        if (key == "tracks") return "\"tracks\" must be a list of objects";
        return "unknown key \"" + key + "\"; the file has \"defaults\" and \"tracks\"";
    }

    bool readTrack(const JsonValue& entry, BatchConfig::Track& track)
    {
        if (entry.kind != Kind::object) return fail(entry, "a track must be an object of options");
        track.line = static_cast<std::size_t>(entry.line);
        const JsonValue *input = entry.find("input"), *number = entry.find("track");
        if ((input != nullptr) == (number != nullptr))
            return fail(entry, "a track is chosen by \"input\" or by \"track\", one of them; "
                               "the tag of that name is \"--track\"");
        if (input && (input->kind != Kind::text || input->text.empty()))
            return fail(*input, "\"input\" takes a file's path or name");
        if (number && (number->kind != Kind::integer || number->integer < 1))
            return fail(*number, "\"track\" takes the item's position in the batch, from 1");
        if (input) track.input = input->text;
        if (number) track.number = static_cast<std::size_t>(number->integer);
        return readOptions(entry, track.options, input ? "input" : "track");
    }

    /// @param chooser  a key that is no option here
    bool readOptions(const JsonValue& object, std::vector<ConfigOption>& options, std::string_view chooser = {})
    {
        for (const auto& [key, value] : object.members) {
            if (!chooser.empty() && key == chooser) continue;
            ConfigOption read;
            if (const std::string why = readConfigOption(key, value, read); !why.empty()) return fail(value, why);
            for (const ConfigOption& other : options)
                if (other.option == read.option)
                    return fail(value, "\"" + key + "\" is the second word about " + other.option->longName());
            options.push_back(std::move(read));
        }
        return true;
    }

    bool fail(const JsonValue& where, const std::string& why)
    {
        error_ = "line " + std::to_string(where.line) + ": " + why;
        return false;
    }

    std::string& error_;
};

/// Whether what is said ends what was said before of the option.
bool replaces(const ConfigOption& said, const Option& option)
{
    const bool chooses = !said.words.empty() && choosesModulator(said.option->longName());
    return said.option == &option || (chooses && choosesModulator(option.longName()));
}

} // namespace

std::vector<const ConfigOption*> BatchConfig::optionsFor(const BatchInput& input, std::size_t track) const
{
    std::vector<const ConfigOption*> chosen;
    const auto add = [&](const std::vector<ConfigOption>& options) {
        for (const ConfigOption& option : options)
            std::erase_if(chosen, [&](const ConfigOption* earlier) { return replaces(option, *earlier->option); });
        for (const ConfigOption& option : options) chosen.push_back(&option);
    };
    add(defaults);
    for (const Track& entry : tracks)
        if (chooses(entry, input, track)) add(entry.options);
    return chosen;
}

std::vector<std::string> BatchConfig::wordsFor(const BatchInput& input, std::size_t track) const
{
    std::vector<std::string> words;
    for (const ConfigOption* option : optionsFor(input, track))
        words.insert(words.end(), option->words.begin(), option->words.end());
    return words;
}

void BatchConfig::takeBack(const BatchInput& input, std::size_t track, ConversionSettings& settings) const
{
    for (const ConfigOption* said : optionsFor(input, track))
        for (const OptionGroup& group : optionGroups())
            for (const Option& option : group.options)
                if (replaces(*said, option)) makeFresh(option, settings);
}

std::vector<std::string> BatchConfig::unmatched(const std::vector<BatchInput>& inputs) const
{
    std::vector<std::string> lines;
    for (const Track& entry : tracks) {
        bool chosen = false;
        for (std::size_t i = 0; i < inputs.size(); ++i) chosen = chosen || chooses(entry, inputs[i], i + 1);
        if (chosen) continue;
        const std::string what =
            entry.input.empty() ? "\"track\": " + std::to_string(entry.number) : "\"input\": \"" + entry.input + "\"";
        lines.push_back("line " + std::to_string(entry.line) + ": no item of the batch is " + what);
    }
    return lines;
}

std::optional<BatchConfig> readBatchConfig(const JsonValue& root, std::string& error)
{
    BatchConfig config;
    if (!ConfigReader(error).read(root, config)) return {};
    return config;
}

std::optional<BatchConfig> loadBatchConfig(const std::string& path, std::string& error)
{
    const auto root = readJsonFile(path, error);
    if (!root) return {};
    auto config = readBatchConfig(*root, error);
    if (!config) error = path + ": " + error;
    return config;
}

} // namespace tesk
