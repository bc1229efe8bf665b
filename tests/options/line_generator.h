// Command lines drawn from the option table, good ones and bad ones.
#pragma once

#include "engine/options/option_table.h"
#include "tests/options/command_line.h"

#include <random>

namespace tesk::test {

class LineGenerator {
public:
    explicit LineGenerator(unsigned seed) : random_(seed)
    {
        for (const OptionGroup& group : optionGroups())
            for (const Option& option : group.options) options_.push_back(&option);
    }

    Line line()
    {
        Line out;
        for (std::size_t words = below(8); words > 0; --words) addOption(out);
        if (below(4)) out.insert(out.begin() + static_cast<std::ptrdiff_t>(below(out.size() + 1)), "o.dsf");
        if (below(8)) out.insert(out.end(), {"-i", "in.wav"});
        return out;
    }

private:
    std::size_t below(std::size_t limit) { return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random_); }

    void addOption(Line& out)
    {
        const Option& option = *options_[below(options_.size())];
        std::size_t names = 0;
        while (names < 4 && option.names[names]) ++names;
        out.push_back(option.names[below(names)]);
        if (!option.choices.empty() && below(2)) {
            out.push_back(option.choices[below(option.choices.size())].word);
        } else if (option.takesValue() && below(8)) {
            static const Line values = {"0",     "1",     "2",   "64",   "512",      "-1",   "0.5",
                                        "-0.85", "1e400", "nan", "",     "-",        "auto", "1,2",
                                        ";",     "x",     "999", "%s%n", "\xff\xfe", "--",   "1,1,1k"};
            for (std::size_t count = 1 + below(3); count > 0; --count) out.push_back(values[below(values.size())]);
        }
    }

    std::mt19937 random_;
    std::vector<const Option*> options_;
};

} // namespace tesk::test
