// What every fuzz target of a DSD reader does with a reader that opened.
#pragma once

#include "container/reader/dsd_reader.h"

#include <cstdlib>
#include <vector>

/// Reads to the end in odd pieces. A reader that gives more than it promises, or more than the file can hold, aborts.
/// @param mostBytes  of all channels together
inline void readToEnd(tesk::DsdReader& reader, std::uint64_t mostBytes)
{
    constexpr std::size_t kPiece = 97;
    const tesk::DsdSource source = reader.source();
    const std::uint64_t promised = source.samples / 8 + (source.samples % 8 != 0 ? 1 : 0);
    std::vector<std::uint8_t> sound(kPiece * source.channels);
    std::vector<std::uint8_t*> planar;
    for (std::size_t c = 0; c < source.channels; ++c) planar.push_back(sound.data() + c * kPiece);
    std::uint64_t total = 0;
    for (std::size_t got = kPiece; got == kPiece; total += got) got = reader.read(planar.data(), kPiece);
    if (total > promised || total * source.channels > mostBytes || reader.read(planar.data(), kPiece) != 0)
        std::abort();
    reader.reportProblems("x");
}
