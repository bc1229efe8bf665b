// What a step of the engine talks to: lines of the report, warnings and errors.
// The steps are handed one; only the entry knows that it ends in the log.
#pragma once

#include <string>
#include <string_view>

namespace tesk {

/// Receives report text. Implementations may be called from one thread of a job at a time.
class Reporter {
public:
    virtual ~Reporter() = default;

    /// Report text for standard output, as it stands.
    [[gnu::format(printf, 2, 3)]] void out(const char* format, ...);
    /// Report text for standard error, as it stands.
    [[gnu::format(printf, 2, 3)]] void err(const char* format, ...);
    /// "%-20s\t" with the label, then the text, for standard output.
    [[gnu::format(printf, 3, 4)]] void line(const char* label, const char* format, ...);
    /// "%-20s\t" with the label "Warning", then the text, for standard error.
    [[gnu::format(printf, 2, 3)]] void warning(const char* format, ...);
    /// Like `warning`, for what is wrong with the user's music: no quiet mode and no log file may hide it.
    [[gnu::format(printf, 2, 3)]] void alert(const char* format, ...);
    /// Text for standard error that belongs to the result: no quiet mode and no log file may hide it.
    [[gnu::format(printf, 2, 3)]] void notice(const char* format, ...);
    /// A text that no quiet mode and no log file may hide: why a run failed, how it ended.
    [[gnu::format(printf, 2, 3)]] void error(const char* format, ...);
    /// Like `error`, for text that belongs to standard output.
    [[gnu::format(printf, 2, 3)]] void closing(const char* format, ...);
    /// What the run was asked to print, as it stands: on standard output even where that is no terminal.
    void result(const std::string& text) { write(Kind::result, text); }

    enum class Kind { out, err, error, closing, result };
    /// Passes on what another reporter was handed.
    void pass(Kind kind, std::string_view text) { write(kind, text); }

protected:
    virtual void write(Kind kind, std::string_view text) = 0;
};

/// Sends everything to the process's log (engine/base/report).
class LogReporter final : public Reporter {
protected:
    void write(Kind kind, std::string_view text) override;
};

/// Keeps the text; for tests and for callers that print later.
class CollectingReporter final : public Reporter {
public:
    std::string text; ///< everything, in order

protected:
    void write(Kind, std::string_view part) override { text += part; }
};

/// printf into a string, of any length.
[[gnu::format(printf, 1, 2)]] std::string format(const char* format, ...);

} // namespace tesk
