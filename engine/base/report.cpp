#include "engine/base/report.h"

#include "platform/files.h"
#include "platform/process.h"
#include "platform/terminal.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace tesk {
namespace {

struct LogState {
    std::mutex lock;
    bool initialised = false;
    int mode = logConsole;
    char path[512] = {};
    std::FILE* file = nullptr;
    std::FILE* outStream = nullptr;
    std::FILE* errStream = nullptr;
};

LogState& state()
{
    static LogState instance;
    return instance;
}

std::FILE* consoleStream(std::FILE* stream)
{
    return stream == stdout && !platform::isTerminal(stdout) ? stderr : stream;
}

void put(std::FILE* stream, const char* format, va_list arguments)
{
    if (!stream) return;
    va_list copy;
    va_copy(copy, arguments);
    std::vfprintf(stream, format, copy);
    va_end(copy);
}

void vreport(std::FILE* stream, bool essential, const char* format, va_list arguments)
{
    LogState& log = state();
    std::lock_guard guard(log.lock);
    if (stream != stdout && stream != stderr) return put(stream, format, arguments);
    std::FILE* console = consoleStream(stream);
    if (!log.initialised || log.mode == logConsole) return put(console, format, arguments);
    if (log.mode == logFile) {
        put(stream == stdout ? log.outStream : log.errStream, format, arguments);
        if (essential) put(stderr, format, arguments);
    } else if (essential) {
        put(console, format, arguments);
    }
}

void closeLocked(LogState& log)
{
    if (log.file) std::fclose(log.file);
    log.file = nullptr;
    log.outStream = log.errStream = nullptr;
}

/// Answers the path that could not be opened, or an empty text.
std::string initLocked(LogState& log, const char* path, int mode)
{
    closeLocked(log);
    log.mode = mode;
    log.initialised = true;
    if (mode == logFile) {
        const std::string wanted = path && *path ? path : default_log_path();
        std::snprintf(log.path, sizeof log.path, "%s", wanted.c_str());
        log.file = platform::open_utf8(log.path, "a");
        if (log.file) {
            std::setvbuf(log.file, nullptr, _IOLBF, 4096);
            log.outStream = log.errStream = log.file;
            return {};
        }
        log.mode = logConsole;
    }
    if (log.mode == logConsole) {
        log.outStream = stdout;
        log.errStream = stderr;
    }
    return mode == logFile ? log.path : "";
}

} // namespace

void report(std::FILE* stream, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vreport(stream, false, format, arguments);
    va_end(arguments);
}

void report_essential(std::FILE* stream, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vreport(stream, true, format, arguments);
    va_end(arguments);
}

void report_result(const char* text)
{
    LogState& log = state();
    std::lock_guard guard(log.lock);
    std::fputs(text, stdout);
    std::fflush(stdout);
    if (log.mode == logFile && log.outStream) std::fputs(text, log.outStream);
}

int log_init(const char* path, int mode)
{
    LogState& log = state();
    std::string failed;
    {
        std::lock_guard guard(log.lock);
        failed = initLocked(log, path, mode);
    }
    if (!failed.empty())
        report(stderr, "%-20s\tCannot open log file %s, falling back to stdout\n\n", "Warning", failed.c_str());
    return 0;
}

void log_auto(bool requested, const std::string& path, int mode)
{
    if (requested) {
        log_init(path.c_str(), mode);
    } else if (platform::isTerminal(stdout) && platform::isTerminal(stderr)) {
        log_init(nullptr, logConsole);
    } else {
        const std::string file = default_log_path();
        report(stdout, "%-20s\tDetected pipe output, redirecting logs to: %s\n", "Report", file.c_str());
        log_init(file.c_str(), logFile);
    }
}

void log_close()
{
    LogState& log = state();
    std::lock_guard guard(log.lock);
    closeLocked(log);
    log.initialised = false;
    log.mode = logConsole;
}

int log_mode()
{
    LogState& log = state();
    std::lock_guard guard(log.lock);
    return log.initialised ? log.mode : static_cast<int>(logConsole);
}

const char* temp_dir()
{
    static const std::string directory = [] {
        for (const char* name : {"TEMP", "TMP"})
            if (const char* value = std::getenv(name); value && *value) return std::string(value).substr(0, 511);
        return std::string(".");
    }();
    return directory.c_str();
}

std::string default_log_path()
{
    char path[512];
    std::snprintf(path, sizeof path, "%.400s/TeskEngine_%d.log", temp_dir(), platform::processId());
    return path;
}

void trace(const char* text)
{
    const char* target = std::getenv("TESK_ENGINE_TRACE");
    if (!target || !*target) return;
    std::fprintf(stderr, "[trace] %s\n", text);
    std::fflush(stderr);
    if (!std::strpbrk(target, "/\\")) return;
    if (std::FILE* file = platform::open_utf8(target, "a")) {
        std::fprintf(file, "[trace] %s\n", text);
        std::fclose(file);
    }
}

void tracef(const char* format, ...)
{
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    trace(text);
}

} // namespace tesk
