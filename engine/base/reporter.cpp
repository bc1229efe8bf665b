#include "engine/base/reporter.h"

#include "engine/base/report.h"

#include <cstdarg>
#include <cstdio>

namespace tesk {
namespace {

std::string vformat(const char* text, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, text, again);
    va_end(again);
    std::string out(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    if (length > 0) std::vsnprintf(out.data(), out.size() + 1, text, arguments);
    return out;
}

} // namespace

#define TESK_FORMATTED(result, last)                                                                                   \
    va_list arguments;                                                                                                 \
    va_start(arguments, last);                                                                                         \
    const std::string result = vformat(last, arguments);                                                               \
    va_end(arguments)

std::string format(const char* text, ...)
{
    va_list arguments;
    va_start(arguments, text);
    std::string result = vformat(text, arguments);
    va_end(arguments);
    return result;
}

void Reporter::out(const char* text, ...)
{
    TESK_FORMATTED(result, text);
    write(Kind::out, result);
}

void Reporter::err(const char* text, ...)
{
    TESK_FORMATTED(result, text);
    write(Kind::err, result);
}

void Reporter::line(const char* label, const char* text, ...)
{
    TESK_FORMATTED(result, text);
    write(Kind::out, format("%-20s\t", label) + result);
}

void Reporter::warning(const char* text, ...)
{
    TESK_FORMATTED(result, text);
    write(Kind::err, format("%-20s\t", "Warning") + result);
}

void Reporter::alert(const char* text, ...)
{
    TESK_FORMATTED(result, text);
    write(Kind::error, format("%-20s\t", "Warning") + result);
}

void Reporter::notice(const char* text, ...)
{
    TESK_FORMATTED(result, text);
    write(Kind::error, result);
}

void Reporter::error(const char* text, ...)
{
    TESK_FORMATTED(result, text);
    write(Kind::error, result);
}

void Reporter::closing(const char* text, ...)
{
    TESK_FORMATTED(result, text);
    write(Kind::closing, result);
}

#undef TESK_FORMATTED

void LogReporter::write(Kind kind, std::string_view text)
{
    const auto size = static_cast<int>(text.size());
    switch (kind) {
    case Kind::out: report(stdout, "%.*s", size, text.data()); break;
    case Kind::err: report(stderr, "%.*s", size, text.data()); break;
    case Kind::error: report_essential(stderr, "%.*s", size, text.data()); break;
    case Kind::result: report_result(std::string(text).c_str()); break;
    case Kind::closing: report_essential(stdout, "%.*s", size, text.data()); break;
    }
}

} // namespace tesk
