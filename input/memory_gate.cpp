#include "input/memory_gate.h"

#include <cstdlib>

namespace tesk {
namespace {

constexpr double kMiB = 1048576.0;
constexpr double kGiB = 1073741824.0;

/// channels · frames · bytes ≤ limit, without the product, which may overflow.
bool fits(std::uint32_t channels, std::uint64_t frames, std::uint64_t bytes, std::uint64_t limit)
{
    return channels == 0 || frames <= limit / bytes / channels;
}

double product(std::uint32_t channels, std::uint64_t frames, double bytes)
{
    return static_cast<double>(channels) * static_cast<double>(frames) * bytes;
}

} // namespace

bool fitsInMemory(std::uint32_t channels, std::uint64_t frames, const LoadContext& context)
{
    const auto available = context.availableMemory();
    return !available || fits(channels, frames, sizeof(double), *available - *available / 10);
}

bool check_signal_memory(std::uint32_t channels, std::uint64_t frames, const LoadContext& context)
{
    const auto available = context.availableMemory();
    if (!available || fitsInMemory(channels, frames, context)) return true;
    // The text says "2ch" for any number of channels; users and their scripts know it so.
    context.report.closing(
        "Error: a %.1f GB signal buffer is needed (2ch x %zu samples), but only %.1f GB of physical memory is "
        "available -- refusing to allocate.\n"
        "  This usually means the length declared in the input header cannot be trusted (malformed/truncated), or the "
        "input is simply too long:\n"
        "  Please check the file, or use a shorter input / a lower sample rate.\n",
        product(channels, frames, sizeof(double)) / kGiB, static_cast<std::size_t>(frames),
        static_cast<double>(*available) / kGiB);
    return false;
}

std::optional<double> streamLimit()
{
    const char* variable = std::getenv("TESK_STREAM_MAX_MB");
    const long long megabytes = variable ? std::atoll(variable) : 0;
    return megabytes > 0 ? std::optional(static_cast<double>(megabytes) * kMiB) : std::nullopt;
}

bool checkStreamLimit(std::uint32_t channels, std::uint64_t frames, std::optional<double> limit, std::string& error)
{
    const double needed = product(channels, frames, 4);
    if (!limit || needed <= *limit) return true;
    error = format("decoded PCM needs %.0f MB (%lld frames x %d ch x 4B), over the %.0f MB limit", needed / kMiB,
                   static_cast<long long>(frames), static_cast<int>(channels), *limit / kMiB);
    return false;
}

} // namespace tesk
