// Text in the character sets of old formats, by the system's own tables.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tesk::platform {

/// The text as UTF-8; what the character set has no meaning for becomes U+FFFD, byte by byte.
/// @param charset  by the name the system gives it: "CP932"
/// @return         nothing when the system does not know the name
std::optional<std::string> textToUtf8(std::string_view bytes, const char* charset);

} // namespace tesk::platform
