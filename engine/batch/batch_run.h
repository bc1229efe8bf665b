// The items of a batch, one after the other or several at once.
#pragma once

#include "engine/base/reporter.h"
#include "engine/base/status.h"
#include "engine/base/stop_flag.h"
#include "engine/batch/batch_plan.h"

#include <cstddef>
#include <functional>
#include <vector>

namespace tesk {

/// What one item is given: a reporter and a stop flag of its own.
struct ItemContext {
    Reporter& report;
    StopFlag& stop;
    std::function<void(double)> progress; ///< takes the seconds of music that are done
};

struct BatchSetup {
    std::vector<BatchItem> items;
    std::vector<double> seconds;   ///< of music in each item; 0 where nobody knows
    std::size_t total = 0;         ///< items of the whole batch, of which these may be a part
    std::size_t jobs = 1;          ///< items that run at once
    std::FILE* terminal = nullptr; ///< where the progress line is drawn; null: nowhere
    /// Converts an item. Called on threads of the batch, `jobs` of them at once.
    std::function<PDM_ENCODING_STATUS(const BatchItem&, const ItemContext&)> convert;
    /// Whether an item's output is there already and can stay; empty: never.
    std::function<bool(const BatchItem&)> isDone;
};

/// Runs all items, whatever becomes of each, and prints their reports in the order of the items, then the sum.
///
/// A stop request of `stop` is taken, ends what runs with -61 and starts nothing further.
/// @return 0; else the status of the first item that failed, in their order (-61 after a stop)
int runBatch(const BatchSetup& setup, Reporter& report, StopFlag& stop);

/// How many items may run at once: as many as there are processors, as long as that many of the largest signals fit in
/// half of the free memory; at least 1.
/// @param bytes   of each item's signal; `available` of the machine, nothing when it does not say
std::size_t batchJobs(std::vector<std::uint64_t> bytes, unsigned processors, std::optional<std::uint64_t> available);

} // namespace tesk
