// What a file is by its first bytes, whatever its name says.
#pragma once

#include "input/byte_source.h"

namespace tesk {

enum class AudioKind {
    unknown,
    wav,
    rf64,
    bw64,
    wave64,
    aiff,
    aifc,
    flac,
    ogg,
    tta,
    wavpack,
    caf,
    mp4,
    ape,
    mp3,
    dsf,
    dsdiff,
    wsd
};

/// Looks at the signature, behind an ID3v2 tag if the file starts with one.
AudioKind audioKind(ByteSource& source);

/// The name as a person knows it, "WAV" or "Monkey's Audio"; the load report prints it as the format.
const char* audioKindName(AudioKind kind);

/// Whether the WAV family's reader takes it.
bool isWaveFamily(AudioKind kind);

/// Offset of the first byte behind the ID3v2 tags at the start of the file; 0 when there is none.
std::uint64_t skipId3v2(ByteSource& source);

} // namespace tesk
