#include "platform/local_time.h"

#include <ctime>

namespace tesk::platform {

LocalTime localTime()
{
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    if (!localtime_r(&now, &parts)) return {};
    return {static_cast<std::uint16_t>(parts.tm_year + 1900), static_cast<std::uint8_t>(parts.tm_mon + 1),
            static_cast<std::uint8_t>(parts.tm_mday), static_cast<std::uint8_t>(parts.tm_hour),
            static_cast<std::uint8_t>(parts.tm_min)};
}

} // namespace tesk::platform
