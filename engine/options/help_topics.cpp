#include "engine/options/help_topics.h"

#include "engine/options/option_table.h"

#include <algorithm>

namespace tesk {

std::vector<std::string> typedWords(const std::vector<std::string>& arguments)
{
    std::vector<std::string> words;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == "-inproc-host") continue;
        if (arguments[i] == "-inproc-ctl" || arguments[i] == "-inproc-ctl-fn")
            ++i; // its value
        else
            words.push_back(arguments[i]);
    }
    return words;
}

std::string helpTopic(const std::vector<std::string>& arguments)
{
    const std::vector<std::string> words = typedWords(arguments);
    if (words.size() < 2 || (words[0] != "-h" && words[0] != "--help")) return {};
    return words[1].starts_with('-') ? std::string() : words[1];
}

bool isAbout(std::string_view heading, std::string_view topic)
{
    const auto small = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    const auto same = [&](char a, char b) { return small(a) == small(b); };
    return std::search(heading.begin(), heading.end(), topic.begin(), topic.end(), same) != heading.end() ||
           topic.empty();
}

std::string plainHeading(std::string_view heading)
{
    return std::string(heading.substr(0, heading.find_last_not_of(" :") + 1));
}

std::vector<std::string> helpHeadings()
{
    std::vector<std::string> headings;
    for (const OptionGroup& group : optionGroups()) headings.push_back(plainHeading(group.heading));
    headings.push_back(plainHeading(kExitStatusHeading));
    headings.push_back(plainHeading(kStagesHeading));
    return headings;
}

} // namespace tesk
