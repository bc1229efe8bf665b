// Aligned sample memory, and how much of the machine's memory is free.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

namespace tesk::platform {

struct DoubleBufferFree {
    std::size_t bytes = 0;
    void operator()(double* data) const;
};
/// Page-aligned doubles.
using DoubleBuffer = std::unique_ptr<double[], DoubleBufferFree>;

/// `count` zeroed doubles; pages that nobody touches cost no memory. Throws std::bad_alloc.
DoubleBuffer zeroedDoubles(std::uint64_t count);

/// Bytes of physical memory that a program could take without swapping; nothing when the system does not say.
std::optional<std::uint64_t> availablePhysicalMemory();

} // namespace tesk::platform
