#include "reverse/process_values.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace tesk {
namespace {

long long numberOf(const char* variable)
{
    const char* value = std::getenv(variable);
    return value ? std::atoll(value) : 0;
}

void readEnvironment(ReverseValues& values)
{
    const char* profile = std::getenv("TESK_PDM2PCM_PROFILE");
    values.profiling = profile && *profile && *profile != '0';
    values.threads = static_cast<unsigned>(std::clamp(numberOf("TESK_PDM2PCM_THREADS"), 0LL, 1024LL));
    values.minMacsGiven = std::getenv("TESK_PDM2PCM_MIN_MACS") != nullptr;
    if (const long long macs = numberOf("TESK_PDM2PCM_MIN_MACS"); macs > 0)
        values.minMacs = static_cast<std::uint64_t>(macs);
}

} // namespace

ReverseValues& reverseValues()
{
    static ReverseValues values;
    static const bool latched = [] {
        readEnvironment(values);
        if (values.profiling) std::atexit([] { values.profile.print(stderr); });
        return true;
    }();
    (void)latched;
    return values;
}

double gainFactor(double gainDb) { return std::pow(10.0, gainDb / 20); }

void setOutputGain(double gainDb)
{
    reverseValues().gainDb = gainDb;
    reverseValues().gainFactor = gainFactor(gainDb);
}

double outputGain() { return reverseValues().gainDb; }

} // namespace tesk
