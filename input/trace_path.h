// The trace of how a path was understood, for users whose files "do not exist".
#pragma once

#include "engine/base/reporter.h"

#include <string>

namespace tesk {

/// With TESK_TRACE_PATH set, writes the path's bytes, its UTF-16 units and the two results of opening it. Here the
/// ANSI code page is UTF-8 itself, so that the second attempt has the same units and is never worth making.
void tracePath(const std::string& path, bool opened, Reporter& report);

/// UTF-8 to UTF-16; every byte that belongs to no well-formed sequence becomes U+FFFD.
std::u16string utf16(const std::string& text);

} // namespace tesk
