// Which probabilities a frame's decisions get: the counts of a filter's hits and misses, and the table made of them.
#pragma once

#include "container/dst/dst_format.h"
#include "container/dst/dst_set_coding.h"

#include <array>
#include <cstddef>
#include <vector>

namespace tesk {

/// A decision in one byte: min(|z| div 8, 63), and 64 more when the prediction was wrong.
inline constexpr unsigned kDstWrongMark = 64;

/// How often each index came up, and how often the prediction was wrong there.
struct DstCounts {
    std::array<std::uint32_t, kDstMaxPtableLength> all{}, wrong{};

    /// Counts decisions of any number.
    void add(std::span<const std::uint8_t> decisions);
    void add(const DstCounts& other);
    std::uint64_t wrongTotal() const;
};

struct DstPtable {
    std::vector<std::int16_t> entries; ///< 2..64 of them, each 1..128
    DstSetCoding coding;
    double bits = 0; ///< the table itself with its length, and an estimate of the decisions coded with it
};

/// The table with the least `bits` for these counts: entry = 256 times the share of wrong predictions; an index that
/// never came up repeats its neighbour, which costs next to nothing; the last entry serves all higher indices.
DstPtable designDstPtable(const DstCounts& counts);

} // namespace tesk
