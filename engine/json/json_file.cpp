#include "engine/json/json_file.h"

#include "engine/json/json_text.h"
#include "platform/files.h"

#include <cerrno>
#include <cstdio>
#include <string_view>

namespace tesk {
namespace {

/// Why the bytes are no UTF-8 text at all; empty when they may be.
std::string wrongEncoding(std::string_view text)
{
    const bool marked = text.starts_with("\xFE\xFF") || text.starts_with("\xFF\xFE");
    const bool zeros = text.size() > 1 && (text[0] == '\0' || text[1] == '\0'); // JSON begins with ASCII
    return marked || zeros ? "the file is UTF-16 or UTF-32 text; save it as UTF-8" : "";
}

/// The whole file; nothing, with the reason, when it is none or too large.
std::optional<std::string> readWhole(const std::string& path, std::string& error)
{
    const platform::FileKind kind = platform::fileKind(path);
    if (kind == platform::FileKind::directory) error = "it is a directory; name a file in it";
    if (kind == platform::FileKind::missing) error = "there is no such file";
    if (kind == platform::FileKind::other) error = "it is a device or a pipe; name a file";
    if (kind != platform::FileKind::regular) return {};
    const platform::FilePtr file(platform::open_utf8(path.c_str(), "rb"));
    const auto size = platform::fileSize(path);
    if (!file || !size) {
        error = platform::errorText(errno);
        return {};
    }
    if (*size > kLargestJsonFile) {
        error = "it is larger than 16 MiB; this is no file of settings";
        return {};
    }
    std::string text(static_cast<std::size_t>(*size), '\0');
    errno = 0;
    text.resize(std::fread(text.data(), 1, text.size(), file.get()));
    if (std::ferror(file.get()) == 0) return text;
    error = platform::errorText(errno);
    return {};
}

} // namespace

std::optional<JsonValue> readJsonFile(const std::string& path, std::string& error)
{
    std::string reason;
    std::optional<JsonValue> value;
    if (const auto text = readWhole(path, reason)) {
        reason = wrongEncoding(*text);
        if (reason.empty()) value = parseJson(*text, reason);
    }
    if (!value) error = path + ": " + reason;
    return value;
}

} // namespace tesk
