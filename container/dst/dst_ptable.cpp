#include "container/dst/dst_ptable.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace tesk {
namespace {

/// `fallback` when nothing was counted.
std::int16_t entryFor(std::uint64_t all, std::uint64_t wrong, std::int16_t fallback)
{
    if (all == 0) return fallback;
    return static_cast<std::int16_t>(std::clamp<std::uint64_t>((512 * wrong + all) / (2 * all), 1, kDstHalf));
}

/// Bits that the decisions of one index take: their entropy under the entry.
double decisionBits(std::uint64_t all, std::uint64_t wrong, int entry)
{
    const double p = entry / 256.0;
    return -(static_cast<double>(wrong) * std::log2(p) + static_cast<double>(all - wrong) * std::log2(1 - p));
}

} // namespace

void DstCounts::add(std::span<const std::uint8_t> decisions)
{
    // Equal neighbours are the rule; four sets of counters keep one from waiting for the other's store.
    std::array<std::array<std::uint32_t, 2 * kDstWrongMark>, 4> seen{};
    for (std::size_t i = 0; i < decisions.size(); ++i) ++seen[i & 3][decisions[i]];
    for (const auto& part : seen)
        for (unsigned i = 0; i < kDstWrongMark; ++i) {
            all[i] += part[i] + part[i + kDstWrongMark];
            wrong[i] += part[i + kDstWrongMark];
        }
}

void DstCounts::add(const DstCounts& other)
{
    for (unsigned i = 0; i < kDstWrongMark; ++i) {
        all[i] += other.all[i];
        wrong[i] += other.wrong[i];
    }
}

std::uint64_t DstCounts::wrongTotal() const { return std::accumulate(wrong.begin(), wrong.end(), std::uint64_t{0}); }

DstPtable designDstPtable(const DstCounts& counts)
{
    std::size_t used = kDstMaxPtableLength; // a longer table would only repeat its last entry
    while (used > 2 && counts.all[used - 1] == 0) --used;
    std::uint64_t all = std::accumulate(counts.all.begin(), counts.all.end(), std::uint64_t{0});
    std::uint64_t wrong = counts.wrongTotal();

    DstPtable best;
    std::vector<std::int16_t> entries;
    double earlier = 0; // bits of the decisions at the entries before the last
    for (std::size_t length = 1; length <= used; ++length) {
        const std::size_t last = length - 1;
        const std::int16_t before = entries.empty() ? std::int16_t{kDstHalf} : entries.back();
        entries.push_back(entryFor(all, wrong, before));
        if (length >= 2) {
            const DstSetCoding coding = cheapestDstCoding(DstSet::ptable, entries);
            const double bits = kDstPtableLengthBits + coding.bits + earlier + decisionBits(all, wrong, entries.back());
            if (best.entries.empty() || bits < best.bits) best = {entries, coding, bits};
        }
        entries.back() = entryFor(counts.all[last], counts.wrong[last], before);
        earlier += decisionBits(counts.all[last], counts.wrong[last], entries.back());
        all -= counts.all[last];
        wrong -= counts.wrong[last];
    }
    return best;
}

} // namespace tesk
