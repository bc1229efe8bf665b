// The decoder plugin of this process: loading, checking, keeping.
#pragma once

#include "engine/base/reporter.h"
#include "public/tesk_ext_decoder.h"

#include <string>

namespace tesk {

/// The plugin's functions behind the version check.
struct ExtDecoderApi {
    decltype(&tesk_ext_open) open;
    decltype(&tesk_ext_read) read;
    decltype(&tesk_ext_seek) seek;
    decltype(&tesk_ext_close) close;
    decltype(&tesk_ext_last_error) lastError;
};

/// The plugin at `path`, loaded the first time and kept for the life of the process. With another path later the
/// loaded one is answered and a note printed. Null with `error` set when there is none: the path is empty, the system
/// cannot load the library, a function is missing, the version is not TESK_EXT_ABI_VERSION, or the list of codecs is
/// empty. A library that was refused is unloaded, and the next call may name another. Any thread may call it.
const ExtDecoderApi* loadExtDecoder(const std::string& path, Reporter& report, std::string& error);

} // namespace tesk
