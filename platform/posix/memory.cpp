#include "platform/memory.h"

#include <cstdio>
#include <limits>
#include <new>
#include <sys/mman.h>

namespace tesk::platform {

void DoubleBufferFree::operator()(double* data) const { munmap(data, bytes); }

DoubleBuffer zeroedDoubles(std::uint64_t count)
{
    if (count == 0) count = 1;
    if (count > std::numeric_limits<std::size_t>::max() / sizeof(double)) throw std::bad_alloc();
    const std::size_t bytes = static_cast<std::size_t>(count) * sizeof(double);
    void* data = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (data == MAP_FAILED) throw std::bad_alloc();
    return DoubleBuffer(static_cast<double*>(data), DoubleBufferFree{bytes});
}

std::optional<std::uint64_t> availablePhysicalMemory()
{
    std::FILE* file = std::fopen("/proc/meminfo", "r");
    if (!file) return {};
    char line[256];
    unsigned long long kib = 0;
    bool found = false;
    while (!found && std::fgets(line, sizeof line, file)) found = std::sscanf(line, "MemAvailable: %llu kB", &kib) == 1;
    std::fclose(file);
    if (!found) return {};
    return static_cast<std::uint64_t>(kib) * 1024;
}

} // namespace tesk::platform
