#include "engine/options/cli11_application.h"

#include "engine/options/help_topics.h"
#include "engine/options/line_rewriter.h"
#include "engine/options/parse_steps.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <memory>

namespace tesk {
namespace {

constexpr const char* kBare = "bare"; // the result of a list without values; unmarked, so never one of them

/// Help in the spellings of the table: CLI11 itself knows one name of each option.
class TableFormatter final : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App*, std::string) const override { return "Usage: -i INPUT [options] OUTPUT\n"; }

    std::string make_option_name(const CLI::Option* option, bool) const override
    {
        if (option->get_lnames().empty()) return option->get_name(true);
        const Option* row = findOption("--" + option->get_lnames().front());
        if (!row) row = findOption("-" + option->get_lnames().front());
        std::string names;
        for (const char* name : row->names)
            if (name) names.append(names.empty() ? "" : ",").append(name);
        return names;
    }

    std::string make_option_opts(const CLI::Option* option) const override
    {
        const std::string argument = option->get_type_name();
        return argument.empty() ? argument : " " + argument;
    }
};

class Cli11Application {
public:
    Cli11Application()
    {
        app_.formatter(std::make_shared<TableFormatter>());
        app_.set_help_flag();
        app_.allow_windows_style_options(false);
        words_ = app_.add_option("OUTPUT")->expected(0, -1)->allow_extra_args(); // and what is no option at all
        words_->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        for (const OptionGroup& group : optionGroups())
            for (const Option& option : group.options) add(option, plainHeading(group.heading));
    }

    /// @param line  as rewriteLine() made it
    /// @throws CLI::ParseError  among them CallForHelp and CallForVersion
    void parse(std::vector<std::string> line)
    {
        std::reverse(line.begin(), line.end()); // the order in which CLI11 takes words off its stack
        app_.parse(std::move(line));
    }

    std::string help() const { return app_.help(); }

    /// Applies options and other words in the order of the line. False after a message.
    bool apply(ConversionSettings& settings, Reporter& report, std::vector<Unavailable>& unavailable) const
    {
        std::map<const CLI::Option*, std::size_t> read; // results of each option
        const auto& order = app_.parse_order();         // one entry per value, or per option without values
        for (std::size_t i = 0; i < order.size();) {
            const CLI::Option* met = order[i];
            if (met == words_) {
                if (!takePlainWord(*unmarked(met->results()[read[met]++]), settings, report)) return false;
                ++i;
                continue;
            }
            const std::vector<std::string> occurrence = nextOccurrence(met->results(), read[met]);
            std::vector<std::string> values;
            for (const std::string& result : occurrence)
                if (auto value = unmarked(result)) values.push_back(*std::move(value));
            const Option& row = *rows_.at(met);
            ArgumentCursor cursor(values);
            OptionUse use{row, row.longName(), cursor, settings, report, unavailable};
            if (!applyOption(use)) return false;
            i += std::max<std::size_t>(occurrence.size(), 1);
        }
        return true;
    }

private:
    void add(const Option& row, const std::string& heading)
    {
        const std::string name = parserName(row);
        CLI::Option* option = nullptr;
        if (name == "--help")
            option = app_.set_help_flag(name);
        else if (name == "--ver")
            option = app_.set_version_flag(name, versionBanner());
        else
            option = addReadable(row, name);
        option->description(descriptionText(row))->group(heading);
    }

    CLI::Option* addReadable(const Option& row, const std::string& name)
    {
        CLI::Option* option = app_.add_option(name)->type_name(row.argument);
        switch (valueCount(row)) {
        case ValueCount::none: option->expected(0); break;
        case ValueCount::one: option->expected(1); break;
        case ValueCount::open: option->expected(0, -1)->allow_extra_args()->default_str(kBare); break;
        }
        option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        option->inject_separator(); // an empty result, as no marked value is, parts two uses of an option
        rows_[option] = &row;
        return option;
    }

    /// The results up to the next separator.
    static std::vector<std::string> nextOccurrence(const std::vector<std::string>& results, std::size_t& position)
    {
        if (position > 0) ++position; // the separator
        const auto begin = results.begin() + static_cast<std::ptrdiff_t>(position);
        const auto end = std::find(begin, results.end(), std::string());
        position += static_cast<std::size_t>(end - begin);
        return {begin, end};
    }

    CLI::App app_{"TeskEngine — PCM to DSD Converter"};
    CLI::Option* words_ = nullptr;
    std::map<const CLI::Option*, const Option*> rows_;
};

/// A rejection with the status of this parser.
ParseOutcome asUsageError(ParseOutcome outcome)
{
    if (outcome.status == kCommandLineRejected) outcome.status = DSD_ERROR_USAGE;
    return outcome;
}

} // namespace

ParseOutcome parse_options_cli11(const std::vector<std::string>& arguments, ConversionSettings& settings,
                                 Reporter& report)
{
    if (arguments.empty()) return {};
    settlePlainWords(arguments, settings);
    Cli11Application application;
    try {
        application.parse(rewriteLine(arguments, settings));
    } catch (const CLI::CallForHelp&) {
        if (const auto topic = helpTopic(arguments); !topic.empty()) return asUsageError(printHelpTopic(topic, report));
        report.out("%s", application.help().c_str());
        return {0, true};
    } catch (const CLI::CallForVersion& version) {
        report.result(version.what() + std::string("\n"));
        return {0, true};
    } catch (const CLI::ParseError& error) {
        report.error("Error : %s\n", error.what());
        return {DSD_ERROR_USAGE, false};
    }
    std::vector<Unavailable> unavailable;
    if (!application.apply(settings, report, unavailable)) return {DSD_ERROR_USAGE, false};
    return asUsageError(finishParse(settings, report, unavailable));
}

} // namespace tesk
