// What a batch will write and where, settled before the first conversion; and which part of it this run does.
#pragma once

#include "engine/base/settings.h"
#include "engine/batch/batch_inputs.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tesk {

struct BatchItem {
    std::size_t number = 0; ///< position in the whole batch, from 1
    BatchInput input;
    std::string output; ///< its folder may not exist yet

    /// Whether the item is a CUE sheet, whose tracks get files of their own.
    bool writesTracks() const;
    /// What it writes, in words: `output`, or "OUT_Track*.dsf".
    std::string outputs() const;
};

/// Names every output: output directory, the folder mirrored from the inputs, the naming pattern.
///
/// Nothing, with `error` saying which and what to do, when the pattern or a name is of no use, when two items would
/// write one file (also where only the case of ASCII letters differs, which some file systems do not tell apart), or
/// when an output is one of the inputs.
std::optional<std::vector<BatchItem>> planBatch(const std::vector<BatchInput>& inputs,
                                                const ConversionSettings& settings, std::string& error);

/// "K/N", 1 ≤ K ≤ N ≤ 9999; false for anything else.
bool parseShard(std::string_view text, std::size_t& k, std::size_t& n);

/// The items whose (number - 1) mod n is k - 1, with the numbers that they have in the whole: N runs with K = 1 ... N
/// do each item once.
std::vector<BatchItem> ofShard(const std::vector<BatchItem>& items, std::size_t k, std::size_t n);

} // namespace tesk
