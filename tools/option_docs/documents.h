// The files that the build makes from the option tables.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace tesk::docs {

/// Completion scripts. Behind an option stand the words it takes, or files with its extensions; a line with --reverse
/// is offered the options of that mode.
std::string bashCompletion();
std::string zshCompletion();
std::string fishCompletion();

/// Manual pages as roff source.
std::string programPage(); ///< tesk(1)
std::string enginePage();  ///< tesk_engine(3)
std::string presetPage();  ///< tesk-preset(5)
std::string batchPage();   ///< tesk-batch(5)

/// The examples of the pages, for whoever wants to try them.
std::string hostExample();   ///< a C program
std::string presetExample(); ///< a preset file
std::string batchExample();  ///< a configuration of a batch

struct Document {
    std::string_view name; ///< "bash"
    std::string (*text)();
};

/// All of them.
std::span<const Document> documents();

} // namespace tesk::docs
