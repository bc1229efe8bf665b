// The time of day as the user's clock shows it.
#pragma once

#include <cstdint>

namespace tesk::platform {

struct LocalTime {
    std::uint16_t year = 0; ///< as written, 2026
    std::uint8_t month = 0; ///< 1-12
    std::uint8_t day = 0;   ///< 1-31
    std::uint8_t hour = 0;  ///< 0-23
    std::uint8_t minute = 0;
};

/// Now, in the system's time zone; all zeros when the system has no answer.
LocalTime localTime();

} // namespace tesk::platform
