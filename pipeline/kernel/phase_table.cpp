#include "pipeline/kernel/phase_table.h"

namespace tesk::kernel {

PhaseTable::PhaseTable(const std::vector<double>& prototype, std::size_t phases)
    : phases_(phases), taps_(prototype.size() / phases), coefficients_(platform::zeroedDoubles(phases_ * taps_)),
      groups_(platform::zeroedDoubles(groups() * (taps_ + 1) * kGroup))
{
    for (std::size_t p = 0; p < phases_; ++p)
        for (std::size_t t = 0; t < taps_; ++t) {
            const double c = prototype[prototype.size() - 1 - (t * phases_ + (phases_ - p) % phases_)];
            coefficients_[p * taps_ + t] = c;
            const std::size_t row = p == 0 ? t : t + 1;
            groups_[((p / kGroup) * (taps_ + 1) + row) * kGroup + p % kGroup] = c;
        }
}

} // namespace tesk::kernel
