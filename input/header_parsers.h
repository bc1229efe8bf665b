// The two header parsers behind probeHeader. Both leave storedBytes to their caller.
#pragma once

#include "input/header_probe.h"

namespace tesk {

/// WAV, RF64, BW64 and Wave64, `kind` says which.
std::optional<PcmHeader> parseWaveHeader(ByteSource& source, AudioKind kind, std::string& error);

/// AIFF and AIFC.
std::optional<PcmHeader> parseAiffHeader(ByteSource& source, AudioKind kind, std::string& error);

} // namespace tesk
