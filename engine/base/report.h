// The process's log: one function through which all text leaves, and the file it may go to.
#pragma once

#include <cstdio>
#include <string>

namespace tesk {

enum LogMode : int { logConsole = 0, logFile = 1, logSilent = 2 };

/// Writes report text, printf-style. Text for standard output goes to standard error when standard
/// output is no terminal, for it may be carrying DSD data. Any thread; a line is never torn.
[[gnu::format(printf, 2, 3)]] void report(std::FILE* stream, const char* format, ...);

/// Like `report`, for what a user must see in any mode: a log file receives it and standard error too.
[[gnu::format(printf, 2, 3)]] void report_essential(std::FILE* stream, const char* format, ...);

/// A text that was asked for as such, a list or a help: standard output, terminal or not, and the log file.
void report_result(const char* text);

/// (Re)initialises the log for a run. An empty or null path in mode 1 names the log
/// "<temp_dir>/TeskEngine_<pid>.log". A file that cannot be opened falls back to the console; returns 0.
int log_init(const char* path, int mode);

/// The choice of a forward run: what the options asked for, else the console when both standard
/// streams are terminals, else a file in the temporary directory (with a line that says so).
void log_auto(bool requested, const std::string& path, int mode);

/// Closes the log file, if any, and marks the log uninitialised.
void log_close();

/// The mode in force; 0 while the log is not initialised.
int log_mode();

/// TEMP, else TMP, else "."; read once and kept for the life of the process.
const char* temp_dir();

/// "<temp_dir, at most 400 bytes>/TeskEngine_<pid>.log"
std::string default_log_path();

/// One "[trace] ..." line on standard error, and in the file that TESK_ENGINE_TRACE names; nothing without
/// that variable. Takes no lock.
void trace(const char* text);
[[gnu::format(printf, 1, 2)]] void tracef(const char* format, ...);

} // namespace tesk
