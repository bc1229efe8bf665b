// The options of both command lines, made ready for whoever writes about them: completions and manual pages.
#pragma once

#include <string>
#include <vector>

namespace tesk::docs {

enum class FileUse { none, file, folder };

/// One option of either mode.
struct Entry {
    std::vector<std::string> names;
    std::string argument;                ///< as the help shows it; empty for a flag
    std::string text;                    ///< what the help says of it, with range and default
    std::vector<std::string> words;      ///< what its first value may be, where that is a short list
    FileUse files = FileUse::none;       ///< whether its value is a path
    std::vector<std::string> extensions; ///< of such files, without the point; none: any
    bool valueIsOptional = false;

    bool takesValue() const { return !argument.empty(); }
};

struct Group {
    std::string heading; ///< without the colon of the help
    std::vector<Entry> entries;
};

/// The forward mode, group by group as in the help.
std::vector<Group> forwardGroups();

/// The options of --reverse.
Group reverseGroup();

/// Extensions of the files that the word without an option names: the output, and on the way back the input as well.
std::vector<std::string> forwardOutputs();
std::vector<std::string> reverseFiles();

/// The parts with `between` in between.
std::string joined(const std::vector<std::string>& parts, const std::string& between);

} // namespace tesk::docs
