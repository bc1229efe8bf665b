// The warning of every reader whose sound ends before its container says so.
#pragma once

#include "engine/base/reporter.h"

#include <cstdint>

namespace tesk {

/// @param reader   class name, first word of the line
/// @param why      what is wrong, without a full stop
/// @param samples  per channel that are missing
inline void alertEarlyEnd(Reporter& report, const char* reader, const char* why, std::uint64_t samples,
                          std::uint32_t dsdRate)
{
    report.alert("%s: %s; %.3f seconds of sound are missing\n", reader, why,
                 static_cast<double>(samples) / static_cast<double>(dsdRate));
}

} // namespace tesk
