// One option met on a command line: what it may read, where it stores, how it complains.
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/settings.h"
#include "engine/options/option_table.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tesk {

/// The arguments not read yet.
class ArgumentCursor {
public:
    explicit ArgumentCursor(std::span<const std::string> arguments) : arguments_(arguments) {}

    bool atEnd() const { return arguments_.empty(); }
    std::size_t left() const { return arguments_.size(); }
    /// The next argument; null at the end.
    const std::string* peek() const { return atEnd() ? nullptr : &arguments_.front(); }
    const std::string* take()
    {
        const std::string* next = peek();
        if (next) arguments_ = arguments_.subspan(1);
        return next;
    }
    /// The next argument when it is a number.
    std::optional<double> takeNumber();
    /// The next argument when it is one of the words.
    std::string takeWord(std::initializer_list<std::string_view> words);
    /// The next argument when it can be a file name that nobody insists on: no option, and not the
    /// last argument while that one must still become the output.
    const std::string* takeOptionalFile();

    void reserveLast(bool reserved) { lastReserved_ = reserved; }

private:
    std::span<const std::string> arguments_;
    bool lastReserved_ = false;
};

/// What the command line asks for and this version cannot do.
struct Unavailable {
    std::string what, reason;
    bool operator==(const Unavailable&) const = default;
};

struct OptionUse {
    const Option& option;
    std::string spelling; ///< as typed
    ArgumentCursor& arguments;
    ConversionSettings& settings;
    Reporter& report;
    std::vector<Unavailable>& unavailable;

    /// Prints the text with `value` in place of its "%d", "%f" or "%s"; always false.
    bool reject(std::string_view text, std::string_view value = {}) const;
};

/// Reads the option's arguments and stores them, marks it as given and as unavailable where it is.
/// False after a message: the command line is rejected.
bool applyOption(OptionUse& use);

} // namespace tesk
