// What the decimation shares with everything else in the process: its output gain, its profile, and the tuning that
// the environment gave when it was first asked.
#pragma once

#include "container/dst/dst_simd.h"
#include "reverse/reverse_profile.h"

#include <atomic>
#include <cstdint>
#include <optional>

namespace tesk {

struct ReverseValues {
    std::atomic<double> gainDb{0.0}, gainFactor{1.0}; ///< set together by setOutputGain
    std::atomic<bool> clippingTold{false};            ///< the warning comes once in the life of a process
    ReverseProfile profile;

    // From the environment, fixed on first use.
    bool profiling = false;          ///< TESK_PDM2PCM_PROFILE
    unsigned threads = 0;            ///< TESK_PDM2PCM_THREADS; 0: what the processor has
    std::uint64_t minMacs = 1200000; ///< TESK_PDM2PCM_MIN_MACS
    bool minMacsGiven = false;
    std::optional<DstSimdLevel> dstLevel; ///< TESK_DST_SIMD, once a conversion has asked
};

/// Any thread. With profiling on, the profile is printed when the process ends.
ReverseValues& reverseValues();

/// The gain of every later conversion that is not given its own.
void setOutputGain(double gainDb);
double outputGain(); ///< dB

double gainFactor(double gainDb);

} // namespace tesk
