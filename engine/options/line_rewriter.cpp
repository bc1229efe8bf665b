#include "engine/options/line_rewriter.h"

#include "engine/options/option_use.h"
#include "engine/options/parse_steps.h"

#include <span>

namespace tesk {
namespace {

constexpr char kMark = ':'; // CLI11 takes no word that begins so for an option or its end

std::string marked(const std::string& word) { return kMark + word; }

const Option* findInformation(const std::vector<std::string>& arguments)
{
    for (const std::string& argument : arguments)
        if (const Option* option = findOption(argument); option && isInformation(*option)) return option;
    return nullptr;
}

bool asksForPipe(const Option& option)
{
    const auto* flag = std::get_if<bool ConversionSettings::*>(&option.destination);
    return flag && *flag == &ConversionSettings::pipe;
}

/// How many of the following words the row reads, found by letting it read them into a record of no use.
/// Where it refuses them, the word that it stumbled over counts too: its text may depend on it.
std::size_t openValues(const Option& option, std::span<const std::string> following, bool lastIsReserved)
{
    ConversionSettings scratch;
    CollectingReporter unheard;
    std::vector<Unavailable> unavailable;
    ArgumentCursor cursor(following);
    cursor.reserveLast(lastIsReserved);
    OptionUse use{option, option.longName(), cursor, scratch, unheard, unavailable};
    const bool accepted = applyOption(use);
    const std::size_t stumbled = !accepted && cursor.left() > (lastIsReserved ? 1 : 0) ? 1 : 0;
    return following.size() - cursor.left() + stumbled;
}

class LineRewriter {
public:
    LineRewriter(std::span<const std::string> arguments, const ConversionSettings& before)
        : following_(arguments), scratch_(before)
    {
    }

    std::vector<std::string> rewrite()
    {
        while (!following_.empty()) {
            const std::string& word = take();
            if (const Option* option = findOption(word)) {
                addOption(*option);
            } else {
                line_.push_back(marked(word));
                CollectingReporter unheard;
                takePlainWord(word, scratch_, unheard);
            }
        }
        return std::move(line_);
    }

private:
    const std::string& take()
    {
        const std::string& word = following_.front();
        following_ = following_.subspan(1);
        return word;
    }

    bool outputMissing() const { return scratch_.outputPath.empty() && !scratch_.pipe; }

    void addOption(const Option& option)
    {
        line_.push_back(parserName(option));
        switch (valueCount(option)) {
        case ValueCount::none: break;
        case ValueCount::one:
            if (!following_.empty()) line_.back().append(1, '=').append(marked(take()));
            break;
        case ValueCount::open:
            for (std::size_t n = openValues(option, following_, outputMissing()); n > 0; --n)
                line_.push_back(marked(take()));
            line_.emplace_back("--");
        }
        if (asksForPipe(option)) scratch_.pipe = true;
    }

    std::span<const std::string> following_;
    ConversionSettings scratch_; // knows of the output what the words so far have told
    std::vector<std::string> line_;
};

} // namespace

ValueCount valueCount(const Option& option)
{
    if (option.apply || option.valueIsOptional()) return ValueCount::open;
    return option.takesValue() ? ValueCount::one : ValueCount::none;
}

std::string parserName(const Option& option)
{
    const std::string name = option.longName();
    return name.starts_with("--") ? name : "-" + name;
}

bool isInformation(const Option& option)
{
    const std::string_view name = option.longName();
    return name == "--help" || name == "--ver";
}

std::vector<std::string> rewriteLine(const std::vector<std::string>& arguments, const ConversionSettings& before)
{
    if (const Option* information = findInformation(arguments)) return {parserName(*information)};
    return LineRewriter(arguments, before).rewrite();
}

std::optional<std::string> unmarked(const std::string& word)
{
    if (!word.starts_with(kMark)) return {};
    return word.substr(1);
}

} // namespace tesk
